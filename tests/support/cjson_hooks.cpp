// cJSON's allocator routed through counting hooks (declared in fixture.h).
#include <cjson/cJSON.h>

#include <cstdlib>

#include "support/fixture.h"

namespace {

int64_t g_live = 0;
uint64_t g_failIn = 0; // allocations until the failing one; 0: none armed
bool g_fired = false;

void *Alloc(size_t n)
{
    if (g_failIn != 0 && --g_failIn == 0) {
        g_fired = true;
        return nullptr;
    }
    void *p = std::malloc(n);
    g_live += p != nullptr ? 1 : 0;
    return p;
}

void Free(void *p)
{
    g_live -= p != nullptr ? 1 : 0;
    std::free(p);
}

// Installed before main, so that every block the tests see went through the count.
const bool g_installed = [] {
    cJSON_Hooks hooks{Alloc, Free};
    cJSON_InitHooks(&hooks);
    return true;
}();

} // namespace

namespace cjson_hooks {

int64_t Live() { return g_installed ? g_live : 0; }
void FailAt(uint64_t nth)
{
    g_failIn = nth;
    g_fired = false;
}
bool Fired() { return g_fired; }

} // namespace cjson_hooks
