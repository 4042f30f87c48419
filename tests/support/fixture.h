// Base fixture for tests that run plugin code on the stand-in platform: every test starts from a
// reset platform and must end with no outstanding framework buffers, no live store objects and no
// cJSON blocks, apart from what the test declares as kept (cache nodes and interface lists of
// running tasks).
#ifndef ZOR_TEST_FIXTURE_H
#define ZOR_TEST_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "standin/standin.h"

// cJSON's allocator for the whole test program (support/cjson_hooks.cpp, installed before main):
// cJSON's memory is not framework memory, so its blocks are counted on their own.
namespace cjson_hooks {
int64_t Live();            // blocks allocated and not yet freed
void FailAt(uint64_t nth); // the nth cJSON allocation from now fails, once; 0 disarms
bool Fired();              // the armed failure has happened since the last FailAt
} // namespace cjson_hooks

// The text of a logged store failure: "[ERROR]<label> failed, ret = <rc>.".
inline std::string DbErr(const std::string &label, uint32_t rc)
{
    return "[ERROR]" + label + " failed, ret = " + std::to_string(rc) + ".";
}

class PlatformTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        standin::ResetAll();
        baseline_ = standin::Alloc().outstandingBuffers;
        cjson_hooks::FailAt(0);
        cjsonBaseline_ = cjson_hooks::Live();
    }
    void TearDown() override
    {
        if (checkLeaks_) {
            EXPECT_EQ(standin::Alloc().outstandingBuffers, baseline_ + keptBuffers_) << "framework buffers leaked";
            EXPECT_EQ(standin::store::LiveObjects(), 0u) << "store objects leaked";
            EXPECT_EQ(cjson_hooks::Live(), cjsonBaseline_) << "cJSON blocks leaked";
        }
    }
    // Buffers the test expects to stay allocated at its end (for example cache nodes of a task
    // that is still running).
    void ExpectKeptBuffers(uint64_t n) { keptBuffers_ = n; }
    void SkipLeakCheck() { checkLeaks_ = false; }

private:
    uint64_t baseline_ = 0;
    uint64_t keptBuffers_ = 0;
    int64_t cjsonBaseline_ = 0;
    bool checkLeaks_ = true;
};

#endif
