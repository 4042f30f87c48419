#include "bench_device.h"

#include <string>

#include "standin/standin.h"

namespace {

constexpr uint32_t kPortBase = 0x1000000;
constexpr uint32_t kTrunkBase = 0x2000000;
constexpr uint32_t kSubifBase = 0x3000000;
constexpr uint32_t kRoutedBase = 0x4000000;

void FillIfStatSteps(standin::store::IfStatRow &row, uint32_t seed, uint64_t nowUs)
{
    for (uint32_t s = 0; s < 4; ++s) {
        auto &st = row.steps[s];
        uint64_t base = (uint64_t(seed) + 1) * 1000000 + s * 30000;
        st.in_bytes = base * 100;
        st.out_bytes = base * 90;
        st.in_packets = base;
        st.out_packets = base - 7;
        st.ipv4_in_bytes = base * 60;
        st.ipv4_out_bytes = base * 50;
        st.ipv4_in_packets = base / 2;
        st.ipv4_out_packets = base / 3;
        st.ipv6_in_bytes = base * 40;
        st.ipv6_out_bytes = base * 40;
        st.ipv6_in_packets = base / 4;
        st.ipv6_out_packets = base / 5;
        st.timestamp_coll_cur = nowUs - (3 - s) * 30000000ull;
    }
    auto &rate = row.steps[4];
    rate.in_bytes = 125000000;
    rate.out_bytes = 100000000;
    rate.in_packets = 100000;
    rate.out_packets = 90000;
    rate.ipv4_in_bytes = 60000000;
    rate.ipv4_out_bytes = 50000000;
    rate.ipv4_in_packets = 50000;
    rate.ipv4_out_packets = 40000;
    rate.ipv6_in_bytes = 40000000;
    rate.ipv6_out_bytes = 40000000;
    rate.ipv6_in_packets = 25000;
    rate.ipv6_out_packets = 20000;
    row.interval_index = 0;
    row.flow_stat_interval = 30;
    row.statistics_enable = 1;
}

void AddIfStatRow(uint32_t ifindex, uint32_t statType, uint64_t nowUs)
{
    standin::store::IfStatRow row{};
    row.stat_type = statType;
    row.ifindex = ifindex;
    FillIfStatSteps(row, ifindex & 0xFFFF, nowUs);
    standin::store::PutIfStat(row);
}

void AddPort(uint32_t ifindex, uint32_t n, uint64_t nowUs)
{
    standin::store::PutIf({ifindex, 1, 1, 10000000000ull, "GE1/0/" + std::to_string(n)});
    standin::store::PortStatRow row{};
    row.ifindex = ifindex;
    row.interval_index = 0; // latest snapshot is step 9
    for (uint32_t s = 0; s < 10; ++s) {
        auto &st = row.steps[s];
        // Step 9 is the latest, taken one second before now; each earlier step one second before.
        uint64_t age = 10 - s;
        uint64_t pk = (uint64_t(n) + 1) * 1000000 - age * 100000;
        st.in_packets = pk;
        st.out_packets = pk / 2;
        st.in_bytes = pk * 500;
        st.out_bytes = pk * 250;
        st.in_ucast_packets = pk - 10;
        st.out_ucast_packets = pk / 2 - 10;
        st.in_mcast_packets = 5;
        st.out_mcast_packets = 5;
        st.in_bcast_packets = 5;
        st.out_bcast_packets = 5;
        st.timestamp_coll_cur = nowUs - age * 1000000ull;
    }
    row.steps[10].in_packets = 100000000;
    row.steps[10].out_packets = 50000000;
    row.steps[10].in_bytes = 50000000000ull;
    row.steps[10].out_bytes = 25000000000ull;
    standin::store::PutPortStat(row);
}

} // namespace

BenchDevice BuildBenchDevice(uint32_t interfaces, uint64_t nowUs)
{
    standin::store::Reset();
    standin::store::SetSysFlowInterval(300);
    BenchDevice d;
    d.ports = interfaces / 2;
    d.trunks = d.ports / 16;
    d.subifs = interfaces / 4;
    d.routed = interfaces - d.ports - d.trunks - d.subifs;
    for (uint32_t p = 0; p < d.ports; ++p) {
        AddPort(kPortBase + p, p, nowUs);
    }
    for (uint32_t t = 0; t < d.trunks; ++t) {
        uint32_t ifindex = kTrunkBase + t;
        standin::store::PutIf({ifindex, 8, 2, 80000000000ull, "Eth-Trunk" + std::to_string(t)});
        standin::store::AddTrunk(ifindex);
        std::vector<uint32_t> members;
        for (uint32_t m = 0; m < 8; ++m) {
            members.push_back(kPortBase + t * 16 + m);
        }
        standin::store::SetTrunkMembers(ifindex, members);
    }
    for (uint32_t s = 0; s < d.subifs; ++s) {
        uint32_t ifindex = kSubifBase + s;
        uint32_t parent = d.ports ? s % d.ports : 0;
        standin::store::PutIf({ifindex, 1, 3, 0, "GE1/0/" + std::to_string(parent) + "." + std::to_string(s + 1)});
        AddIfStatRow(ifindex, 0x1, nowUs);
    }
    for (uint32_t r = 0; r < d.routed; ++r) {
        uint32_t ifindex = kRoutedBase + r;
        standin::store::PutIf({ifindex, 1, 4, 1000000000ull, "Vlanif" + std::to_string(r + 1)});
        AddIfStatRow(ifindex, 0x10, nowUs);
    }
    return d;
}
