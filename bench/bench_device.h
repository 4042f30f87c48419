// A device of a given size in the stand-in store, for the tick benchmarks: physical ports, trunks
// of 8 members, subinterfaces and routed interfaces with IP statistics.
#ifndef ZOR_BENCH_DEVICE_H
#define ZOR_BENCH_DEVICE_H

#include <cstdint>

struct BenchDevice {
    uint32_t ports = 0;
    uint32_t trunks = 0;
    uint32_t subifs = 0;
    uint32_t routed = 0;
    uint32_t total() const { return ports + trunks + subifs + routed; }
};

// Fills the store with about `interfaces` interfaces at simulated time `nowUs`: half physical
// ports (each group of 16 ports gives one trunk of 8 members), a quarter subinterfaces and a
// quarter routed interfaces.
BenchDevice BuildBenchDevice(uint32_t interfaces, uint64_t nowUs);

#endif
