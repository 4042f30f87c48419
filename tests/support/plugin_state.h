// Test access to the plugin's global state: the task table, the last-sample cache and the
// framework's operation table. Between tests the plugin is returned to an empty task table.
#ifndef ZOR_TEST_PLUGIN_STATE_H
#define ZOR_TEST_PLUGIN_STATE_H

#include <cstdint>
#include <string>

#include "runtime/runtime.h"
#include "selection/selection.h"
#include "support/fixture.h"

namespace plugin_state {

// Stops every task the table holds (removing its cache nodes and freeing its interface list),
// frees a list left in a free slot, then forgets the cache and the operation table. Must run while
// the platform still holds the buffers of those tasks, that is before standin::ResetAll.
void Reset();

// What start-up would have set without registering anything: module id, operation table of the
// stand-in framework and a fresh last-sample cache.
void Attach(uint32_t moduleId = 7);

// The slot of a task, or null when the task is not in the table.
IfmPluginTask *SlotOf(uint32_t taskId);
// Number of slots in use.
uint32_t TasksInUse();

// A zeroed task configuration.
TlmTaskInfo ZeroTaskInfo();
// A task configuration with a name condition of kind `condType`: the pattern (condNameLen its
// length), the subinterface number text and the condition key.
TlmTaskInfo NameCondition(uint32_t condType, const std::string &pattern, const std::string &index = "",
                          const std::string &key = "name");

// A round record over `cfg`, as a task callback builds it.
IfmTaskRound MakeRound(TlmTaskInfo *cfg, uint32_t taskId, uint32_t frmCookie = 0x5A5A, uint8_t encodeType = 0);

// The cache node of (taskId, ifIndex), or null.
YangNodeData *CacheNode(uint32_t taskId, uint32_t ifIndex);

} // namespace plugin_state

// PlatformTest with the plugin's state reset before the platform, and the framework attached.
class PluginTest : public PlatformTest {
protected:
    void SetUp() override
    {
        plugin_state::Reset();
        PlatformTest::SetUp();
        plugin_state::Attach();
    }
};

#endif
