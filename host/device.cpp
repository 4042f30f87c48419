#include "host/device.h"

#include <algorithm>
#include <cstdlib>

#include "standin/standin.h"

namespace host {

namespace {

namespace st = standin::store;

constexpr uint64_t kUs = 1000000;
constexpr uint32_t kPortRing = 10;
constexpr uint32_t kPortRateStep = 10;
constexpr uint32_t kPortBaselineStep = 12;
constexpr uint32_t kIfRing = 4;
constexpr uint32_t kIfRateStep = 4;

// Per-second average of a counter over `seconds`, scaled so that rate × seconds ÷ 1000 is a count.
uint64_t Rate(uint64_t now, uint64_t before, uint64_t seconds)
{
    return now <= before ? 0 : (now - before) * 1000 / seconds;
}

st::PortStatStep PortStep(const Counters &c, uint64_t outQlen, uint64_t tsUs)
{
    st::PortStatStep s{};
    s.in_bytes = c.inBytes;
    s.out_bytes = c.outBytes;
    s.in_packets = c.inPackets;
    s.out_packets = c.outPackets;
    s.in_errors = c.inErrors;
    s.out_errors = 0;
    s.in_nuc_packets = c.inMcast + c.inBcast;
    s.out_nuc_packets = c.outMcast + c.outBcast;
    s.in_discard_pkts = c.inDiscards;
    s.out_discard_pkts = c.outDiscards;
    s.out_qlen = outQlen;
    s.in_hc_octets = c.inBytes;
    s.out_hc_octets = c.outBytes;
    s.in_bcast_packets = c.inBcast;
    s.out_bcast_packets = c.outBcast;
    s.in_ucast_packets = c.inUcast;
    s.out_ucast_packets = c.outUcast;
    s.in_mcast_packets = c.inMcast;
    s.out_mcast_packets = c.outMcast;
    s.in_crc_errors = c.inCrcErrors;
    s.in_pause_packets = 0;
    s.out_pause_packets = 0;
    s.timestamp_coll_cur = tsUs;
    return s;
}

st::PortStatStep PortRateStep(const Counters &now, const Counters &before, uint64_t seconds, uint64_t tsUs)
{
    const st::PortStatStep a = PortStep(now, 0, 0);
    const st::PortStatStep b = PortStep(before, 0, 0);
    st::PortStatStep r{};
#define ZOR_HOST_RATE(f) r.f = Rate(a.f, b.f, seconds);
    DB_PORT_STATISTICS_STEP_FIELDS(ZOR_HOST_RATE)
#undef ZOR_HOST_RATE
    r.timestamp_coll_cur = tsUs;
    return r;
}

st::IfStatStep IfStep(const Counters &c, uint64_t tsUs)
{
    st::IfStatStep s{};
    s.in_bytes = c.inBytes;
    s.out_bytes = c.outBytes;
    s.in_packets = c.inPackets;
    s.out_packets = c.outPackets;
    s.ipv4_in_bytes = c.v4InBytes;
    s.ipv4_out_bytes = c.v4OutBytes;
    s.ipv4_in_packets = c.v4InPackets;
    s.ipv4_out_packets = c.v4OutPackets;
    s.ipv6_in_bytes = c.v6InBytes;
    s.ipv6_out_bytes = c.v6OutBytes;
    s.ipv6_in_packets = c.v6InPackets;
    s.ipv6_out_packets = c.v6OutPackets;
    s.timestamp_coll_cur = tsUs;
    return s;
}

st::IfStatStep IfRateStep(const Counters &now, const Counters &before, uint64_t seconds, uint64_t tsUs)
{
    const st::IfStatStep a = IfStep(now, 0);
    const st::IfStatStep b = IfStep(before, 0);
    st::IfStatStep r{};
#define ZOR_HOST_RATE(f) r.f = Rate(a.f, b.f, seconds);
    DB_IF_STATISTICS_STEP_FIELDS(ZOR_HOST_RATE)
#undef ZOR_HOST_RATE
    r.timestamp_coll_cur = tsUs;
    return r;
}

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
        Live l{&s, TrafficSource(s.traffic, seed, s.ifindex, jitterPercent), {}, {}, 0, false, 0};
        l.portRow = s.kind == IfKind::Port || s.kind == IfKind::Mgmt;
        l.portKey = s.kind == IfKind::Mgmt ? s.actualIfindex : s.ifindex;
        byName_[s.name] = live_.size();
        live_.push_back(l);
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

void Device::Start(uint64_t startUs)
{
    const uint64_t startSecond = startUs / kUs;
    const uint64_t warmup = 4ull * inv_.flowInterval + 10;
    const uint64_t first = startSecond - warmup;
    for (Live &l : live_) {
        // Up for 1 to 7 days, counters last cleared 1 to 24 hours ago.
        const uint64_t uptime = 86400 * (1 + Mix(seed_, l.decl->ifindex) % 7);
        const uint64_t sinceClear = 3600 * (1 + Mix(seed_, l.decl->ifindex + 0x5EED) % 24);
        l.source.AdvanceSteady(uptime - sinceClear);
        l.baseline = l.source.counters();
        l.source.AdvanceSteady(sinceClear);
        l.atBoundary = l.source.counters();
        l.boundarySecond = first;
    }
    WriteTables(first);
    lastSecond_ = first;
    AdvanceTo(startSecond * kUs);
}

void Device::WriteTables(uint64_t firstSecond)
{
    st::Reset();
    st::SetSysFlowInterval(inv_.flowInterval);
    for (const Live &l : live_) {
        const InterfaceDecl &s = *l.decl;
        st::PutIf({s.ifindex, s.forwardType, s.ifType, s.speed, s.name});
        if (s.kind == IfKind::Mgmt) {
            st::PutIf({s.actualIfindex, s.forwardType, s.ifType, s.speed, s.name});
            st::AddIfMgnt({s.ifindex, s.actualIfindex, 0});
        }
        if (s.kind == IfKind::Trunk) {
            st::AddTrunk(s.ifindex);
            st::SetTrunkMembers(s.ifindex, inv_.MemberIndexes(s));
        }
        const Counters &c = l.source.counters();
        if (l.portRow) {
            st::PortStatRow row{};
            row.ifindex = l.portKey;
            row.interval_index = 0;
            for (uint32_t k = 0; k < kPortRing; ++k) {
                row.steps[k] = PortStep(c, OutQueue(s), (firstSecond - (kPortRing - 1) + k) * kUs);
            }
            row.steps[kPortRateStep] = PortRateStep(c, c, 1, firstSecond * kUs);
            const uint64_t clearedAt = firstSecond > 86400 ? firstSecond - 86400 : 0;
            row.steps[kPortBaselineStep] = PortStep(l.baseline, 0, clearedAt * kUs);
            st::PutPortStat(row);
        }
        if (s.statType != 0) {
            st::IfStatRow row{};
            row.stat_type = s.statType;
            row.ifindex = s.ifindex;
            row.vrid = 0;
            row.interval_index = 0;
            row.isReportTraffic = 1;
            row.tunnelid = 0;
            row.flow_stat_interval = inv_.flowInterval;
            row.vlanid = VlanOf(s);
            row.statistics_enable = s.statsEnabled ? 1 : 0;
            for (uint32_t k = 0; k < kIfRing; ++k) {
                row.steps[k] = IfStep(c, firstSecond * kUs);
            }
            row.steps[kIfRateStep] = IfRateStep(c, c, 1, firstSecond * kUs);
            st::PutIfStat(row);
        }
    }
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
        const uint64_t elapsed = std::max<uint64_t>(1, second - l.boundarySecond);
        if (l.portRow) {
            if (st::PortStatRow *row = st::FindPortStat(l.portKey)) {
                row->steps[row->interval_index % kPortRing] = PortStep(c, OutQueue(*l.decl), ts);
                row->interval_index = (row->interval_index + 1) % kPortRing;
                if (boundary) {
                    row->steps[kPortRateStep] = PortRateStep(c, l.atBoundary, elapsed, ts);
                }
            }
        }
        if (boundary && l.decl->statType != 0) {
            if (st::IfStatRow *row = st::FindIfStat(l.decl->ifindex)) {
                row->steps[row->interval_index % kIfRing] = IfStep(c, ts);
                row->steps[kIfRateStep] = IfRateStep(c, l.atBoundary, elapsed, ts);
                row->interval_index = (row->interval_index + 1) % kIfRing;
            }
        }
        if (boundary) {
            l.atBoundary = c;
            l.boundarySecond = second;
        }
    }
}

} // namespace host
