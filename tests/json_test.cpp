// JSON helpers: number and percent texts, printing into framework memory, field tables as members.
#include <cstddef>
#include <cstring>
#include <string>

#include "encoding/json.h"
#include "support/fixture.h"

namespace {

class JsonTest : public PlatformTest {
protected:
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
    cJSON *root_ = IFM_JSON_AllocObject();
};

TEST_F(JsonTest, CountersAndPercentagesAreStrings)
{
    cJSON *zero = IFM_JSON_ObjectAddUINT64(root_, "zero", 0);
    cJSON *max = IFM_JSON_ObjectAddUINT64(root_, "max", UINT64_MAX);
    ASSERT_TRUE(zero != nullptr && max != nullptr);
    EXPECT_TRUE(cJSON_IsString(max));
    EXPECT_STREQ(zero->valuestring, "0");
    EXPECT_STREQ(max->valuestring, "18446744073709551615");

    EXPECT_STREQ(IFM_JSON_ObjectAddDOUBLPercent(root_, "full", 100.0)->valuestring, "100.00%");
    EXPECT_STREQ(IFM_JSON_ObjectAddDOUBLPercent(root_, "half", 12.5)->valuestring, "12.50%");
    EXPECT_STREQ(IFM_JSON_ObjectAddDOUBLPercent(root_, "none", 0.0)->valuestring, "0.00%");
    EXPECT_STREQ(IFM_JSON_ObjectAddDOUBLPercent(root_, "round", 99.999)->valuestring, "100.00%");
}

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

TEST_F(JsonTest, StrDup)
{
    uint64_t len = 99;
    char *empty = IFM_StrDup("", &len);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(empty[0], '\0');
    MDTLM_FreeBuff(empty);

    char *copy = IFM_StrDup("GE1/0/1", nullptr);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "GE1/0/1");
    MDTLM_FreeBuff(copy);

    EXPECT_EQ(IFM_StrDup(nullptr, &len), nullptr);
}

TEST_F(JsonTest, AllocationFailureYieldsNullAndLeaksNothing)
{
    IFM_JSON_ObjectAddUINT64(root_, "a", 1);
    standin::ClearLogs();
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_StrDup("abc", nullptr), nullptr);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_JSON_EncodeUnformatted(root_), nullptr);
    EXPECT_TRUE(standin::Logs().empty()) << "a failed allocation is not logged";
    // The fixture checks that no framework buffer is left behind.
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
