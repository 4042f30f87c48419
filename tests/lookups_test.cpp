// Attribute lookups: 13044/15005 handling and labels of each lookup, management-index translation,
// name bounds, trunk member limit, if_mgnt listing.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "store/store.h"
#include "support/fixture.h"

using standin::CountLog;
using namespace standin::store;

namespace {
class LookupsTest : public PlatformTest {
protected:
    void SetUp() override
    {
        PlatformTest::SetUp();
        PutIf({10, 8, 34, 10000000000ull, "GE0/0/1"});
    }
};
} // namespace

TEST_F(LookupsTest, AttributesAndTheReadResultsOfEachLookup)
{
    uint32_t fwd = 0, type = 0;
    uint64_t speed = 0;
    char name[IFM_IF_NAME_LEN] = {};
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(10, &fwd) | IFMPlugin_GetIftypeByIfindex(10, &type), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetSpeed(10, &speed), 0u);
    EXPECT_TRUE(fwd == 8 && type == 34 && speed == 10000000000ull);

    // db_read_obj answers 15005 (no row) or 13044: {lookup, the label it logs for 15005 (null =
    // silent), the label it logs for 13044 (null = taken as success: the attribute is read next)}.
    const struct {
        std::function<uint32_t(uint32_t)> lookup;
        const char *missingLabel, *absentLabel, *getter;
    } lookups[] = {
        {[&](uint32_t i) { return IFMPlugin_GetIfNamebyIfindex(i, name); }, nullptr,
         "[IFMPlugin_GetIfNamebyIfindex]read object", "db_get_if_name"},
        {[&](uint32_t i) { return IFMPLUGIN_MDTLM_GetFwdIfType(i, &fwd); }, nullptr,
         "[IFMPLUGIN_MDTLM_GetFwdIfType]db_read_object", "db_get_if_forwardType"},
        {[&](uint32_t i) { return IFMPlugin_GetIftypeByIfindex(i, &type); },
         "[IFMPlugin_GetIftypeByIfindex]read object", nullptr, "db_get_if_if_type"},
        {[&](uint32_t i) { return IFMPlugin_MDTLM_GetSpeed(i, &speed); }, "[IFMPlugin_MDTLM_GetIfType]db_read_object",
         nullptr, "db_get_if_speed"},
    };
    for (const auto &l : lookups) {
        standin::ClearLogs();
        EXPECT_EQ(l.lookup(99), 15005u) << l.getter;
        EXPECT_EQ(standin::Logs().size(), l.missingLabel != nullptr ? 1u : 0u) << l.getter;
        if (l.missingLabel != nullptr) {
            EXPECT_EQ(CountLog(DbErr(l.missingLabel, 15005), 2), 1u);
        }
        ResetCallCounts();
        InjectFault("db_read_obj", 13044);
        const uint32_t rc = l.lookup(10);
        EXPECT_EQ(CallCount(l.getter), l.absentLabel != nullptr ? 0u : 1u) << l.getter;
        if (l.absentLabel != nullptr) {
            EXPECT_EQ(rc, 13044u);
            EXPECT_EQ(CountLog(DbErr(l.absentLabel, 13044), 2), 1u);
        }
    }

    fwd = 77;
    InjectFault("db_get_if_forwardType", 13044);
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(10, &fwd), 0u);
    EXPECT_EQ(fwd, 77u) << "13044 keeps the caller's value";
    InjectFault("db_get_if_speed", 4);
    EXPECT_EQ(IFMPlugin_MDTLM_GetSpeed(10, &speed), 4u);
    EXPECT_EQ(CountLog(DbErr("[IFM][IFMPlugin_MDTLM_GetIfType]db_get_if_speed", 4), 2), 1u);
}

TEST_F(LookupsTest, NamesTranslationAndBounds)
{
    PutIf({5, 0, 34, 0, "MEth0/0/0"});
    PutIf({1, 0, 0, 0, std::string(63, 'a')});
    PutIf({2, 0, 0, 0, std::string(64, 'b')});
    AddIfMgnt({7, 8, 0});
    AddIfMgnt({5, 100, 0});
    // {ifindex, name}: 100 is the actual index of the logical 5; 10 has no if_mgnt match.
    const std::pair<uint32_t, std::string> names[] = {{100, "MEth0/0/0"}, {10, "GE0/0/1"}, {1, std::string(63, 'a')}};
    for (const auto &n : names) {
        char buf[IFM_IF_NAME_LEN] = {};
        EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(n.first, buf), 0u);
        EXPECT_EQ(std::string(buf), n.second);
    }
    char n64[IFM_IF_NAME_LEN];
    std::memset(n64, 'z', sizeof(n64));
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(2, n64), 0u);
    EXPECT_EQ(std::string(n64, sizeof(n64)), std::string(64, 'z')) << "buffer untouched";
    EXPECT_EQ(CountLog("[IFMPlugin_GetIfNamebyIfindex] Memory copy failed", 2), 1u);
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(10, nullptr), 1u);
}

TEST_F(LookupsTest, TrunkMembers)
{
    std::vector<uint32_t> many;
    for (uint32_t i = 0; i < 300; ++i) {
        many.push_back(1000 + i);
    }
    SetTrunkMembers(50, many);
    SetTrunkMembers(51, {});
    uint32_t members[IFM_TRUNK_MEMBER_CAPACITY + 1] = {};
    uint32_t count = 99;
    EXPECT_EQ(IFMPlugin_MDTLM_GetMemIfindexbyIfindex(50, members, &count), 0u);
    EXPECT_EQ(count, 256u);
    EXPECT_EQ(members[255], 1255u);
    EXPECT_EQ(members[256], 0u) << "nothing written past the capacity";
    EXPECT_EQ(IFMPlugin_MDTLM_GetMemIfindexbyIfindex(51, members, &count), 0u);
    EXPECT_EQ(count, 0u);
    count = 99;
    EXPECT_EQ(IFMPlugin_MDTLM_GetMemIfindexbyIfindex(52, members, &count), 15005u);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(LookupsTest, IfMgntListingAndLogicalIndex)
{
    uint32_t idx = 101;
    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 1u) << "empty table";
    for (uint32_t i = 1; i <= 3; ++i) {
        AddIfMgnt({i, 100 + i, 0});
    }
    IfMgntRootSup recs[5] = {};
    EXPECT_EQ(IFMPlugin_GetIfMgntAll(recs, 5), 0u) << "fewer rows than asked";
    EXPECT_EQ(recs[2].actualIfIndex, 103u);
    EXPECT_EQ(recs[3].actualIfIndex, 0u);
    // {failing iterator call, its code, records asked, result}
    const uint32_t iter[][4] = {{2, 8, 5, 1},     // a failure before count rows
                                {3, 8, 2, 8},     // the code of the call after the last row
                                {2, 13044, 2, 0}, // 13044 is success, inside the loop and after it
                                {3, 13044, 2, 0}};
    for (const auto &c : iter) {
        InjectFault("db_root_iterator_next", c[1], c[0]);
        EXPECT_EQ(IFMPlugin_GetIfMgntAll(recs, c[2]), c[3]) << "call " << c[0] << " code " << c[1];
        ClearFaults();
    }

    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 0u);
    EXPECT_EQ(idx, 1u);
    idx = 102;
    InjectFault("db_root_iterator_next", 8);
    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 1u);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 1u);
    EXPECT_EQ(idx, 102u);
}
