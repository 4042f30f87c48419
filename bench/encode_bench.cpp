// Encoding of one chunk per sensor (32 ip-statistics records, 50 subinterface, 50 mib and 50
// common records), from the plugin's records to bytes: the plugin's GPB encoder, three generated
// peers of the same proto/ messages (the standard protobuf library, protobuf-c, nanopb) and the
// plugin's JSON encoder.
#include <benchmark/benchmark.h>

#include <string>

#include "chunk.h"
#include "iterations_flag.h"
#include "platform/platform.h"
#include "standin/standin.h"

namespace {

const ChunkRecords &Records()
{
    static const ChunkRecords records = MakeChunkRecords();
    return records;
}

using OursFn = uint32_t (*)(ChunkSensor, const ChunkRecords &, uint8_t **, uint32_t *);
using PeerFn = size_t (*)(ChunkSensor, const ChunkRecords &, std::vector<uint8_t> &);

void RunOurs(benchmark::State &state, ChunkSensor sensor, OursFn encode)
{
    standin::SetLogLevel(2);
    standin::SetLogCapture(false);
    standin::SetAllocFill(false); // the stand-in's debugging fill is no cost of the plugin
    const ChunkRecords &recs = Records();
    int64_t bytes = 0;
    for (auto _ : state) {
        uint8_t *msg = nullptr;
        uint32_t len = 0;
        if (encode(sensor, recs, &msg, &len) != 0) {
            state.SkipWithError("encoder failed");
            break;
        }
        bytes += len;
        MDTLM_FreeBuff(msg);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * recs.Count(sensor)));
    state.SetBytesProcessed(bytes);
}

void RunPeer(benchmark::State &state, ChunkSensor sensor, PeerFn encode)
{
    const ChunkRecords &recs = Records();
    std::vector<uint8_t> out(1 << 16);
    int64_t bytes = 0;
    for (auto _ : state) {
        const size_t n = encode(sensor, recs, out);
        if (n == 0) {
            state.SkipWithError("encoder failed");
            break;
        }
        bytes += static_cast<int64_t>(n);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * recs.Count(sensor)));
    state.SetBytesProcessed(bytes);
}

} // namespace

int main(int argc, char **argv)
{
    const int64_t iterations = TakeIterationsFlag(argc, argv);
    const std::pair<const char *, OursFn> ours[] = {{"Gpb", EncodeOursGpb}, {"Json", EncodeOursJson}};
    const std::pair<const char *, PeerFn> peers[] = {
        {"Protobuf", EncodeProtobuf}, {"ProtobufC", EncodeProtobufC}, {"Nanopb", EncodeNanopb}};
    for (ChunkSensor s : kChunkSensors) {
        const std::string prefix = std::string("BM_") + ChunkSensorName(s) + "_";
        std::vector<benchmark::internal::Benchmark *> regs;
        regs.push_back(benchmark::RegisterBenchmark((prefix + ours[0].first).c_str(), RunOurs, s, ours[0].second));
        for (const auto &p : peers) {
            regs.push_back(benchmark::RegisterBenchmark((prefix + p.first).c_str(), RunPeer, s, p.second));
        }
        regs.push_back(benchmark::RegisterBenchmark((prefix + ours[1].first).c_str(), RunOurs, s, ours[1].second));
        for (auto *reg : regs) {
            if (iterations > 0) {
                reg->Iterations(iterations);
            }
        }
    }
    ZOR_BENCH_RUN(argc, argv);
    return 0;
}
