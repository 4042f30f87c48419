/* Hash table library; every call holds the table's own lock. */
#ifndef ZOR_PLATFORM_LITE_HASH_H
#define ZOR_PLATFORM_LITE_HASH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t (*LITE_HASH_FUNC)(const void *key);
typedef uint32_t (*LITE_HASH_COMP)(const void *keyA, const void *keyB); /* 1 = same key */

void *LITE_HASH_CreateWithLock(uint32_t flags, uint32_t elemSize, uint32_t bucketNum, LITE_HASH_FUNC hash,
                               LITE_HASH_COMP comp, uint32_t reserved);
void *LITE_HASH_FindElmtFromFirst(void *table, const void *key, uint32_t keyLen);
void *LITE_HASH_NewData(void *table, uint32_t flags);
uint32_t LITE_HASH_AddNode(void *table, const void *key, void *elem, uint32_t flags);
uint32_t LITE_HASH_RemoveElmtByKey(void *table, const void *key, uint32_t keyLen);
void LITE_HASH_FreeData(void *table, void *elem);

#ifdef __cplusplus
}
#endif

#endif
