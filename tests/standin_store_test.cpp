// The stand-in statistics store: option checks, child lists, filtered iteration in insertion
// order, counts, fault injection and object accounting.
#include <algorithm>
#include <random>
#include <stdexcept>

#include "support/fixture.h"

namespace st = standin::store;

namespace {

const DB_READ_OPTS kKey4 = {DB_READ_FLAGS_KEY4, {0}};
const DB_READ_OPTS kKey8 = {DB_READ_FLAGS_KEY8, {0}};

st::IfStatRow IfStat(uint32_t ifindex, uint32_t statType)
{
    st::IfStatRow row{};
    row.ifindex = ifindex;
    row.stat_type = statType;
    row.vlanid = static_cast<uint16_t>(ifindex);
    return row;
}

// Iterates an if_statistics object and returns the ifindex of every row, in order.
std::vector<uint32_t> IterateIfStat(const uint32_t *statType)
{
    void *obj = nullptr;
    EXPECT_EQ(db_create_if_statistics_obj(DB_MODE_ITERATE, 0, &obj), 0u);
    if (statType != nullptr) {
        EXPECT_EQ(db_create_stmt(obj, 3, nullptr, 0), 0u);
        EXPECT_EQ(db_append_stmt_condition(obj, "if_statistics", 1, 1, statType, 4, nullptr, nullptr, 0), 0u);
    }
    void *iter = nullptr;
    EXPECT_EQ(db_create_root_iter(obj, nullptr, nullptr, &iter), 0u);
    std::vector<uint32_t> seen;
    uint32_t rc;
    while ((rc = db_root_iterator_next(iter)) == 0) {
        uint32_t ifindex = 0;
        EXPECT_EQ(db_get_if_statistics_ifindex(obj, &ifindex), 0u);
        seen.push_back(ifindex);
    }
    EXPECT_EQ(rc, DB_END_OF_ROWS);
    EXPECT_EQ(db_root_iterator_next(iter), DB_END_OF_ROWS);
    EXPECT_EQ(db_release_if_statistics_object(obj), 0u);
    return seen;
}

uint32_t Count(uint32_t (*create)(uint32_t, uint32_t, void **), uint32_t (*release)(void *))
{
    void *obj = nullptr;
    EXPECT_EQ(create(DB_MODE_COUNT, 0, &obj), 0u);
    uint32_t n = 12345;
    EXPECT_EQ(db_get_table_record_count(obj, &n), 0u);
    EXPECT_EQ(release(obj), 0u);
    return n;
}

class StandinStore : public PlatformTest {};

TEST_F(StandinStore, ReadOptionsAndChildNodesAreChecked)
{
    st::PutIfStat(IfStat(7, 0x10));
    st::SetTrunkMembers(0x500, {11, 12, 13});
    void *obj = nullptr;
    ASSERT_EQ(db_create_if_statistics_obj(DB_MODE_KEYED, 0, &obj), 0u);
    uint32_t key = 7;
    EXPECT_NE(db_read_obj(obj, &kKey8, &key), 0u) << "8-byte options on a 4-byte key";
    DB_READ_OPTS dirty = kKey4;
    dirty.reserved[5] = 1;
    EXPECT_NE(db_read_obj(obj, &dirty, &key), 0u);
    key = 8;
    uint16_t vlan = 0;
    EXPECT_EQ(db_read_obj(obj, &kKey4, &key), DB_NO_RECORD);
    EXPECT_NE(db_get_if_statistics_vlanid(obj, &vlan), 0u) << "a failed read leaves no row loaded";
    key = 7;
    void *node = nullptr;
    uint64_t v = 0;
    ASSERT_EQ(db_read_obj(obj, &kKey4, &key), 0u);
    ASSERT_EQ(db_create_child_node(obj, 0, "steps", 0, 0, &node), 0u);
    ASSERT_EQ(db_child_get(node, DB_IF_STATISTICS_STEP_COUNT - 1), 0u);
    EXPECT_NE(db_child_get(node, DB_IF_STATISTICS_STEP_COUNT), 0u);
    EXPECT_NE(db_get_if_statistics_steps_in_bytes(node, &v), 0u) << "a failed positioning unpositions";
    EXPECT_NE(db_get_ifm_port_statistics_steps_in_bytes(node, &v), 0u) << "node of another table";
    EXPECT_EQ(db_release_if_statistics_object(obj), 0u);

    ASSERT_EQ(db_create_trunk_member_obj(DB_MODE_KEYED, 0, &obj), 0u);
    uint32_t key8[2] = {0, 0x500};
    EXPECT_NE(db_read_obj(obj, &kKey4, key8), 0u) << "4-byte options on the 8-byte key";
    ASSERT_EQ(db_read_obj(obj, &kKey8, key8), 0u);
    EXPECT_NE(db_create_child_node(obj, 0, "steps", 0, 0, &node), 0u);
    ASSERT_EQ(db_create_child_node(obj, 0, "member", 0, 0, &node), 0u);
    uint32_t member = 0;
    EXPECT_NE(db_get_trunk_member_member_member_ifindex(node, &member), 0u) << "not positioned yet";
    EXPECT_NE(db_child_get(node, 3), 0u) << "three members";
    EXPECT_EQ(db_release_trunk_member_object(obj), 0u) << "releases its child node too";
}

TEST_F(StandinStore, IterationFiltersByStatTypeInInsertionOrder)
{
    for (uint32_t i = 1; i <= 6; ++i) {
        st::PutIfStat(IfStat(100 - i, i % 2 ? 0x10 : 0x1));
    }
    const uint32_t routed = 0x10;
    const uint32_t none = 0x99;
    EXPECT_EQ(IterateIfStat(&routed), (std::vector<uint32_t>{99, 97, 95}));
    EXPECT_EQ(IterateIfStat(&none), std::vector<uint32_t>{});
    EXPECT_EQ(IterateIfStat(nullptr), (std::vector<uint32_t>{99, 98, 97, 96, 95, 94}));

    // Replacing keeps the position, removing drops the row, re-adding goes to the end.
    st::PutIfStat(IfStat(99, 0x1));
    ASSERT_TRUE(st::RemoveIfStat(97));
    EXPECT_FALSE(st::RemoveIfStat(97));
    st::PutIfStat(IfStat(97, 0x10));
    EXPECT_EQ(IterateIfStat(nullptr), (std::vector<uint32_t>{99, 98, 96, 95, 94, 97}));
    EXPECT_EQ(IterateIfStat(&routed), (std::vector<uint32_t>{95, 97}));

    // Conditions are refused without a statement, on other fields and on other tables.
    void *obj = nullptr;
    ASSERT_EQ(db_create_if_statistics_obj(DB_MODE_ITERATE, 0, &obj), 0u);
    EXPECT_NE(db_append_stmt_condition(obj, "if_statistics", 1, 1, &routed, 4, nullptr, nullptr, 0), 0u);
    ASSERT_EQ(db_create_stmt(obj, 3, nullptr, 0), 0u);
    EXPECT_NE(db_append_stmt_condition(obj, "if_statistics", 2, 1, &routed, 4, nullptr, nullptr, 0), 0u);
    EXPECT_NE(db_append_stmt_condition(obj, "if", 1, 1, &routed, 4, nullptr, nullptr, 0), 0u);
    EXPECT_EQ(db_release_if_statistics_object(obj), 0u);
}

TEST_F(StandinStore, CountsAndKeylessTables)
{
    st::AddTrunk(0x500);
    st::AddTrunk(0x501);
    st::AddTrunk(0x500);
    st::AddIfMgnt({1, 2, 0});
    st::AddIfMgnt({3, 4, 0});
    EXPECT_EQ(Count(db_create_trunk_obj, db_release_trunk_object), 2u);
    EXPECT_EQ(Count(db_create_if_mgnt_obj, db_release_if_mgnt_object), 2u);
    EXPECT_EQ(Count(db_create_if_obj, db_release_if_object), 0u);

    void *obj = nullptr;
    void *iter = nullptr;
    ASSERT_EQ(db_create_if_mgnt_obj(DB_MODE_ITERATE, 0, &obj), 0u);
    uint32_t value[4] = {9, 9, 9, 0xEEEEEEEE};
    EXPECT_NE(db_get_table_record_count(obj, value), 0u) << "counting needs a mode-9 object";
    EXPECT_NE(db_read_obj(obj, &kKey4, value), 0u);
    ASSERT_EQ(db_create_root_iter(obj, nullptr, nullptr, &iter), 0u);
    ASSERT_EQ(db_root_iterator_next(iter), 0u);
    ASSERT_EQ(db_root_iterator_next(iter), 0u);
    EXPECT_EQ(db_get_if_mgnt_sp_rootsup(obj, value), 0u);
    EXPECT_EQ(std::vector<uint32_t>(value, value + 4), (std::vector<uint32_t>{3, 4, 0, 0xEEEEEEEE}))
        << "exactly 12 bytes";
    EXPECT_EQ(db_root_iterator_next(iter), DB_END_OF_ROWS);
    EXPECT_EQ(db_release_if_mgnt_object(obj), 0u);
    EXPECT_NE(db_create_trunk_obj(4, 0, &obj), 0u) << "unknown mode";
}

TEST_F(StandinStore, InjectedFaultsHitTheNthCallAndLeaveTheDestination)
{
    st::PutIf({1, 5, 6, 1000, "a"});
    void *obj = nullptr;
    uint32_t key = 1;
    ASSERT_EQ(db_create_if_obj(DB_MODE_KEYED, 0, &obj), 0u);
    ASSERT_EQ(db_read_obj(obj, &kKey4, &key), 0u);

    st::InjectFault("db_get_if_if_type", DB_VALUE_ABSENT, 2);
    uint32_t type = 0;
    EXPECT_EQ(db_get_if_if_type(obj, &type), 0u);
    type = 42;
    EXPECT_EQ(db_get_if_if_type(obj, &type), DB_VALUE_ABSENT);
    EXPECT_EQ(type, 42u) << "destination untouched";
    EXPECT_EQ(db_get_if_if_type(obj, &type), 0u) << "a one-shot fault disarms";
    EXPECT_EQ(type, 6u);

    st::InjectFault("db_get_if_forwardType", 9, 2, true);
    uint32_t fwd = 0;
    EXPECT_EQ(db_get_if_forwardType(obj, &fwd), 0u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(db_get_if_forwardType(obj, &fwd), 9u);
    }
    EXPECT_EQ(st::CallCount("db_get_if_forwardType"), 4u);
    EXPECT_EQ(st::CallCount("db_get_if_if_type"), 3u);
    st::ClearFaults();
    EXPECT_EQ(db_get_if_forwardType(obj, &fwd), 0u);

    // A failed release has still taken the object back.
    st::InjectFault("db_release_if_object", 3);
    EXPECT_EQ(db_release_if_object(obj), 3u);
    EXPECT_EQ(st::LiveObjects(), 0u);

    // Functions outside the store fail the same way, and all count their calls.
    standin::ResetAllCallCounts();
    standin::FailCall("memcpy_s", 2, true);
    char dest[4] = "abc";
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), "xyz", 3), 0);
    EXPECT_NE(memcpy_s(dest, sizeof(dest), "xyz", 3), 0);
    EXPECT_EQ(dest[0], '\0') << "refused like a call that breaks the constraints";
    EXPECT_NE(memcpy_s(dest, sizeof(dest), "xyz", 3), 0) << "from the 2nd call on";
    standin::FailCall("db_get_if_speed", 1, false, 77);
    uint64_t speed = 0;
    EXPECT_EQ(db_get_if_speed(nullptr, &speed), 77u);
    const auto counts = standin::CallCounts();
    EXPECT_EQ(counts, (std::vector<std::pair<std::string, uint64_t>>{{"memcpy_s", 3}, {"db_get_if_speed", 1}}));
    standin::ClearCallFaults();
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), "xyz", 3), 0);
    EXPECT_THROW(standin::FailCall("memcpy", 1), std::invalid_argument);
    standin::FailRandomly(1.0, 1);
    EXPECT_NE(memset_s(dest, sizeof(dest), 0, 1), 0);
    EXPECT_NE(db_get_if_speed(nullptr, &speed), 0u);
    EXPECT_EQ(standin::RandomFaultsInjected(), 2u);
    standin::FailRandomly(0, 0);

    EXPECT_THROW(st::InjectFault("db_get_if_typo", 1), std::invalid_argument);
    EXPECT_THROW(st::CallCount("db_read_object"), std::invalid_argument);
    st::ResetCallCounts();
    EXPECT_EQ(st::CallCount("db_read_obj"), 0u);
}

// Keyed reads stay right through growth of the key index and removals in random order (which
// move later entries of a probe run back into the hole).
TEST_F(StandinStore, KeyedReadsFollowInsertsAndRemovals)
{
    std::vector<uint32_t> keys;
    for (uint32_t i = 0; i < 3000; ++i) {
        keys.push_back(i % 3 == 0 ? i : 0x1000000u + i * 256u);
    }
    for (uint32_t k : keys) {
        st::PortStatRow row{};
        row.ifindex = k;
        row.vrid = k ^ 0x5A5Au;
        st::PutPortStat(row);
    }
    std::mt19937 rng(7);
    std::vector<uint32_t> order = keys;
    std::shuffle(order.begin(), order.end(), rng);
    const std::vector<uint32_t> removed(order.begin(), order.begin() + 1700);
    for (uint32_t k : removed) {
        ASSERT_TRUE(st::RemovePortStat(k));
    }
    for (size_t i = 0; i < 200; ++i) { // put back, at the end of the iteration order
        st::PortStatRow row{};
        row.ifindex = removed[i];
        row.vrid = removed[i] ^ 0x5A5Au;
        st::PutPortStat(row);
    }
    const std::vector<uint32_t> gone(removed.begin() + 200, removed.end());

    void *obj = nullptr;
    ASSERT_EQ(db_create_ifm_port_statistics_obj(DB_MODE_KEYED, 0, &obj), 0u);
    for (uint32_t k : keys) {
        const bool absent = std::find(gone.begin(), gone.end(), k) != gone.end();
        uint32_t vrid = 0;
        ASSERT_EQ(db_read_obj(obj, &kKey4, &k), absent ? DB_NO_RECORD : 0u) << k;
        if (!absent) {
            ASSERT_EQ(db_get_ifm_port_statistics_vrid(obj, &vrid), 0u);
            EXPECT_EQ(vrid, k ^ 0x5A5Au);
        }
    }
    EXPECT_EQ(db_release_ifm_port_statistics_object(obj), 0u);
    EXPECT_EQ(Count(db_create_ifm_port_statistics_obj, db_release_ifm_port_statistics_object),
              keys.size() - gone.size());
}

TEST_F(StandinStore, ObjectsAreCountedAndSurviveRowRemoval)
{
    st::PutIfStat(IfStat(5, 0x10));
    void *a = nullptr;
    void *b = nullptr;
    ASSERT_EQ(db_create_if_statistics_obj(DB_MODE_KEYED, 0, &a), 0u);
    ASSERT_EQ(db_create_trunk_obj(DB_MODE_ITERATE, 0, &b), 0u);
    EXPECT_EQ(st::LiveObjects(), 2u);
    EXPECT_NE(db_release_if_statistics_object(b), 0u) << "release of another table's object";
    EXPECT_NE(db_release_trunk_object(nullptr), 0u);

    uint32_t key = 5;
    void *node = nullptr;
    ASSERT_EQ(db_read_obj(a, &kKey4, &key), 0u);
    ASSERT_EQ(db_create_child_node(a, 0, "steps", 0, 0, &node), 0u);
    ASSERT_EQ(db_child_get(node, 0), 0u);
    st::FindIfStat(5)->vlanid = 55; // in-place edit is seen by the loaded object
    uint16_t vlan = 0;
    EXPECT_EQ(db_get_if_statistics_vlanid(a, &vlan), 0u);
    EXPECT_EQ(vlan, 55);

    // A positioned step follows its object to the row read next.
    st::IfStatRow other = IfStat(8, 0x10);
    other.steps[0].in_bytes = 800;
    st::PutIfStat(other);
    uint64_t v = 0;
    key = 8;
    ASSERT_EQ(db_read_obj(a, &kKey4, &key), 0u);
    EXPECT_EQ(db_get_if_statistics_steps_in_bytes(node, &v), 0u);
    EXPECT_EQ(v, 800u);
    key = 5;
    ASSERT_EQ(db_read_obj(a, &kKey4, &key), 0u);

    ASSERT_TRUE(st::RemoveIfStat(5));
    EXPECT_NE(db_get_if_statistics_vlanid(a, &vlan), 0u);
    EXPECT_NE(db_get_if_statistics_steps_in_bytes(node, &v), 0u);
    st::PutIfStat(IfStat(5, 0x10));
    st::Reset();
    st::PutIfStat(IfStat(6, 0x10));
    EXPECT_NE(db_get_if_statistics_vlanid(a, &vlan), 0u) << "a reset table's slot is another row";

    EXPECT_EQ(db_release_if_statistics_object(a), 0u);
    EXPECT_EQ(db_release_trunk_object(b), 0u);
    EXPECT_EQ(st::LiveObjects(), 0u);
}

} // namespace
