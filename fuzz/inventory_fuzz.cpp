// Fuzz target of the host's inventory parser: the input is an inventory file. Oracles: no crash or
// sanitizer report; bad text ends with the host's input error (exit code 2) and nothing else; an
// accepted inventory has unique non-empty names of at most 63 characters, unique non-zero indexes,
// subinterfaces named MAIN.N, trunks of at least one declared port each (a port in one trunk at
// most), packet sizes of 1 to 65535 bytes, IPv6 shares of at most 100 % and a flow interval of 1
// to 3600 seconds; its text form parses back to the same text; and the simulated device built from
// it starts (fills the store and warms up) within the fuzzer's time limit.
#include <set>
#include <sstream>

#include "fuzz_support.h"
#include "host/common.h"
#include "host/device.h"
#include "host/inventory.h"

namespace {

constexpr uint64_t kStartUs = 1704067200000000ull;

void CheckInventory(const host::Inventory &inv)
{
    fuzz::Check(inv.flowInterval >= 1 && inv.flowInterval <= host::kMaxFlowInterval, "flow interval out of range");
    std::set<std::string> names;
    std::set<uint32_t> indexes;
    std::set<std::string> members;
    for (const host::InterfaceDecl &s : inv.interfaces) {
        fuzz::Check(!s.name.empty() && s.name.size() <= 63 && names.insert(s.name).second, "bad name " + s.name);
        fuzz::Check(s.ifindex != 0 && indexes.insert(s.ifindex).second, "index of " + s.name + " is 0 or taken");
        fuzz::Check(s.traffic.packetSize >= 1 && s.traffic.packetSize <= 65535 && s.traffic.ipv6Percent <= 100,
                    "packet size or IPv6 share of " + s.name);
        if (s.kind == host::IfKind::Mgmt) {
            fuzz::Check(s.actualIfindex != 0 && indexes.insert(s.actualIfindex).second, "actual index of " + s.name);
        }
        if (s.kind == host::IfKind::Subif) {
            const size_t dot = s.name.find('.');
            fuzz::Check(dot != 0 && dot != std::string::npos && dot + 1 < s.name.size() &&
                            s.name.find_first_not_of("0123456789", dot + 1) == std::string::npos,
                        "subinterface name " + s.name);
        }
        fuzz::Check(s.kind != host::IfKind::Trunk || !s.members.empty(), "trunk " + s.name + " without members");
        for (const std::string &m : s.members) {
            const host::InterfaceDecl *p = inv.Find(m);
            fuzz::Check(p != nullptr && p->kind == host::IfKind::Port, "trunk member " + m + " is not a port");
            fuzz::Check(members.insert(m).second, "port " + m + " is a member twice");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::istringstream text(std::string(reinterpret_cast<const char *>(data), size));
    host::Inventory inv;
    try {
        inv = host::ParseInventory(text, "input");
    } catch (const host::HostError &e) {
        fuzz::Check(e.exitCode() == host::kExitUsage, std::string("refused with another exit code: ") + e.what());
        return 0;
    }
    CheckInventory(inv);
    const std::string formatted = host::FormatInventory(inv);
    std::istringstream again(formatted);
    try {
        fuzz::Check(host::FormatInventory(host::ParseInventory(again, "formatted")) == formatted,
                    "the inventory's text does not parse back to itself:\n" + formatted);
    } catch (const host::HostError &e) {
        fuzz::Fail(std::string("the inventory's text is refused: ") + e.what() + "\n" + formatted);
    }
    host::Device device(inv, 1, 2.0);
    device.Start(kStartUs);
    return 0;
}
