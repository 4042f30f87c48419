// Stand-in hash table library: chained buckets, one mutex per table held for the whole of each
// call. Elements come from malloc with a small header in front that links them into a bucket.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "standin/standin.h"

namespace {

constexpr uint32_t kTableMagic = 0x48415348u; // "HASH"
constexpr uint32_t kElemMagic = 0x454C4D54u;  // "ELMT"

struct HashTable;

struct alignas(16) ElemHeader {
    ElemHeader *next;
    HashTable *owner;
    uint32_t magic;
    uint32_t linked;
};

struct HashTable {
    uint32_t magic = kTableMagic;
    uint32_t elemSize;
    uint32_t bucketNum;
    LITE_HASH_FUNC hash;
    LITE_HASH_COMP comp;
    std::mutex mu;
    std::vector<ElemHeader *> buckets;
};

std::atomic<uint64_t> g_liveTables{0};
std::atomic<uint64_t> g_liveElements{0};

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

// Finds the link that points at the element with this key in its bucket (null when absent).
ElemHeader **FindLink(HashTable *t, const void *key)
{
    ElemHeader **link = &t->buckets[t->hash(key) % t->bucketNum];
    while (*link != nullptr) {
        if (t->comp(key, Payload(*link)) == 1) {
            return link;
        }
        link = &(*link)->next;
    }
    return nullptr;
}

} // namespace

extern "C" void *LITE_HASH_CreateWithLock(uint32_t flags, uint32_t elemSize, uint32_t bucketNum, LITE_HASH_FUNC hash,
                                          LITE_HASH_COMP comp, uint32_t reserved)
{
    (void)flags;
    (void)reserved;
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
    t->buckets.assign(bucketNum, nullptr);
    {
        std::lock_guard<std::mutex> lock(g_allTablesMu);
        g_allTables->push_back(t);
    }
    g_liveTables.fetch_add(1);
    return t;
}

extern "C" void *LITE_HASH_FindElmtFromFirst(void *table, const void *key, uint32_t keyLen)
{
    (void)keyLen;
    HashTable *t = AsTable(table);
    if (t == nullptr || key == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    ElemHeader **link = FindLink(t, key);
    return link != nullptr ? Payload(*link) : nullptr;
}

extern "C" void *LITE_HASH_NewData(void *table, uint32_t flags)
{
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
    h->next = nullptr;
    h->owner = t;
    h->magic = kElemMagic;
    h->linked = 0;
    std::memset(Payload(h), 0, t->elemSize);
    g_liveElements.fetch_add(1);
    return Payload(h);
}

extern "C" uint32_t LITE_HASH_AddNode(void *table, const void *key, void *elem, uint32_t flags)
{
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
    if (FindLink(t, key) != nullptr) {
        return 1;
    }
    ElemHeader *&head = t->buckets[t->hash(key) % t->bucketNum];
    h->next = head;
    h->linked = 1;
    head = h;
    return 0;
}

extern "C" uint32_t LITE_HASH_RemoveElmtByKey(void *table, const void *key, uint32_t keyLen)
{
    (void)keyLen;
    HashTable *t = AsTable(table);
    if (t == nullptr || key == nullptr) {
        return 1;
    }
    std::lock_guard<std::mutex> lock(t->mu);
    ElemHeader **link = FindLink(t, key);
    if (link == nullptr) {
        return 1;
    }
    ElemHeader *h = *link;
    *link = h->next;
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
    return g_liveTables.load();
}

uint64_t LiveHashElements()
{
    return g_liveElements.load();
}

} // namespace standin
