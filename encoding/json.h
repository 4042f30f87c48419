/* JSON helpers over cJSON: counters as decimal strings, percentages as "%.2f%" strings, printed
 * text copied into framework memory. */
#ifndef ZOR_IFM_JSON_H
#define ZOR_IFM_JSON_H

#include <cstdint>

#include <cjson/cJSON.h>

#include "encoding/gpb.h"

cJSON *IFM_JSON_AllocObject();
cJSON *IFM_JSON_AllocArray();
cJSON *IFM_JSON_ObjectAddObject(cJSON *object, const char *name);
cJSON *IFM_JSON_ObjectAddArray(cJSON *object, const char *name);
cJSON *IFM_JSON_ObjectAddNumber(cJSON *object, const char *name, double value);
cJSON *IFM_JSON_ObjectAddString(cJSON *object, const char *name, const char *value, uint32_t valueSize);
cJSON_bool IFM_JSON_AddItemToObject(cJSON *object, const char *name, cJSON *item);
cJSON_bool IFM_JSON_AddItemToArray(cJSON *array, cJSON *item);
void IFM_JSON_NodeFree(cJSON *item);
void IFM_JSON_Free(void *text);
cJSON *IFM_JSON_ObjectAddUINT64(cJSON *object, const char *name, uint64_t value);
cJSON *IFM_JSON_ObjectAddDOUBLPercent(cJSON *object, const char *name, double value);
char *IFM_StrDup(const char *text, uint64_t *length);
char *IFM_JSON_EncodeUnformatted(const cJSON *root);
/* Prints `root` unformatted into framework memory and deletes the tree: 0 with the text in *out
 * and its length in *outLen, or 1 when printing failed (the outs are then left as they were). */
uint32_t IFM_JSON_HandOut(cJSON *root, uint8_t **out, uint32_t *outLen);

/* Adds the members of a field table to `object` in table order (counters as decimal strings,
 * percentages as percent text, texts as strings). Non-zero on success, 0 at the first member that
 * could not be added. */
uint32_t IFM_JSON_TableAdd(cJSON *object, const GpbTable &table, const void *record);

#endif
