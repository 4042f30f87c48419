// Loading the plugin the way the framework does: dlopen the shared library, look its entry up by
// name, and call it once with the module identifier; the sensors it registers through RegXpath
// are collected here.
#ifndef ZOR_HOST_LOADER_H
#define ZOR_HOST_LOADER_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/mdtlm_frm.h"

namespace host {

constexpr const char *kPluginEntry = "IFMPlugin_MDTLM_Init";

struct Registration {
    uint32_t moduleId = 0;
    std::string name;
    uint32_t regValue1 = 0;
    uint32_t regValue2 = 0;
    TlmTaskProc taskProc = nullptr;
    TlmStopProc stopProc = nullptr;
};

struct LoadedPlugin {
    std::string path;
    uint32_t initResult = 0;
    std::vector<Registration> registrations;

    const Registration *Find(const std::string &name) const;
};

// The installed plugin beside an installed host, else the plugin library the build made, or "".
std::string DefaultPluginPath();

// dlopens `path`, sets the stand-in board type, installs the registration handler, runs the entry.
// Throws HostError (exit code 1) when the library does not load or has no entry. The library is
// never unloaded: the plugin has no unload entry and keeps state for the life of the process.
LoadedPlugin LoadPlugin(const std::string &path, uint32_t boardType, uint32_t moduleId);

} // namespace host

#endif
