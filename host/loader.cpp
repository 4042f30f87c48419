#include "host/loader.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstring>
#include <sys/stat.h>

#include "host/common.h"
#include "standin/standin.h"

namespace host {

namespace {

constexpr const char *kPluginFile = "libzor_ifm-telemetry-plugin.so";

bool Exists(const std::string &path)
{
    struct stat st;
    return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

std::string ExeDir()
{
    char buf[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof(buf) - 1);
    if (n <= 0) {
        return "";
    }
    std::string exe(buf, static_cast<size_t>(n));
    const size_t slash = exe.rfind('/');
    return slash == std::string::npos ? "" : exe.substr(0, slash);
}

} // namespace

const Registration *LoadedPlugin::Find(const std::string &name) const
{
    for (const Registration &r : registrations) {
        if (r.name == name) {
            return &r;
        }
    }
    return nullptr;
}

std::string DefaultPluginPath()
{
    const std::string dir = ExeDir();
#ifdef ZOR_HOST_INSTALLED_PLUGIN_DIR
    // Installed: the library directory relative to the host's own (bin/../lib/...), wherever the
    // tree was installed or unpacked; a build tree has no such directory.
    const std::string installed = dir + "/" + ZOR_HOST_INSTALLED_PLUGIN_DIR + "/" + kPluginFile;
    if (!dir.empty() && Exists(installed)) {
        return installed;
    }
#endif
#ifdef ZOR_HOST_PLUGIN_PATH
    if (Exists(ZOR_HOST_PLUGIN_PATH)) {
        return ZOR_HOST_PLUGIN_PATH;
    }
#endif
    // The plugin beside the host, or one directory up (the build tree's layout).
    for (const std::string &candidate : {dir + "/" + kPluginFile, dir + "/../" + kPluginFile}) {
        if (Exists(candidate)) {
            return candidate;
        }
    }
    return "";
}

LoadedPlugin LoadPlugin(const std::string &path, uint32_t boardType, uint32_t moduleId)
{
    if (path.empty()) {
        throw HostError(kExitRuntime, "no plugin library found; give one with --plugin PATH");
    }
    // A path without a slash would be searched for on the library path; the host means a file.
    const std::string openPath = path.find('/') == std::string::npos ? "./" + path : path;
    void *handle = ::dlopen(openPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char *why = ::dlerror();
        throw HostError(kExitRuntime, "cannot load plugin library " + path + ": " + (why ? why : "unknown error"));
    }
    ::dlerror();
    void *entry = ::dlsym(handle, kPluginEntry);
    if (entry == nullptr) {
        throw HostError(kExitRuntime, "plugin library " + path + " has no entry " + kPluginEntry);
    }

    standin::SetBoardType(boardType);
    LoadedPlugin plugin;
    plugin.path = path;
    std::vector<Registration> *regs = &plugin.registrations;
    standin::SetRegHandler([regs](uint32_t mod, const char *xpath, const TlmSensorReg *reg) -> uint32_t {
        if (xpath == nullptr || reg == nullptr) {
            return 1;
        }
        Registration r;
        r.moduleId = mod;
        r.name.assign(reg->sensorName, ::strnlen(reg->sensorName, sizeof(reg->sensorName)));
        r.regValue1 = reg->regValue1;
        r.regValue2 = reg->regValue2;
        r.taskProc = reg->taskProc;
        r.stopProc = reg->stopProc;
        regs->push_back(r);
        return 0;
    });
    auto init = reinterpret_cast<uint32_t (*)(uint32_t)>(entry);
    plugin.initResult = init(moduleId);
    standin::SetRegHandler(nullptr);
    return plugin;
}

} // namespace host
