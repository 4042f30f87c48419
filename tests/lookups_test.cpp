// Attribute lookups: 13044/15005 handling and labels of each lookup, management-index translation,
// name bounds, trunk member limit, if_mgnt listing.
#include <cstring>
#include <string>
#include <vector>

#include "store/store.h"
#include "support/fixture.h"

using standin::CountLog;
using namespace standin::store;

namespace {
std::string Err(const std::string &label, uint32_t rc)
{
    return "[ERROR]" + label + " failed, ret = " + std::to_string(rc) + ".";
}

class LookupsTest : public PlatformTest {
protected:
    void SetUp() override
    {
        PlatformTest::SetUp();
        PutIf({10, 8, 34, 10000000000ull, "GE0/0/1"});
    }
};
} // namespace

TEST_F(LookupsTest, AttributesAndAccessorFaults)
{
    uint32_t fwd = 0, type = 0;
    uint64_t speed = 0;
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(10, &fwd) | IFMPlugin_GetIftypeByIfindex(10, &type), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetSpeed(10, &speed), 0u);
    EXPECT_TRUE(fwd == 8 && type == 34 && speed == 10000000000ull);

    fwd = 77;
    InjectFault("db_get_if_forwardType", 13044);
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(10, &fwd), 0u);
    EXPECT_EQ(fwd, 77u) << "13044 keeps the caller's value";
    InjectFault("db_get_if_speed", 4);
    EXPECT_EQ(IFMPlugin_MDTLM_GetSpeed(10, &speed), 4u);
    EXPECT_EQ(CountLog(Err("[IFM][IFMPlugin_MDTLM_GetIfType]db_get_if_speed", 4), 2), 1u);
}

TEST_F(LookupsTest, ReadResultsPerLookup)
{
    uint32_t v = 0;
    uint64_t speed = 0;
    char name[IFM_IF_NAME_LEN] = {};
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(99, name), 15005u);
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(99, &v), 15005u);
    EXPECT_TRUE(standin::Logs().empty());
    EXPECT_EQ(IFMPlugin_GetIftypeByIfindex(99, &v), 15005u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetSpeed(99, &speed), 15005u);
    EXPECT_EQ(CountLog(Err("[IFMPlugin_GetIftypeByIfindex]read object", 15005), 2), 1u);
    EXPECT_EQ(CountLog(Err("[IFMPlugin_MDTLM_GetIfType]db_read_object", 15005), 2), 1u);
    EXPECT_EQ(standin::Logs().size(), 2u);

    InjectFault("db_read_obj", 13044);
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetFwdIfType(10, &v), 13044u);
    EXPECT_EQ(CountLog(Err("[IFMPLUGIN_MDTLM_GetFwdIfType]db_read_object", 13044), 2), 1u);
    InjectFault("db_read_obj", 13044);
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(10, name), 13044u);
    EXPECT_EQ(CountLog(Err("[IFMPlugin_GetIfNamebyIfindex]read object", 13044), 2), 1u);

    // 13044 from the read: the interface-type lookup accepts it and goes on to the attribute.
    ResetCallCounts();
    InjectFault("db_read_obj", 13044);
    IFMPlugin_GetIftypeByIfindex(10, &v);
    EXPECT_EQ(CallCount("db_get_if_if_type"), 1u);
    EXPECT_EQ(CountLog(Err("[IFMPlugin_GetIftypeByIfindex]read object", 13044)), 0u);
}

TEST_F(LookupsTest, NamesTranslationAndBounds)
{
    PutIf({5, 0, 34, 0, "MEth0/0/0"});
    PutIf({1, 0, 0, 0, std::string(63, 'a')});
    PutIf({2, 0, 0, 0, std::string(64, 'b')});
    AddIfMgnt({7, 8, 0});
    AddIfMgnt({5, 100, 0});
    char name[IFM_IF_NAME_LEN] = {};
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(100, name), 0u);
    EXPECT_STREQ(name, "MEth0/0/0");
    char plain[IFM_IF_NAME_LEN] = {};
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(10, plain), 0u) << "no if_mgnt match: index used as given";
    EXPECT_STREQ(plain, "GE0/0/1");
    char n63[IFM_IF_NAME_LEN] = {};
    EXPECT_EQ(IFMPlugin_GetIfNamebyIfindex(1, n63), 0u);
    EXPECT_EQ(std::string(n63), std::string(63, 'a'));

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
    InjectFault("db_root_iterator_next", 8, 2);
    EXPECT_EQ(IFMPlugin_GetIfMgntAll(recs, 5), 1u) << "iterator failure before count rows";
    InjectFault("db_root_iterator_next", 8, 3);
    EXPECT_EQ(IFMPlugin_GetIfMgntAll(recs, 2), 8u) << "code of the call after the last row";

    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 0u);
    EXPECT_EQ(idx, 1u);
    idx = 102;
    InjectFault("db_root_iterator_next", 8);
    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 1u);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFMPlugin_GetMethLogIfindexByActIfindex(&idx), 1u);
    EXPECT_EQ(idx, 102u);
}
