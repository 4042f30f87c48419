#include "host/linux_device.h"

#include <net/if_arp.h>

#include <iostream>

#include "host/common.h"
#include "standin/standin.h"

namespace host {

namespace {

namespace st = standin::store;

constexpr uint64_t kUs = 1000000;
constexpr uint32_t kPortRowType = 0x10;     // ip-statistics only: the port row serves mib and common
constexpr uint32_t kTrunkRowType = 0x100000; // ip-statistics of trunks
constexpr uint32_t kOtherRowType = 0x1000;   // ip-, mib- and common-statistics
constexpr uint32_t kLoopbackIfType = 5;

uint64_t Sat(uint64_t a, uint64_t b)
{
    return a > b ? a - b : 0;
}

bool EthernetLike(const LinkRecord &l)
{
    return l.arpType == ARPHRD_ETHER && (l.kind.empty() || l.kind == "veth");
}

// Rows that cannot be carried over: another kind of interface, or counters that went back.
bool Reshaped(const InterfaceRows &was, const Counters &before, const InterfaceRows &is, const Counters &now)
{
    const InterfaceDecl &a = was.decl;
    const InterfaceDecl &b = is.decl;
    return a.kind != b.kind || a.statType != b.statType || a.ifType != b.ifType || a.forwardType != b.forwardType ||
           now.inBytes < before.inBytes || now.outBytes < before.outBytes || now.inPackets < before.inPackets ||
           now.outPackets < before.outPackets;
}

} // namespace

std::vector<InterfaceRows> MapLinks(const std::vector<LinkRecord> &links, uint32_t flowInterval)
{
    std::map<uint32_t, const LinkRecord *> byIndex;
    for (const LinkRecord &l : links) {
        byIndex[l.ifindex] = &l;
    }
    auto isBond = [&](uint32_t ifindex) {
        auto it = byIndex.find(ifindex);
        return it != byIndex.end() && it->second->kind == "bond";
    };
    std::vector<InterfaceRows> out;
    for (const auto &entry : byIndex) {
        const uint32_t ifindex = entry.first;
        const LinkRecord &l = *entry.second;
        InterfaceRows r;
        r.flowInterval = flowInterval;
        if (l.kind == "bond") {
            r.decl = Declare(IfKind::Trunk, l.name, ifindex);
            r.decl.statType = kTrunkRowType;
            for (const auto &m : byIndex) {
                if (m.second->master == ifindex) {
                    r.members.push_back(m.first);
                    r.decl.members.push_back(m.second->name);
                }
            }
        } else if (l.kind == "vlan") {
            r.decl = Declare(IfKind::Subif, l.name, ifindex);
            r.vlan = l.vlanId;
        } else if (EthernetLike(l)) {
            r.decl = Declare(IfKind::Port, l.name, ifindex);
            r.decl.statType = isBond(l.master) ? 0 : kPortRowType;
        } else {
            r.decl = Declare(IfKind::Routed, l.name, ifindex);
            r.decl.statType = kOtherRowType;
            if (l.arpType == ARPHRD_LOOPBACK) {
                r.decl.ifType = kLoopbackIfType;
            }
        }
        r.decl.speed = l.speed;
        out.push_back(r);
    }
    return out;
}

Counters LinkCounters(const LinkRecord &l)
{
    const LinkStats &s = l.stats;
    Counters c;
    c.inBytes = s.rxBytes;
    c.outBytes = s.txBytes;
    c.inPackets = s.rxPackets;
    c.outPackets = s.txPackets;
    // The kernel counts received multicast, and no broadcast: broadcast counts as unicast here.
    c.inMcast = s.multicast;
    c.inUcast = Sat(s.rxPackets, s.multicast);
    c.outUcast = s.txPackets;
    c.inErrors = s.rxErrors;
    c.outErrors = s.txErrors;
    c.inCrcErrors = s.rxCrcErrors;
    c.inDiscards = s.rxDropped;
    c.outDiscards = s.txDropped;
    c.v6InBytes = l.ipv6.inBytes;
    c.v6InPackets = l.ipv6.inPackets;
    c.v6OutBytes = l.ipv6.outBytes;
    c.v6OutPackets = l.ipv6.outPackets;
    c.v4InBytes = Sat(c.inBytes, c.v6InBytes);
    c.v4InPackets = Sat(c.inPackets, c.v6InPackets);
    c.v4OutBytes = Sat(c.outBytes, c.v6OutBytes);
    c.v4OutPackets = Sat(c.outPackets, c.v6OutPackets);
    return c;
}

LinuxDevice::LinuxDevice(Reader reader, uint32_t flowInterval) : reader_(std::move(reader)), flowInterval_(flowInterval)
{
}

void LinuxDevice::Start(uint64_t startUs)
{
    st::Reset();
    st::SetSysFlowInterval(flowInterval_);
    live_.clear();
    lastSecond_ = startUs / kUs;
    std::vector<LinkRecord> links;
    std::string error;
    if (!reader_(links, error)) {
        throw HostError(kExitRuntime, "cannot read the links: " + error);
    }
    Sync(links, false);
}

void LinuxDevice::AdvanceTo(uint64_t nowUs)
{
    const uint64_t second = nowUs / kUs;
    if (second <= lastSecond_) {
        return;
    }
    const bool boundary = second / flowInterval_ > lastSecond_ / flowInterval_;
    lastSecond_ = second;
    std::vector<LinkRecord> links;
    std::string error;
    if (!reader_(links, error)) {
        if (!warned_) {
            std::cerr << "zor_host: reading the links failed (" << error << "); the store keeps the last reading\n";
            warned_ = true;
        }
        return;
    }
    Sync(links, boundary);
}

void LinuxDevice::Sync(const std::vector<LinkRecord> &links, bool boundary)
{
    const uint64_t ts = standin::NowUs();
    std::map<uint32_t, Counters> counters;
    for (const LinkRecord &l : links) {
        counters[l.ifindex] = LinkCounters(l);
    }
    std::map<uint32_t, Live> next;
    bool removed = false;
    for (const InterfaceRows &r : MapLinks(links, flowInterval_)) {
        const uint32_t ifindex = r.decl.ifindex;
        const Counters &c = counters[ifindex];
        auto it = live_.find(ifindex);
        if (it == live_.end() || Reshaped(it->second.rows, it->second.now, r, c)) {
            if (it != live_.end()) {
                RemoveRows(it->second.rows);
                removed = true;
            }
            PutRows(r, c, Counters{}, 0, ts);
            next[ifindex] = Live{r, c, c, ts};
            continue;
        }
        Live l = it->second;
        if (st::IfRow *row = st::FindIf(ifindex)) {
            row->name = r.decl.name;
            row->speed = r.decl.speed;
        }
        if (r.decl.kind == IfKind::Trunk && r.members != l.rows.members) {
            st::SetTrunkMembers(ifindex, r.members);
        }
        if (st::IfStatRow *row = st::FindIfStat(ifindex)) {
            row->vlanid = r.vlan;
        }
        l.rows = r;
        l.now = c;
        CollectSecond(r, c, 0, ts);
        if (boundary) {
            CollectInterval(r, c, l.atBoundary, ts - l.boundaryUs, ts);
            l.atBoundary = c;
            l.boundaryUs = ts;
        }
        next[ifindex] = l;
    }
    for (const auto &gone : live_) {
        if (next.count(gone.first) == 0) {
            RemoveRows(gone.second.rows);
            removed = true;
        }
    }
    if (removed) {
        st::Compact(); // links come and go for as long as the host runs
    }
    live_.swap(next);
}

std::vector<std::string> LinuxDevice::InterfaceNames() const
{
    std::vector<std::string> names;
    for (const auto &l : live_) {
        names.push_back(l.second.rows.decl.name);
    }
    return names;
}

Inventory LinuxDevice::AsInventory(uint32_t boardType) const
{
    Inventory inv;
    inv.boardType = boardType;
    inv.flowInterval = flowInterval_;
    for (const auto &l : live_) {
        inv.interfaces.push_back(l.second.rows.decl);
    }
    return inv;
}

} // namespace host
