// The stand-in hash table library: chains, element allocation, refusals, concurrent use.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

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

// Colliding keys, duplicates and a missing table are also met through the plugin's cache
// (cache_test); here: one long chain, element allocation and the refusals the cache never meets.
TEST(StandinHash, ChainsElementsAndRefusals)
{
    const uint64_t tables = standin::LiveHashTables();
    const uint64_t elems = standin::LiveHashElements();
    EXPECT_EQ(LITE_HASH_CreateWithLock(0, sizeof(Elem), 0, KeyHash, KeyComp, 0), nullptr);
    void *t = LITE_HASH_CreateWithLock(0, 64, 4, SameBucket, KeyComp, 0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(standin::LiveHashTables(), tables + 1);
    auto *raw = static_cast<unsigned char *>(LITE_HASH_NewData(t, 0));
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(std::vector<unsigned char>(raw, raw + 64), std::vector<unsigned char>(64, 0)) << "zeroed";
    uint32_t k5 = 5;
    std::memcpy(raw, &k5, 4);
    EXPECT_EQ(LITE_HASH_FindElmtFromFirst(t, &k5, 4), nullptr) << "NewData does not link";
    LITE_HASH_FreeData(t, raw);
    for (uint32_t k = 1; k <= 10; ++k) {
        ASSERT_NE(Add(t, k, k * 10), nullptr);
    }
    EXPECT_EQ(standin::LiveHashElements(), elems + 10);
    EXPECT_EQ(LITE_HASH_NewData(nullptr, 0), nullptr);
    EXPECT_NE(LITE_HASH_RemoveElmtByKey(nullptr, &k5, 4), 0u);

    // Removing one in the middle of the chain leaves the others reachable.
    EXPECT_EQ(LITE_HASH_RemoveElmtByKey(t, &k5, 4), 0u);
    EXPECT_NE(LITE_HASH_RemoveElmtByKey(t, &k5, 4), 0u);
    for (uint32_t k = 1; k <= 11; ++k) {
        auto *e = static_cast<Elem *>(LITE_HASH_FindElmtFromFirst(t, &k, 4));
        ASSERT_EQ(e != nullptr, k != 5 && k != 11) << k;
        EXPECT_TRUE(e == nullptr || e->value == k * 10) << k;
        LITE_HASH_RemoveElmtByKey(t, &k, 4);
    }
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
