// Encoding of one chunk per sensor (32 ip-statistics records, 50 subinterface, 50 mib and 50
// common records): the plugin's GPB encoder, the standard protobuf library with code generated
// from proto/, and the plugin's JSON encoder, from the plugin's records to bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
#include "platform/platform.h"
#include "sensors/ipstat/ipstat.h"
#include "sensors/mibstat/mibstat.h"
#include "sensors/subif/subif.h"
#include "standin/standin.h"

namespace {

// Counter values spread over small and large magnitudes, as real counters and rates are.
uint64_t Value(std::mt19937_64 &rng)
{
    const int bits = static_cast<int>(rng() % 48) + 1;
    return rng() & ((uint64_t{1} << bits) - 1);
}

template <typename Rec> void Name(Rec &r, const std::string &name)
{
    std::snprintf(r.ifName, sizeof(r.ifName), "%s", name.c_str());
}

std::vector<TlmIfStatData> IpRecords()
{
    std::mt19937_64 rng(1);
    std::vector<TlmIfStatData> v(IFM_IPSTAT_CHUNK);
    for (size_t i = 0; i < v.size(); ++i) {
        std::memset(&v[i], 0, sizeof(v[i]));
        Name(v[i], "Vlanif" + std::to_string(100 + i));
        auto *w = reinterpret_cast<uint64_t *>(&v[i].total);
        for (int k = 0; k < 24; ++k) {
            w[k] = Value(rng);
        }
    }
    return v;
}

std::vector<L2subifData> SubifRecords()
{
    std::mt19937_64 rng(2);
    std::vector<L2subifData> v(IFM_SUBIF_CHUNK);
    for (size_t i = 0; i < v.size(); ++i) {
        std::memset(&v[i], 0, sizeof(v[i]));
        Name(v[i], "GE1/0/" + std::to_string(1 + i / 4));
        v[i].subifIndex = v[i].stateIndex = static_cast<uint32_t>(100 + i);
        v[i].inOctets = Value(rng);
        v[i].inUnicastPkts = Value(rng);
        v[i].outOctets = Value(rng);
        v[i].outUnicastPkts = Value(rng);
    }
    return v;
}

std::vector<IfmTlmMibIfStatData> MibRecords(bool common)
{
    std::mt19937_64 rng(common ? 4 : 3);
    std::vector<IfmTlmMibIfStatData> v(IFM_MIBSTAT_CHUNK);
    for (size_t i = 0; i < v.size(); ++i) {
        std::memset(&v[i], 0, sizeof(v[i]));
        Name(v[i], "GE1/0/" + std::to_string(1 + i));
        for (int k = 0; k < (common ? 17 : 14); ++k) {
            v[i].slots[k] = Value(rng);
        }
        if (common) {
            v[i].inUseRate = static_cast<double>(rng() % 10000) / 100.0;
            v[i].outUseRate = static_cast<double>(rng() % 10000) / 100.0;
        }
    }
    return v;
}

template <typename Encode> void RunPlugin(benchmark::State &state, size_t records, Encode encode)
{
    standin::SetLogLevel(2);
    standin::SetLogCapture(false);
    standin::SetAllocFill(false); // the stand-in's debugging fill is no cost of the plugin
    int64_t bytes = 0;
    for (auto _ : state) {
        uint8_t *msg = nullptr;
        uint32_t len = 0;
        if (encode(&msg, &len) != 0) {
            state.SkipWithError("encoder failed");
            break;
        }
        bytes += len;
        MDTLM_FreeBuff(msg);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * records));
    state.SetBytesProcessed(bytes);
}

template <typename Msg, typename Fill> void RunProto(benchmark::State &state, size_t records, Fill fill)
{
    Msg msg;
    std::vector<uint8_t> out(1 << 16);
    int64_t bytes = 0;
    for (auto _ : state) {
        msg.Clear();
        fill(msg);
        const size_t n = msg.ByteSizeLong();
        if (n > out.size()) {
            out.resize(n);
        }
        msg.SerializeToArray(out.data(), static_cast<int>(n));
        bytes += static_cast<int64_t>(n);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * records));
    state.SetBytesProcessed(bytes);
}

std::string Percent(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), "%.2f%%", v);
    return buf;
}

// ---- ip-statistics
void BM_IpStat_Gpb(benchmark::State &state)
{
    auto recs = IpRecords();
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFMPlugin_MDTLM_IfStatEncodeGpb(recs.data(), static_cast<uint32_t>(recs.size()), m, l);
    });
}
void BM_IpStat_Json(benchmark::State &state)
{
    auto recs = IpRecords();
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFM_IfStatEncodeJson(recs.data(), static_cast<uint32_t>(recs.size()), m, l);
    });
}
void BM_IpStat_Protobuf(benchmark::State &state)
{
    auto recs = IpRecords();
    RunProto<zor::ifm::Ifm>(state, recs.size(), [&](zor::ifm::Ifm &msg) {
        for (const auto &r : recs) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_ip_statistics();
            const TlmIpStatPart *p[3] = {&r.total, &r.ipv4, &r.ipv6};
            s->set_receive_ip_byte(p[0]->inBytes);
            s->set_send_ip_byte(p[0]->outBytes);
            s->set_receive_ip_packet(p[0]->inPackets);
            s->set_send_ip_packet(p[0]->outPackets);
            s->set_receive_ip_bit_rate(p[0]->inBitRate);
            s->set_send_ip_bit_rate(p[0]->outBitRate);
            s->set_receive_ip_packet_rate(p[0]->inPacketRate);
            s->set_send_ip_packet_rate(p[0]->outPacketRate);
            s->set_receive_ipv4_byte(p[1]->inBytes);
            s->set_send_ipv4_byte(p[1]->outBytes);
            s->set_receive_ipv4_packet(p[1]->inPackets);
            s->set_send_ipv4_packet(p[1]->outPackets);
            s->set_receive_ipv4_bit_rate(p[1]->inBitRate);
            s->set_send_ipv4_bit_rate(p[1]->outBitRate);
            s->set_receive_ipv4_packet_rate(p[1]->inPacketRate);
            s->set_send_ipv4_packet_rate(p[1]->outPacketRate);
            s->set_receive_ipv6_byte(p[2]->inBytes);
            s->set_send_ipv6_byte(p[2]->outBytes);
            s->set_receive_ipv6_packet(p[2]->inPackets);
            s->set_send_ipv6_packet(p[2]->outPackets);
            s->set_receive_ipv6_bit_rate(p[2]->inBitRate);
            s->set_send_ipv6_bit_rate(p[2]->outBitRate);
            s->set_receive_ipv6_packet_rate(p[2]->inPacketRate);
            s->set_send_ipv6_packet_rate(p[2]->outPacketRate);
        }
    });
}

// ---- subinterface counters
void BM_Subif_Gpb(benchmark::State &state)
{
    auto recs = SubifRecords();
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFM_L2subifEncodeGpb(recs.data(), static_cast<uint32_t>(recs.size()), m, l);
    });
}
void BM_Subif_Json(benchmark::State &state)
{
    auto recs = SubifRecords();
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFM_L2subifEncodeJson(recs.data(), static_cast<uint32_t>(recs.size()), m, l);
    });
}
void BM_Subif_Protobuf(benchmark::State &state)
{
    auto recs = SubifRecords();
    RunProto<zor::oc::Interfaces>(state, recs.size(), [&](zor::oc::Interfaces &msg) {
        for (const auto &r : recs) {
            auto *itf = msg.add_interface();
            itf->set_name(r.ifName);
            auto *sub = itf->mutable_subinterfaces()->add_subinterface();
            sub->set_index(r.subifIndex);
            auto *st = sub->mutable_state();
            st->add_index(r.subifIndex);
            st->add_index(r.stateIndex);
            st->set_description(r.description);
            st->set_enabled(r.enabled);
            st->set_ifindex(r.stateIfIndex);
            st->set_last_change(r.lastChange);
            st->set_name(r.stateName);
            st->set_oper_status(r.operStatus);
            auto *c = st->mutable_counters();
            c->set_carrier_transitions(r.carrierTransitions);
            c->set_in_broadcast_pkts(r.inBroadcastPkts);
            c->set_in_discards(r.inDiscards);
            c->set_in_errors(r.inErrors);
            c->set_in_fcs_errors(r.inFcsErrors);
            c->set_in_multicast_pkts(r.inMulticastPkts);
            c->set_in_octets(r.inOctets);
            c->set_in_unicast_pkts(r.inUnicastPkts);
            c->set_in_unknown_protos(r.inUnknownProtos);
            c->set_last_clear(r.lastClear);
            c->set_out_broadcast_pkts(r.outBroadcastPkts);
            c->set_out_discards(r.outDiscards);
            c->set_out_errors(r.outErrors);
            c->set_out_multicast_pkts(r.outMulticastPkts);
            c->set_out_octets(r.outOctets);
            c->set_out_unicast_pkts(r.outUnicastPkts);
        }
    });
}

// ---- mib-statistics (type 7) and common-statistics (type 9)
void BM_Mib_Gpb(benchmark::State &state)
{
    auto recs = MibRecords(false);
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFMPlugin_MDTLM_MibIfStatEncodeGpb(recs.data(), static_cast<uint32_t>(recs.size()), m, l,
                                                  TLM_TYPE_MIB_PORT);
    });
}
void BM_Mib_Json(benchmark::State &state)
{
    auto recs = MibRecords(false);
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFM_MibIfStatEncodeJson(recs.data(), static_cast<uint32_t>(recs.size()), m, l, TLM_TYPE_MIB_PORT);
    });
}
void BM_Mib_Protobuf(benchmark::State &state)
{
    auto recs = MibRecords(false);
    RunProto<zor::ifm::Ifm>(state, recs.size(), [&](zor::ifm::Ifm &msg) {
        for (const auto &r : recs) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_mib_statistics();
            const IfmMibView &m = r.mib;
            s->set_receive_byte(m.receiveBytes);
            s->set_send_byte(m.sendBytes);
            s->set_receive_packet(m.receivePackets);
            s->set_send_packet(m.sendPackets);
            s->set_receive_unicast_packet(m.receiveUnicastPackets);
            s->set_receive_multicast_packet(m.receiveMulticastPackets);
            s->set_receive_broad_packet(m.receiveBoardPackets);
            s->set_send_unicast_packet(m.sendUnicastPackets);
            s->set_send_multicast_packet(m.sendMulticastPackets);
            s->set_send_broad_packet(m.sendBoardPackets);
            s->set_receive_error_packet(m.receiveErrorPackets);
            s->set_receive_drop_packet(m.receiveDropPackets);
            s->set_send_error_packet(m.sendErrorPackets);
            s->set_send_drop_packet(m.sendDropPackets);
        }
    });
}
void BM_Common_Gpb(benchmark::State &state)
{
    auto recs = MibRecords(true);
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFMPlugin_MDTLM_MibIfStatEncodeGpb(recs.data(), static_cast<uint32_t>(recs.size()), m, l,
                                                  TLM_TYPE_COMMON_PORT);
    });
}
void BM_Common_Json(benchmark::State &state)
{
    auto recs = MibRecords(true);
    RunPlugin(state, recs.size(), [&](uint8_t **m, uint32_t *l) {
        return IFM_MibIfStatEncodeJson(recs.data(), static_cast<uint32_t>(recs.size()), m, l,
                                       TLM_TYPE_COMMON_PORT);
    });
}
void BM_Common_Protobuf(benchmark::State &state)
{
    auto recs = MibRecords(true);
    RunProto<zor::ifm::Ifm>(state, recs.size(), [&](zor::ifm::Ifm &msg) {
        for (const auto &r : recs) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_common_statistics();
            const IfmCommonView &c = r.common;
            s->set_out_bit_rate(c.outBitRate);
            s->set_in_bit_rate(c.inBitRate);
            s->set_send_byte(c.sendBytes);
            s->set_receive_byte(c.receiveBytes);
            s->set_receive_packet(c.receivePackets);
            s->set_send_packet(c.sendPackets);
            s->set_in_packet_rate(c.inPacketRate);
            s->set_out_packet_rate(c.outPacketRate);
            s->set_receive_multicast_packet(c.receiveMulticastPackets);
            s->set_send_multicast_packet(c.sendMulticastPackets);
            s->set_receive_broad_packet(c.receiveBoardPackets);
            s->set_send_broad_packet(c.sendBoardPackets);
            s->set_receive_unicast_packet(c.receiveUnicastPackets);
            s->set_send_unicast_packet(c.sendUnicastPackets);
            s->set_send_drop_packet(c.sendDropPackets);
            s->set_receive_error_packet(c.receiveErrorPackets);
            s->set_receive_drop_packet(c.receiveDropPackets);
            s->set_in_use_rate(Percent(r.inUseRate));
            s->set_out_use_rate(Percent(r.outUseRate));
        }
    });
}

} // namespace

// --iterations=N runs every benchmark exactly N times (for instruction counts under callgrind);
// the other arguments go to the benchmark library.
int main(int argc, char **argv)
{
    using Fn = void (*)(benchmark::State &);
    const std::pair<const char *, Fn> benches[] = {
        {"BM_IpStat_Gpb", BM_IpStat_Gpb}, {"BM_IpStat_Protobuf", BM_IpStat_Protobuf},
        {"BM_IpStat_Json", BM_IpStat_Json}, {"BM_Subif_Gpb", BM_Subif_Gpb},
        {"BM_Subif_Protobuf", BM_Subif_Protobuf}, {"BM_Subif_Json", BM_Subif_Json},
        {"BM_Mib_Gpb", BM_Mib_Gpb}, {"BM_Mib_Protobuf", BM_Mib_Protobuf},
        {"BM_Mib_Json", BM_Mib_Json}, {"BM_Common_Gpb", BM_Common_Gpb},
        {"BM_Common_Protobuf", BM_Common_Protobuf}, {"BM_Common_Json", BM_Common_Json},
    };
    int64_t iterations = 0;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--iterations=", 13) == 0) {
            iterations = std::atoll(argv[i] + 13);
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    for (const auto &b : benches) {
        benchmark::internal::Benchmark *reg = benchmark::RegisterBenchmark(b.first, b.second);
        if (iterations > 0) {
            reg->Iterations(iterations);
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
