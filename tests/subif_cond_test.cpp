// Subinterface name conditions: splitting names into main interface and number, and the three
// kinds of condition, on well-formed and malformed names and configurations.
#include <cstring>
#include <string>
#include <vector>

#include "selection/selection.h"
#include "store/store.h"
#include "support/plugin_state.h"

namespace {

TlmTaskInfo Cfg(uint32_t condType, const std::string &name = "", const std::string &index = "")
{
    return plugin_state::NameCondition(condType, name, index);
}

class SubifCondTest : public PlatformTest {
protected:
    uint32_t Check(const char *name, const TlmTaskInfo &cfg)
    {
        memset(main_, 0x5A, sizeof(main_));
        return IFM_GetMainIfNameAndIndex(name, main_, &number_, &cfg);
    }
    char main_[IFM_IF_NAME_LEN];
    uint32_t number_ = 0;
};

TEST_F(SubifCondTest, SplitsNames)
{
    EXPECT_EQ(Check("GE1/0/1.100", Cfg(0)), 0u);
    EXPECT_STREQ(main_, "GE1/0/1");
    EXPECT_EQ(number_, 100u);
    EXPECT_EQ(Check(".5", Cfg(0)), 0u);
    EXPECT_STREQ(main_, "");
    EXPECT_EQ(number_, 5u);
    EXPECT_EQ(Check("", Cfg(0)), 1u);
    EXPECT_EQ(Check("GE1/0/1", Cfg(0)), 1u); // not a subinterface: silent
    EXPECT_TRUE(standin::Logs().empty());

    for (const char *bad : {"GE1/0/1.", "GE1/0/1.x", "GE1/0/1.1.2", "GE1/0/1.5x"}) {
        EXPECT_EQ(Check(bad, Cfg(0)), 1u) << bad;
    }
    EXPECT_EQ(standin::CountLog("IFM_GetMainIfNameAndIndex:strtol error, Transformation was not adequate", 2), 4u);

    // A name filling its 64 bytes without a terminator, on the heap so that overreads are caught.
    std::vector<char> full(IFM_IF_NAME_LEN, '0');
    memcpy(full.data(), "GE1/0/1.", 8);
    memcpy(full.data() + IFM_IF_NAME_LEN - 3, "123", 3);
    EXPECT_EQ(Check(full.data(), Cfg(0)), 0u);
    EXPECT_EQ(number_, 123u);
    full.back() = 'x';
    EXPECT_EQ(Check(full.data(), Cfg(0)), 1u);
}

TEST_F(SubifCondTest, Conditions)
{
    const struct {
        uint32_t condType;
        const char *pattern, *index, *name;
        uint32_t result;
    } rows[] = {
        {1, "*", "", "GE1/0/1.5", 0},          {1, "*", "", ".5", 0},
        {1, "GE1/0/1*", "", "GE1/0/1.5", 0},   {1, "GE1/0/1*", "", "GE1/0/10.5", 0},
        {1, "GE1/0/1*", "", "GE1/0/2.5", 1},   {1, "GE1/0/10*", "", "GE1/0/1.5", 1}, // longer than the name
        {1, "GE1/0/1*", "", "ge1/0/1.5", 1},   {1, "GE1/0/1", "", "GE1/0/1.7", 0},   // no case folding
        {1, "GE1/0/1", "", "GE1/0/11.7", 1},   {1, "", "", "GE1/0/1.7", 1},
        {2, "GE1/0/1", "100", "GE1/0/1.100", 0}, {2, "GE1/0/1", "100", "GE1/0/1.101", 1},
        {2, "GE1/0/1", "100", "GE1/0/2.100", 1}, {7, "GE1/0/1", "100", "GE1/0/1.100", 0}, // any kind above 1
    };
    for (const auto &r : rows) {
        EXPECT_EQ(Check(r.name, Cfg(r.condType, r.pattern, r.index)), r.result) << r.pattern << " " << r.name;
    }
    EXPECT_EQ(Check("GE1/0/1.7", Cfg(1, std::string(64, 'G') + "*")), 1u); // prefix above 64
    EXPECT_EQ(IFM_DealNameCondType("GE1/0/1*", 8, "GE1/0/1", 65), 1u);      // name size above 64
    EXPECT_TRUE(standin::Logs().empty());

    for (const char *bad : {"1x", "", "x"}) { // a malformed number skips every subinterface
        EXPECT_EQ(Check("GE1/0/1.100", Cfg(2, "GE1/0/1", bad)), 1u) << bad;
    }
    EXPECT_EQ(standin::CountLog("IFM_DataFilterByCond:strtol error, Transformation was not adequate", 2), 3u);
}

// Reads past condIndex or past condNameLen's field are the task fuzz target's (it flips every
// reserved byte of the record between two runs that must agree); here: condName filling its field.
TEST_F(SubifCondTest, UnterminatedFieldsEndAtTheirCapacity)
{
    // condName of 102 characters without a terminator, as exact name, prefix, and with a number.
    TlmTaskInfo cfg = Cfg(1, std::string(TLM_COND_NAME_LEN, 'G'));
    EXPECT_EQ(Check("GGG.3", cfg), 1u);
    cfg.condName[TLM_COND_NAME_LEN - 1] = '*';
    EXPECT_EQ(Check("GGG.3", cfg), 1u);
    cfg.condType = 2;
    EXPECT_EQ(Check("GGG.3", cfg), 1u);
}

} // namespace
