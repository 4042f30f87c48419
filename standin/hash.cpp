// Stand-in hash table library: one mutex per table held for the whole of each call. Elements
// come from malloc with a small header in front. A bucket is a contiguous array of entries, each
// holding a linked element's address and a copy of the element's first bytes (its key): a lookup
// hands the comparison function the copies, one after the other in memory, instead of following a
// chain through elements scattered over the heap. Keys do not change while an element is linked,
// so the copies stay true.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "standin/fault_point.h"
#include "standin/standin.h"

namespace {

constexpr uint32_t kTableMagic = 0x48415348u; // "HASH"
constexpr uint32_t kElemMagic = 0x454C4D54u;  // "ELMT"
constexpr uint32_t kKeyCopy = 24;            // bytes of an element kept in its bucket entry

struct HashTable;

struct alignas(16) ElemHeader {
    HashTable *owner;
    uint32_t magic;
    uint32_t linked;
};

struct Entry {
    ElemHeader *elem;
    alignas(8) unsigned char key[kKeyCopy];
};

struct HashTable {
    uint32_t magic = kTableMagic;
    uint32_t elemSize;
    uint32_t bucketNum;
    LITE_HASH_FUNC hash;
    LITE_HASH_COMP comp;
    std::mutex mu;
    std::vector<std::vector<Entry>> buckets;
};

std::atomic<uint64_t> g_liveElements{0};
std::atomic<uint64_t> g_compares{0};

// The library has no call that destroys a table: every table lives until the process ends. They
// are kept in this never-destroyed list so that leak checkers see them as reachable.
std::mutex g_allTablesMu;
std::vector<HashTable *> *g_allTables = new std::vector<HashTable *>;

HashTable *AsTable(void *table)
{
    auto *t = static_cast<HashTable *>(table);
    return (t != nullptr && t->magic == kTableMagic) ? t : nullptr;
}

void *Payload(ElemHeader *h)
{
    return h + 1;
}

ElemHeader *HeaderOf(void *elem)
{
    return static_cast<ElemHeader *>(elem) - 1;
}

void ReleaseElem(ElemHeader *h)
{
    h->magic = 0;
    std::free(h);
    g_liveElements.fetch_sub(1);
}

std::vector<Entry> &BucketOf(HashTable *t, const void *key)
{
    return t->buckets[t->hash(key) % t->bucketNum];
}

// Index of the entry whose element has this key, or -1. The copies hold the whole key when the
// element fits in them or the key is known to (keyLen, 0 when the caller gave none); otherwise
// the elements themselves are compared.
long FindEntry(HashTable *t, const std::vector<Entry> &bucket, const void *key, uint32_t keyLen)
{
    const bool copies = t->elemSize <= kKeyCopy || (keyLen != 0 && keyLen <= kKeyCopy);
    const size_t n = bucket.size();
    size_t i = 0;
    for (; i < n; ++i) {
        const void *other = copies ? static_cast<const void *>(bucket[i].key) : Payload(bucket[i].elem);
        if (t->comp(key, other) == 1) {
            break;
        }
    }
    g_compares.fetch_add(i < n ? i + 1 : n, std::memory_order_relaxed);
    return i < n ? static_cast<long>(i) : -1;
}

} // namespace

extern "C" void *LITE_HASH_CreateWithLock(uint32_t flags, uint32_t elemSize, uint32_t bucketNum, LITE_HASH_FUNC hash,
                                          LITE_HASH_COMP comp, uint32_t reserved)
{
    (void)flags;
    (void)reserved;
    if (standin_fault::Enter(standin_fault::FP_LITE_HASH_CreateWithLock)) {
        return nullptr;
    }
    if (elemSize == 0 || bucketNum == 0 || hash == nullptr || comp == nullptr) {
        return nullptr;
    }
    auto *t = new (std::nothrow) HashTable;
    if (t == nullptr) {
        return nullptr;
    }
    t->elemSize = elemSize;
    t->bucketNum = bucketNum;
    t->hash = hash;
    t->comp = comp;
    t->buckets.resize(bucketNum);
    {
        std::lock_guard<std::mutex> lock(g_allTablesMu);
        g_allTables->push_back(t);
    }
    return t;
}

extern "C" void *LITE_HASH_FindElmtFromFirst(void *table, const void *key, uint32_t keyLen)
{
    if (standin_fault::Enter(standin_fault::FP_LITE_HASH_FindElmtFromFirst)) {
        return nullptr;
    }
    HashTable *t = AsTable(table);
    if (t == nullptr || key == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    const std::vector<Entry> &bucket = BucketOf(t, key);
    const long i = FindEntry(t, bucket, key, keyLen);
    return i >= 0 ? Payload(bucket[static_cast<size_t>(i)].elem) : nullptr;
}

extern "C" void *LITE_HASH_NewData(void *table, uint32_t flags)
{
    if (standin_fault::Enter(standin_fault::FP_LITE_HASH_NewData)) {
        return nullptr;
    }
    (void)flags;
    HashTable *t = AsTable(table);
    if (t == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    auto *h = static_cast<ElemHeader *>(std::malloc(sizeof(ElemHeader) + t->elemSize));
    if (h == nullptr) {
        return nullptr;
    }
    h->owner = t;
    h->magic = kElemMagic;
    h->linked = 0;
    std::memset(Payload(h), 0, t->elemSize);
    g_liveElements.fetch_add(1);
    return Payload(h);
}

extern "C" uint32_t LITE_HASH_AddNode(void *table, const void *key, void *elem, uint32_t flags)
{
    if (standin_fault::Enter(standin_fault::FP_LITE_HASH_AddNode)) {
        return 1;
    }
    (void)flags;
    HashTable *t = AsTable(table);
    if (t == nullptr || key == nullptr || elem == nullptr) {
        return 1;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    ElemHeader *h = HeaderOf(elem);
    if (h->magic != kElemMagic || h->owner != t || h->linked != 0) {
        return 1;
    }
    std::vector<Entry> &bucket = BucketOf(t, key);
    if (FindEntry(t, bucket, key, 0) >= 0) {
        return 1;
    }
    Entry e{h, {}};
    std::memcpy(e.key, Payload(h), std::min(t->elemSize, kKeyCopy));
    bucket.push_back(e);
    h->linked = 1;
    return 0;
}

extern "C" uint32_t LITE_HASH_RemoveElmtByKey(void *table, const void *key, uint32_t keyLen)
{
    if (standin_fault::Enter(standin_fault::FP_LITE_HASH_RemoveElmtByKey)) {
        return 1;
    }
    HashTable *t = AsTable(table);
    if (t == nullptr || key == nullptr) {
        return 1;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    std::vector<Entry> &bucket = BucketOf(t, key);
    const long i = FindEntry(t, bucket, key, keyLen);
    if (i < 0) {
        return 1;
    }
    ElemHeader *h = bucket[static_cast<size_t>(i)].elem;
    bucket[static_cast<size_t>(i)] = bucket.back(); // order within a bucket carries no meaning
    bucket.pop_back();
    ReleaseElem(h);
    return 0;
}

extern "C" void LITE_HASH_FreeData(void *table, void *elem)
{
    HashTable *t = AsTable(table);
    if (t == nullptr || elem == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    ElemHeader *h = HeaderOf(elem);
    if (h->magic != kElemMagic || h->owner != t) {
        std::fprintf(stderr, "standin: LITE_HASH_FreeData(%p): not an element of this table\n", elem);
        std::abort();
    }
    if (h->linked != 0) {
        // Freeing a linked element would leave the bucket pointing at freed memory; refuse, so the
        // element stays counted as live and the caller's mistake shows as a leak.
        std::fprintf(stderr, "standin: LITE_HASH_FreeData(%p): element is still linked, not freed\n", elem);
        return;
    }
    ReleaseElem(h);
}

namespace standin {

uint64_t LiveHashTables()
{
    std::lock_guard<std::mutex> lock(g_allTablesMu);
    return g_allTables->size();
}

uint64_t LiveHashElements()
{
    return g_liveElements.load();
}

uint64_t HashCompares()
{
    return g_compares.load();
}

} // namespace standin
