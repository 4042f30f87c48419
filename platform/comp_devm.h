/* Component registry and device management. */
#ifndef ZOR_PLATFORM_COMP_DEVM_H
#define ZOR_PLATFORM_COMP_DEVM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t COMP_GetVTable(uint32_t compId, uint32_t vtblId, void **table);
uint32_t DEVM_GetSelfBoardType(uint32_t *boardType);

#ifdef __cplusplus
}
#endif

#endif
