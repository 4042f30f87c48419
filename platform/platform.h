/* Every platform interface the plugin calls. */
#ifndef ZOR_PLATFORM_PLATFORM_H
#define ZOR_PLATFORM_PLATFORM_H
#include "bounded.h"
#include "comp_devm.h"
#include "db_store.h"
#include "kal_time.h"
#include "lite_hash.h"
#include "mdtlm_frm.h"
#endif
