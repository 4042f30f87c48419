// cJSON's allocator, for the whole test program, counting its live blocks and able to fail one
// chosen allocation. cJSON's memory is not framework memory, so the fixture checks it separately:
// no cJSON block may outlive a test.
#ifndef ZOR_TEST_CJSON_HOOKS_H
#define ZOR_TEST_CJSON_HOOKS_H

#include <cstdint>

namespace cjson_hooks {

// Blocks cJSON has allocated and not yet freed.
int64_t Live();
// The nth cJSON allocation from now fails (once); 0 disarms.
void FailAt(uint64_t nth);
// Whether the armed failure has happened since the last FailAt.
bool Fired();

} // namespace cjson_hooks

#endif
