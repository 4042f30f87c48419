// Interface name filter: 0 keeps the interface, 1 drops it.
#include <cstring>
#include <string>

#include "selection/selection.h"
#include "support/fixture.h"

namespace {

class NameFilterTest : public PlatformTest {
protected:
    void SetUp() override
    {
        PlatformTest::SetUp();
        memset(&cfg_, 0, sizeof(cfg_));
        cfg_.condType = 1;
        memcpy(cfg_.condKey, "name", 4);
    }
    // Drop decision for `name` under `pattern`.
    uint32_t Drops(const std::string &pattern, const char *name)
    {
        memset(cfg_.condName, 0, sizeof(cfg_.condName));
        cfg_.condNameLen = static_cast<uint16_t>(pattern.size());
        memcpy(cfg_.condName, pattern.data(), pattern.size());
        char buf[64] = {0};
        strncpy(buf, name, sizeof(buf) - 1);
        return IFMPlugin_MDTLM_IfStatFilter(buf, &cfg_);
    }
    TlmTaskInfo cfg_;
};

TEST_F(NameFilterTest, OnlyANamePatternKeyedNameRestricts)
{
    EXPECT_EQ(Drops("GE1/0/1", "GE2/0/2"), 1u);
    cfg_.condType = 2;
    EXPECT_EQ(Drops("GE1/0/1", "GE2/0/2"), 0u);
    cfg_.condType = 1;
    memcpy(cfg_.condKey, "Name", 4);
    EXPECT_EQ(Drops("GE1/0/1", "GE2/0/2"), 0u);
    memset(cfg_.condKey, 'x', sizeof(cfg_.condKey)); // "namexxx..." up to the field's end, no NUL
    memcpy(cfg_.condKey, "name", 4);
    EXPECT_EQ(Drops("GE1/0/1", "GE2/0/2"), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(nullptr, &cfg_), 1u);
}

TEST_F(NameFilterTest, PatternsIgnoreCaseAndDecideOnTheLastCharacter)
{
    EXPECT_EQ(Drops("GE1/0/1", "GE1/0/1"), 0u);
    EXPECT_EQ(Drops("GE1/0/1", "ge1/0/1"), 0u);
    EXPECT_EQ(Drops("GE1/0/1", "GE1/0/10"), 1u);
    EXPECT_EQ(Drops("GE1/0/1", "GE1/0/"), 1u);
    EXPECT_EQ(Drops("GE1*", "GE1/0/1"), 0u);
    EXPECT_EQ(Drops("GE1*", "GE1"), 0u);
    EXPECT_EQ(Drops("GE1*", "Ge1/0/3"), 0u);
    EXPECT_EQ(Drops("GE1*", "GE2/0/1"), 1u);
    EXPECT_EQ(Drops("GE1/0/1X*", "GE1/0/1"), 0u);
    EXPECT_EQ(Drops("GE*/0/1", "GE3/0/9"), 0u);
    EXPECT_EQ(Drops("*", ""), 0u);
    EXPECT_EQ(Drops("", "GE1/0/1"), 1u);
    EXPECT_EQ(Drops("", ""), 0u);
}

TEST_F(NameFilterTest, OversizedLengthsStayInsideTheirFields)
{
    // condName full to its end without a NUL and condNameLen 500: only the field's 102 characters
    // count. Its last one is 'X', while the byte 500 behind the field's start holds '*'.
    memset(cfg_.condName, 'A', sizeof(cfg_.condName));
    cfg_.condName[sizeof(cfg_.condName) - 1] = 'X';
    cfg_.condNameLen = 500;
    reinterpret_cast<char *>(&cfg_)[offsetof(TlmTaskInfo, condName) + 499] = '*';
    char shortName[64] = "AAAA";
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(shortName, &cfg_), 1u);

    // A 64-byte name without a terminator, in a heap block of exactly 64 bytes.
    std::string name(64, 'A');
    char *exact = static_cast<char *>(malloc(64));
    memcpy(exact, name.data(), 64);
    cfg_.condNameLen = 64;
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(exact, &cfg_), 0u);
    cfg_.condNameLen = 63;
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatFilter(exact, &cfg_), 1u);
    free(exact);
}

} // namespace
