// Interface name filter: 0 keeps the interface, 1 drops it.
#include <cstdlib>
#include <cstring>
#include <string>

#include "selection/selection.h"
#include "store/store.h"
#include "support/plugin_state.h"

namespace {

TlmTaskInfo NameCond(const std::string &pattern, uint32_t condType = 1, const char *key = "name")
{
    return plugin_state::NameCondition(condType, pattern, "", key);
}

uint32_t Drops(const TlmTaskInfo &cfg, const char *name)
{
    char buf[IFM_IF_NAME_LEN] = {};
    strncpy(buf, name, sizeof(buf) - 1);
    return IFMPlugin_MDTLM_IfStatFilter(buf, &cfg);
}

using NameFilterTest = PlatformTest;

TEST_F(NameFilterTest, OnlyANamePatternKeyedNameRestricts)
{
    EXPECT_EQ(Drops(NameCond("GE1/0/1"), "GE2/0/2"), 1u);
    EXPECT_EQ(Drops(NameCond("GE1/0/1", 0), "GE2/0/2"), 0u);
    EXPECT_EQ(Drops(NameCond("GE1/0/1", 2), "GE2/0/2"), 0u);
    EXPECT_EQ(Drops(NameCond("GE1/0/1", 1, "Name"), "GE2/0/2"), 0u);
    TlmTaskInfo cfg = NameCond("GE1/0/1");
    memset(cfg.condKey, 'x', sizeof(cfg.condKey)); // "namexxx..." up to the field's end, no NUL
    memcpy(cfg.condKey, "name", 4);
    EXPECT_EQ(Drops(cfg, "GE2/0/2"), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(nullptr, &cfg), 1u);
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter("GE1/0/1", nullptr), 1u);
}

TEST_F(NameFilterTest, PatternsIgnoreCaseAndDecideOnTheLastCharacter)
{
    const struct {
        const char *pattern, *name;
        uint32_t drop;
    } rows[] = {
        {"GE1/0/1", "GE1/0/1", 0}, {"GE1/0/1", "ge1/0/1", 0},   {"GE1/0/1", "GE1/0/10", 1},
        {"GE1/0/1", "GE1/0/", 1},  {"GE1/0/1X", "GE1/0/1", 1},  {"GE1/0/1X*", "GE1/0/1", 0},
        {"GE1*", "GE1/0/1", 0},    {"GE1*", "GE1", 0},          {"GE1*", "Ge1/0/3", 0},
        {"GE1*", "GE2/0/1", 1},    {"GE*/0/1", "GE3/0/9", 0},   {"*", "", 0},
        {"*", "X", 0},             {"", "GE1/0/1", 1},          {"", "", 0},
    };
    for (const auto &r : rows) {
        EXPECT_EQ(Drops(NameCond(r.pattern), r.name), r.drop) << r.pattern << " / " << r.name;
    }
}

// That a condNameLen beyond the field never reads past it is the task fuzz target's (it flips every
// reserved byte of the record between two runs that must agree).
TEST_F(NameFilterTest, NameFillingItsBufferIsReadInPlace)
{
    // A 64-byte name without a terminator, in a heap block of exactly 64 bytes.
    TlmTaskInfo cfg = NameCond(std::string(TLM_COND_NAME_LEN, 'A'));
    char *exact = static_cast<char *>(malloc(IFM_IF_NAME_LEN));
    memset(exact, 'A', IFM_IF_NAME_LEN);
    cfg.condNameLen = 64;
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(exact, &cfg), 0u);
    cfg.condNameLen = 63;
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(exact, &cfg), 1u);
    free(exact);
}

} // namespace
