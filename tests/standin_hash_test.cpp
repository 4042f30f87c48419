// The stand-in hash table library: buckets, duplicate keys, release of elements, concurrent use.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "standin/standin.h"

namespace {

struct Elem {
    uint32_t key;
    uint32_t value;
};

uint32_t SameBucket(const void *)
{
    return 7;
}
uint32_t KeyHash(const void *key)
{
    return *static_cast<const uint32_t *>(key) * 2654435761u;
}
uint32_t KeyComp(const void *a, const void *b)
{
    return *static_cast<const uint32_t *>(a) == *static_cast<const uint32_t *>(b) ? 1 : 0;
}

Elem *Add(void *table, uint32_t key, uint32_t value)
{
    auto *e = static_cast<Elem *>(LITE_HASH_NewData(table, 0));
    if (e == nullptr) {
        return nullptr;
    }
    e->key = key;
    e->value = value;
    if (LITE_HASH_AddNode(table, &e->key, e, 0) != 0) {
        LITE_HASH_FreeData(table, e);
        return nullptr;
    }
    return e;
}

TEST(StandinHash, CollidingKeysAreToldApartByComp)
{
    const uint64_t elems = standin::LiveHashElements();
    void *t = LITE_HASH_CreateWithLock(0, sizeof(Elem), 4, SameBucket, KeyComp, 0);
    ASSERT_NE(t, nullptr);
    for (uint32_t k = 1; k <= 10; ++k) {
        ASSERT_NE(Add(t, k, k * 10), nullptr);
    }
    for (uint32_t k = 1; k <= 10; ++k) {
        auto *e = static_cast<Elem *>(LITE_HASH_FindElmtFromFirst(t, &k, 4));
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->value, k * 10);
    }
    uint32_t missing = 11;
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &missing, 4), nullptr);
    EXPECT_EQ(standin::LiveHashElements(), elems + 10);

    // Remove one in the middle of the chain: the others stay reachable.
    uint32_t k5 = 5;
    EXPECT_EQ(LITE_HASH_RemoveElmtByKey(t, &k5, 4), 0u);
    EXPECT_NE(LITE_HASH_RemoveElmtByKey(t, &k5, 4), 0u);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &k5, 4), nullptr);
    for (uint32_t k = 1; k <= 10; ++k) {
        EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &k, 4) != nullptr, k != 5) << k;
    }
    for (uint32_t k = 1; k <= 10; ++k) {
        LITE_HASH_RemoveElmtByKey(t, &k, 4);
    }
    EXPECT_EQ(standin::LiveHashElements(), elems);
}

TEST(StandinHash, NewDataDuplicatesAndNullTable)
{
    const uint64_t tables = standin::LiveHashTables();
    const uint64_t elems = standin::LiveHashElements();
    EXPECT_EQ(LITE_HASH_CreateWithLock(0, sizeof(Elem), 0, KeyHash, KeyComp, 0), nullptr);
    void *t = LITE_HASH_CreateWithLock(0, 64, 16, KeyHash, KeyComp, 0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(standin::LiveHashTables(), tables + 1);

    auto *raw = static_cast<unsigned char *>(LITE_HASH_NewData(t, 0));
    ASSERT_NE(raw, nullptr);
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(raw[i], 0) << "element bytes are zeroed";
    }
    uint32_t key = 0xFFFFFFFFu; // hash far above bucketNum still lands in a bucket
    std::memcpy(raw, &key, 4);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &key, 4), nullptr) << "NewData does not link";
    ASSERT_EQ(LITE_HASH_AddNode(t, &key, raw, 0), 0u);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &key, 4), raw);

    auto *dup = static_cast<Elem *>(LITE_HASH_NewData(t, 0));
    dup->key = key;
    EXPECT_NE(LITE_HASH_AddNode(t, &key, dup, 0), 0u);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &key, 4), raw) << "the first element stays";
    LITE_HASH_FreeData(t, dup);
    EXPECT_EQ(standin::LiveHashElements(), elems + 1);

    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(nullptr, &key, 4), nullptr);
    EXPECT_EQ(LITE_HASH_NewData(nullptr, 0), nullptr);
    EXPECT_NE(LITE_HASH_AddNode(nullptr, &key, raw, 0), 0u);
    EXPECT_NE(LITE_HASH_RemoveElmtByKey(nullptr, &key, 4), 0u);
    LITE_HASH_FreeData(nullptr, raw);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &key, 4), raw);

    EXPECT_EQ(LITE_HASH_RemoveElmtByKey(t, &key, 4), 0u);
    EXPECT_EQ(standin::LiveHashElements(), elems);
}

TEST(StandinHash, ConcurrentThreadsLoseNoElements)
{
    const uint64_t elems = standin::LiveHashElements();
    void *t = LITE_HASH_CreateWithLock(0, sizeof(Elem), 61, KeyHash, KeyComp, 0);
    ASSERT_NE(t, nullptr);
    constexpr uint32_t kThreads = 4;
    constexpr uint32_t kPerThread = 2000;
    std::atomic<uint32_t> failures{0};
    std::vector<std::thread> threads;
    for (uint32_t th = 0; th < kThreads; ++th) {
        threads.emplace_back([&, th] {
            for (uint32_t i = 0; i < kPerThread; ++i) {
                const uint32_t key = th * kPerThread + i;
                if (Add(t, key, key) == nullptr) {
                    ++failures;
                }
                // Every other key is removed again, with lookups racing the other threads.
                if (i % 2 == 1) {
                    const uint32_t prev = key - 1;
                    auto *e = static_cast<Elem *>(LITE_HASH_FindElmtFromFirst(t, &prev, 4));
                    if (e == nullptr || e->value != prev || LITE_HASH_RemoveElmtByKey(t, &prev, 4) != 0) {
                        ++failures;
                    }
                }
            }
        });
    }
    for (auto &th : threads) {
        th.join();
    }
    EXPECT_EQ(failures.load(), 0u);
    EXPECT_EQ(standin::LiveHashElements(), elems + kThreads * kPerThread / 2);
    for (uint32_t key = 0; key < kThreads * kPerThread; ++key) {
        auto *e = static_cast<Elem *>(LITE_HASH_FindElmtFromFirst(t, &key, 4));
        ASSERT_EQ(e != nullptr, key % 2 == 1) << key;
        EXPECT_EQ(LITE_HASH_RemoveElmtByKey(t, &key, 4) == 0, key % 2 == 1);
    }
    EXPECT_EQ(standin::LiveHashElements(), elems);
}

} // namespace
