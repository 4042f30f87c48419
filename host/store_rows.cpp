#include "host/store_rows.h"

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
constexpr uint64_t kBaselineAgeUs = 86400 * kUs;

// Average per-second rate of a counter over `elapsedUs`, scaled so that rate × seconds ÷ 1000 is a
// count.
uint64_t Rate(uint64_t now, uint64_t before, uint64_t elapsedUs)
{
    if (now <= before || elapsedUs == 0) {
        return 0;
    }
    return static_cast<uint64_t>(static_cast<unsigned __int128>(now - before) * 1000 * kUs / elapsedUs);
}

st::PortStatStep PortStep(const Counters &c, uint64_t outQlen, uint64_t tsUs)
{
    st::PortStatStep s{};
    s.in_bytes = c.inBytes;
    s.out_bytes = c.outBytes;
    s.in_packets = c.inPackets;
    s.out_packets = c.outPackets;
    s.in_errors = c.inErrors;
    s.out_errors = c.outErrors;
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

st::PortStatStep PortRateStep(const Counters &now, const Counters &before, uint64_t elapsedUs, uint64_t tsUs)
{
    const st::PortStatStep a = PortStep(now, 0, 0);
    const st::PortStatStep b = PortStep(before, 0, 0);
    st::PortStatStep r{};
#define ZOR_HOST_RATE(f) r.f = Rate(a.f, b.f, elapsedUs);
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

st::IfStatStep IfRateStep(const Counters &now, const Counters &before, uint64_t elapsedUs, uint64_t tsUs)
{
    const st::IfStatStep a = IfStep(now, 0);
    const st::IfStatStep b = IfStep(before, 0);
    st::IfStatStep r{};
#define ZOR_HOST_RATE(f) r.f = Rate(a.f, b.f, elapsedUs);
    DB_IF_STATISTICS_STEP_FIELDS(ZOR_HOST_RATE)
#undef ZOR_HOST_RATE
    r.timestamp_coll_cur = tsUs;
    return r;
}

} // namespace

void PutRows(const InterfaceRows &r, const Counters &now, const Counters &baseline, uint64_t outQlen, uint64_t tsUs)
{
    const InterfaceDecl &s = r.decl;
    st::PutIf({s.ifindex, s.forwardType, s.ifType, s.speed, s.name});
    if (s.kind == IfKind::Mgmt) {
        st::PutIf({s.actualIfindex, s.forwardType, s.ifType, s.speed, s.name});
        st::AddIfMgnt({s.ifindex, s.actualIfindex, 0});
    }
    if (s.kind == IfKind::Trunk) {
        st::AddTrunk(s.ifindex);
        st::SetTrunkMembers(s.ifindex, r.members);
    }
    if (r.HasPortRow()) {
        st::PortStatRow row{};
        row.ifindex = r.PortKey();
        row.interval_index = 0;
        for (uint32_t k = 0; k < kPortRing; ++k) {
            const uint64_t back = (kPortRing - 1 - k) * kUs;
            row.steps[k] = PortStep(now, outQlen, tsUs > back ? tsUs - back : 0);
        }
        row.steps[kPortRateStep] = PortRateStep(now, now, kUs, tsUs);
        row.steps[kPortBaselineStep] = PortStep(baseline, 0, tsUs > kBaselineAgeUs ? tsUs - kBaselineAgeUs : 0);
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
        row.flow_stat_interval = r.flowInterval;
        row.vlanid = r.vlan;
        row.statistics_enable = s.statsEnabled ? 1 : 0;
        for (uint32_t k = 0; k < kIfRing; ++k) {
            row.steps[k] = IfStep(now, tsUs);
        }
        row.steps[kIfRateStep] = IfRateStep(now, now, kUs, tsUs);
        st::PutIfStat(row);
    }
}

void RemoveRows(const InterfaceRows &r)
{
    const InterfaceDecl &s = r.decl;
    st::RemoveIf(s.ifindex);
    if (s.kind == IfKind::Mgmt) {
        st::RemoveIf(s.actualIfindex); // the store has no single if_mgnt row removal; the mapping stays
    }
    if (s.kind == IfKind::Trunk) {
        st::RemoveTrunk(s.ifindex);
        st::RemoveTrunkMembers(s.ifindex);
    }
    if (r.HasPortRow()) {
        st::RemovePortStat(r.PortKey());
    }
    st::RemoveIfStat(s.ifindex);
}

void CollectSecond(const InterfaceRows &r, const Counters &now, uint64_t outQlen, uint64_t tsUs)
{
    if (!r.HasPortRow()) {
        return;
    }
    if (st::PortStatRow *row = st::FindPortStat(r.PortKey())) {
        row->steps[row->interval_index % kPortRing] = PortStep(now, outQlen, tsUs);
        row->interval_index = (row->interval_index + 1) % kPortRing;
    }
}

void CollectInterval(const InterfaceRows &r, const Counters &now, const Counters &before, uint64_t elapsedUs,
                     uint64_t tsUs)
{
    if (r.HasPortRow()) {
        if (st::PortStatRow *row = st::FindPortStat(r.PortKey())) {
            row->steps[kPortRateStep] = PortRateStep(now, before, elapsedUs, tsUs);
        }
    }
    if (r.decl.statType != 0) {
        if (st::IfStatRow *row = st::FindIfStat(r.decl.ifindex)) {
            row->steps[row->interval_index % kIfRing] = IfStep(now, tsUs);
            row->steps[kIfRateStep] = IfRateStep(now, before, elapsedUs, tsUs);
            row->interval_index = (row->interval_index + 1) % kIfRing;
        }
    }
}

} // namespace host
