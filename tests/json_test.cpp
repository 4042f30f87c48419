// JSON helpers: number and percent texts, printing into framework memory, field tables as members;
// the sensor encoders' JSON failure paths.
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "encoding/json.h"
#include "sensors/ipstat/ipstat.h"
#include "sensors/mibstat/mibstat.h"
#include "sensors/subif/subif.h"
#include "support/fixture.h"

namespace {

class JsonTest : public PlatformTest {
protected:
    void SetUp() override
    {
        PlatformTest::SetUp();
        root_ = IFM_JSON_AllocObject();
    }
    void TearDown() override
    {
        IFM_JSON_NodeFree(root_);
        PlatformTest::TearDown();
    }
    // Prints the tree and releases the printed copy.
    std::string Print()
    {
        char *text = IFM_JSON_EncodeUnformatted(root_);
        EXPECT_NE(text, nullptr);
        std::string out = text != nullptr ? text : "";
        MDTLM_FreeBuff(text);
        return out;
    }
    cJSON *root_ = nullptr;
};

TEST_F(JsonTest, PrintsUnformattedIntoFrameworkMemory)
{
    ASSERT_NE(IFM_JSON_ObjectAddArray(root_, "interface"), nullptr);
    const uint64_t before = standin::Alloc().outstandingBuffers;
    char *text = IFM_JSON_EncodeUnformatted(root_);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "{\"interface\":[]}");
    EXPECT_EQ(standin::Alloc().outstandingBuffers, before + 1) << "the copy belongs to the framework";
    MDTLM_FreeBuff(text);

    cJSON *ifm = IFM_JSON_ObjectAddObject(root_, "ifm");
    IFM_JSON_ObjectAddString(ifm, "name", "GE1/0/1", 64);
    IFM_JSON_ObjectAddNumber(ifm, "index", 100);
    cJSON *arr = IFM_JSON_AllocArray();
    IFM_JSON_AddItemToArray(arr, IFM_JSON_AllocObject());
    IFM_JSON_AddItemToObject(ifm, "list", arr);
    EXPECT_EQ(Print(), "{\"interface\":[],\"ifm\":{\"name\":\"GE1/0/1\",\"index\":100,\"list\":[{}]}}");

    EXPECT_EQ(IFM_JSON_EncodeUnformatted(nullptr), nullptr);
    IFM_JSON_NodeFree(nullptr);
    IFM_JSON_Free(nullptr);
}

TEST_F(JsonTest, StrDupAndAllocationFailures)
{
    uint64_t len = 99;
    char *empty = IFM_StrDup("", &len);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(len + empty[0], 0u);
    MDTLM_FreeBuff(empty);
    EXPECT_EQ(IFM_StrDup(nullptr, &len), nullptr);

    // A failed allocation yields null, is not logged and leaks nothing (checked by the fixture).
    IFM_JSON_ObjectAddUINT64(root_, "a", 1);
    standin::ClearLogs();
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_StrDup("abc", nullptr), nullptr);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_JSON_EncodeUnformatted(root_), nullptr);
    EXPECT_TRUE(standin::Logs().empty());
}

// cJSON's own printing of a tree, for comparison.
std::string CjsonText(const cJSON *item)
{
    char *text = cJSON_PrintUnformatted(item);
    std::string out = text != nullptr ? text : "<null>";
    cJSON_free(text);
    return out;
}

struct Counters {
    uint64_t v[6];
    uint32_t index;
    double use[2];
};

constexpr GpbField kCounterRows[] = {
    {1, GpbValue::U64, offsetof(Counters, v), 0, "in-octets"},
    {2, GpbValue::U64, offsetof(Counters, v) + 8, 0, "out-octets"},
    {3, GpbValue::U32, offsetof(Counters, index), 0, "index"},
    {4, GpbValue::Percent, offsetof(Counters, use), 0, "in-use-rate"},
    {5, GpbValue::U64, offsetof(Counters, v) + 16, 0, nullptr},
    {6, GpbValue::U64, offsetof(Counters, v) + 24, 0, "in-errors"},
    {7, GpbValue::Percent, offsetof(Counters, use) + 8, 0, "out-use-rate"},
    {8, GpbValue::U64, offsetof(Counters, v) + 32, 0, "out-errors"},
};

TEST_F(JsonTest, TableMembersAreThoseOfTheNumberHelpers)
{
    std::mt19937_64 rng(17);
    cJSON *expected = IFM_JSON_AllocObject();
    for (int i = 0; i < 300; ++i) {
        Counters c{};
        for (uint64_t &v : c.v) {
            v = rng() >> (rng() % 64);
        }
        c.index = static_cast<uint32_t>(rng());
        c.use[0] = static_cast<double>(rng() % 100001) / 1000;
        c.use[1] = static_cast<double>(rng() % 801) / 8;
        ASSERT_NE(IFM_JSON_TableAdd(root_, IFM_GpbTable(kCounterRows), &c), 0u);
        // The members of the rows with a JSON name, in table order.
        IFM_JSON_ObjectAddUINT64(expected, "in-octets", c.v[0]);
        IFM_JSON_ObjectAddUINT64(expected, "out-octets", c.v[1]);
        IFM_JSON_ObjectAddUINT64(expected, "index", c.index);
        IFM_JSON_ObjectAddDOUBLPercent(expected, "in-use-rate", c.use[0]);
        IFM_JSON_ObjectAddUINT64(expected, "in-errors", c.v[3]);
        IFM_JSON_ObjectAddDOUBLPercent(expected, "out-use-rate", c.use[1]);
        IFM_JSON_ObjectAddUINT64(expected, "out-errors", c.v[4]);
    }
    EXPECT_EQ(Print(), CjsonText(expected));
    IFM_JSON_NodeFree(expected);
}

// Every JSON encoder, failing at each of its cJSON allocations in turn: status 1, nothing handed
// out, and the half-built document freed whole (the fixture counts cJSON's blocks).
TEST_F(JsonTest, EncodersFreeTheirDocumentWhenCjsonFails)
{
    const std::vector<TlmIfStatData> ip(2);
    std::vector<IfmTlmMibIfStatData> mib(2);
    std::vector<L2subifData> subif(3);
    strcpy(subif[2].ifName, "GE1/0/2");
    using Encoder = std::function<uint32_t(uint8_t **, uint32_t *)>;
    const Encoder encoders[] = {
        [&](uint8_t **d, uint32_t *l) { return IFMPlugin_MDTLM_IfStatEncodeProc(ip.data(), 2, 1, d, l); },
        [&](uint8_t **d, uint32_t *l) {
            return IFMPlugin_MDTLM_MibIfStatEncodeProc(mib.data(), 2, 1, d, l, TLM_TYPE_MIB_PORT);
        },
        [&](uint8_t **d, uint32_t *l) {
            return IFMPlugin_MDTLM_MibIfStatEncodeProc(mib.data(), 2, 1, d, l, TLM_TYPE_COMMON_PORT);
        },
        [&](uint8_t **d, uint32_t *l) { return IFM_L2subifEncodeProc(subif.data(), 3, 1, d, l); },
    };
    for (const Encoder &encode : encoders) {
        const int64_t live = cjson_hooks::Live();
        uint64_t failAt = 1;
        for (;; ++failAt) {
            uint8_t *data = nullptr;
            uint32_t len = 0;
            cjson_hooks::FailAt(failAt);
            const uint32_t rc = encode(&data, &len);
            MDTLM_FreeBuff(data);
            if (!cjson_hooks::Fired()) {
                EXPECT_EQ(rc, 0u);
                break;
            }
            EXPECT_EQ(rc, 1u) << failAt;
            EXPECT_TRUE(data == nullptr && len == 0) << failAt;
            ASSERT_EQ(cjson_hooks::Live(), live) << "cJSON blocks left after failing allocation " << failAt;
        }
        EXPECT_GT(failAt, 10u) << "every document takes more than ten cJSON blocks";
    }
    cjson_hooks::FailAt(0);
}

struct Row {
    uint64_t bytes;
    uint32_t index;
    char name[4];
    double use;
    char full[4];
};

constexpr GpbField kRows[] = {
    {7, GpbValue::U64, offsetof(Row, bytes), 0, "in-octets"},
    {6, GpbValue::U32, offsetof(Row, index), 0, nullptr},
    {3, GpbValue::Text, offsetof(Row, name), sizeof(Row::name), "name"},
    {5, GpbValue::Percent, offsetof(Row, use), 0, "in-use-rate"},
    {8, GpbValue::Text, offsetof(Row, full), sizeof(Row::full), "full"},
    {9, GpbValue::U32, offsetof(Row, index), 0, "index"},
};

TEST_F(JsonTest, TableMembersInTableOrder)
{
    Row r{UINT64_MAX, 100, "ab", 12.5, {'w', 'x', 'y', 'z'}};
    ASSERT_NE(IFM_JSON_TableAdd(root_, IFM_GpbTable(kRows), &r), 0u);
    EXPECT_EQ(Print(), "{\"in-octets\":\"18446744073709551615\",\"name\":\"ab\",\"in-use-rate\":\"12.50%\","
                       "\"full\":\"wxyz\",\"index\":\"100\"}");

    // An unterminated text needs a terminated copy: its allocation failing stops the table.
    cJSON *other = IFM_JSON_ObjectAddObject(root_, "other");
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_JSON_TableAdd(other, IFM_GpbTable(kRows), &r), 0u);
    EXPECT_EQ(cJSON_GetArraySize(other), 3);
    EXPECT_EQ(IFM_JSON_TableAdd(nullptr, IFM_GpbTable(kRows), &r), 0u);
}

} // namespace
