#include "host/device.h"

#include <algorithm>
#include <cstdlib>

#include "standin/standin.h"

namespace host {

namespace {

constexpr uint64_t kUs = 1000000;

// Send queue length: a gauge that follows the send load (packets in the queue).
uint64_t OutQueue(const InterfaceDecl &s)
{
    return s.speed == 0 ? 0 : s.traffic.outBitRate * 64 / s.speed;
}

uint16_t VlanOf(const InterfaceDecl &s)
{
    if (s.kind != IfKind::Subif) {
        return 0;
    }
    const size_t dot = s.name.find('.');
    const uint64_t n = std::strtoull(s.name.c_str() + dot + 1, nullptr, 10);
    return static_cast<uint16_t>(std::min<uint64_t>(n, 4094));
}

} // namespace

Device::Device(const Inventory &inv, uint64_t seed, double jitterPercent) : inv_(inv), seed_(seed)
{
    live_.reserve(inv_.interfaces.size());
    for (const InterfaceDecl &s : inv_.interfaces) {
        InterfaceRows rows;
        rows.decl = s;
        if (s.kind == IfKind::Trunk) {
            rows.members = inv_.MemberIndexes(s);
        }
        rows.vlan = VlanOf(s);
        rows.flowInterval = inv_.flowInterval;
        byName_[s.name] = live_.size();
        live_.push_back(Live{rows, TrafficSource(s.traffic, seed, s.ifindex, jitterPercent), {}, {}, 0});
    }
}

const Counters *Device::CountersOf(const std::string &name) const
{
    auto it = byName_.find(name);
    return it == byName_.end() ? nullptr : &live_[it->second].source.counters();
}

const Counters *Device::BaselineOf(const std::string &name) const
{
    auto it = byName_.find(name);
    return it == byName_.end() ? nullptr : &live_[it->second].baseline;
}

std::vector<std::string> Device::InterfaceNames() const
{
    std::vector<std::string> names;
    for (const Live &l : live_) {
        names.push_back(l.rows.decl.name);
    }
    return names;
}

void Device::Start(uint64_t startUs)
{
    const uint64_t startSecond = startUs / kUs;
    const uint64_t warmup = 4ull * inv_.flowInterval + 10;
    const uint64_t first = startSecond - warmup;
    standin::store::Reset();
    standin::store::SetSysFlowInterval(inv_.flowInterval);
    for (Live &l : live_) {
        // Up for 1 to 7 days, counters last cleared 1 to 24 hours ago.
        const uint32_t ifindex = l.rows.decl.ifindex;
        const uint64_t uptime = 86400 * (1 + Mix(seed_, ifindex) % 7);
        const uint64_t sinceClear = 3600 * (1 + Mix(seed_, ifindex + 0x5EED) % 24);
        l.source.AdvanceSteady(uptime - sinceClear);
        l.baseline = l.source.counters();
        l.source.AdvanceSteady(sinceClear);
        l.atBoundary = l.source.counters();
        l.boundarySecond = first;
        PutRows(l.rows, l.source.counters(), l.baseline, OutQueue(l.rows.decl), first * kUs);
    }
    lastSecond_ = first;
    AdvanceTo(startSecond * kUs);
}

void Device::AdvanceTo(uint64_t nowUs)
{
    while ((lastSecond_ + 1) * kUs <= nowUs) {
        Collect(++lastSecond_);
    }
}

void Device::Collect(uint64_t second)
{
    const uint64_t ts = second * kUs;
    const bool boundary = second % inv_.flowInterval == 0;
    for (Live &l : live_) {
        l.source.Step();
        const Counters &c = l.source.counters();
        CollectSecond(l.rows, c, OutQueue(l.rows.decl), ts);
        if (boundary) {
            const uint64_t elapsed = std::max<uint64_t>(1, second - l.boundarySecond);
            CollectInterval(l.rows, c, l.atBoundary, elapsed * kUs, ts);
            l.atBoundary = c;
            l.boundarySecond = second;
        }
    }
}

} // namespace host
