// The machine's own links as the device behind the stand-in statistics store (zor_host --source
// linux). Once a second of the real clock the links are read (host/linux_links.h) and the store is
// kept as the simulated device keeps it (host/store_rows.h): the port rings every second, the
// if_statistics rings and the rate steps at every flow interval, timestamps the times of reading.
//
// What each link becomes:
//   - ethernet-like links (hardware ethernet, veth): a port (ifm_port_statistics row) with an
//     if_statistics row of type 0x10, which only ip-statistics reads (mib- and common-statistics
//     read the port row), interface type 1;
//   - a bond: a trunk (trunk and trunk_member rows) whose members are the links enslaved to it, and
//     an if_statistics row of type 0x100000 with the bond's own counters, interface type 2 and
//     forwarding type 8; its members keep their port rows but get no if_statistics row: IP runs
//     on the bond, and ip-statistics adds a trunk's members to its own row;
//   - a VLAN: a subinterface (if_statistics row of type 0x1 with the VLAN id), interface type 3,
//     named as the kernel names it (the subinterface sensor reports names of the form MAIN.N);
//   - loopback (interface type 5) and every other link (bridges, tunnels, ...; interface type 4):
//     an if_statistics row of type 0x1000, read by ip-, mib- and common-statistics.
// Speeds are the reported ones (0 when unknown). Links that appear get their rows with the history
// filled with their first reading; links that vanish lose their rows; a renamed link keeps its rows
// under the new name; a link whose kind changes, or whose counters go back (a new link under an
// old index), gets new rows.
//
// Counters (see LinkCounters): link counters as the kernel keeps them; IPv6 from the interface's
// dev_snmp6 counters; IPv4 is an estimate, link minus IPv6, since the kernel keeps no IPv4 counters
// per interface.
#ifndef ZOR_HOST_LINUX_DEVICE_H
#define ZOR_HOST_LINUX_DEVICE_H

#include <functional>
#include <map>

#include "host/device.h"
#include "host/linux_links.h"
#include "host/store_rows.h"

namespace host {

// The store rows of a set of links, in interface index order (a bond's members by index too).
std::vector<InterfaceRows> MapLinks(const std::vector<LinkRecord> &links, uint32_t flowInterval);
// The counters of one link.
Counters LinkCounters(const LinkRecord &link);

class LinuxDevice : public DeviceSource {
public:
    // Fills `links` with every link; false with `error` set when the links cannot be read.
    using Reader = std::function<bool(std::vector<LinkRecord> &links, std::string &error)>;

    LinuxDevice(Reader reader, uint32_t flowInterval);

    void Start(uint64_t startUs) override;
    // One reading when a second has passed since the last (missed seconds are not made up).
    void AdvanceTo(uint64_t nowUs) override;
    uint64_t LastSecond() const override { return lastSecond_; }
    std::vector<std::string> InterfaceNames() const override;

    // The links of the last reading as a device inventory.
    Inventory AsInventory(uint32_t boardType) const;

private:
    struct Live {
        InterfaceRows rows;
        Counters now;
        Counters atBoundary;
        uint64_t boundaryUs = 0;
    };

    void Sync(const std::vector<LinkRecord> &links, bool boundary);

    Reader reader_;
    uint32_t flowInterval_;
    std::map<uint32_t, Live> live_; // by interface index
    uint64_t lastSecond_ = 0;
    bool warned_ = false;
};

} // namespace host

#endif
