#include "store/store.h"

#include "core/core.h"

void IFM_LogDbError(const char *label, uint32_t rc)
{
    MDTLM_WriteLog(IFM_LOG_ERROR, "[ERROR]%s failed, ret = %d.", label, static_cast<int>(rc));
}
