// The traffic model of the simulated device: every interface with a traffic profile carries a
// configured bit rate in each direction with a fixed packet size. Each simulated second adds
// that second's bytes (the configured rate times 1 + jitter × u, u uniform in [-1, 1) drawn from a
// seeded generator of the interface) and splits them, exactly and with carried remainders:
//   - IPv6 bytes are ipv6Percent of the bytes, IPv4 bytes the rest; each family's packets are its
//     bytes divided by the packet size; packets = IPv4 packets + IPv6 packets;
//   - of the packets, 3 % are multicast, 1 % broadcast and the rest unicast;
//   - one received packet in a million is an error (counted as a CRC error too), one packet in a
//     hundred thousand is discarded in each direction; nothing is sent with errors.
// With jitter 0 the long-run byte rate is exactly rate / 8 per second.
#ifndef ZOR_HOST_TRAFFIC_H
#define ZOR_HOST_TRAFFIC_H

#include <cstdint>

namespace host {

struct TrafficProfile {
    uint64_t inBitRate = 0;  // bits per second received
    uint64_t outBitRate = 0; // bits per second sent
    uint32_t packetSize = 512;
    uint32_t ipv6Percent = 20;
    bool idle() const { return inBitRate == 0 && outBitRate == 0; }
};

// Cumulative counters of one interface.
struct Counters {
    uint64_t inBytes = 0, outBytes = 0, inPackets = 0, outPackets = 0;
    uint64_t inUcast = 0, outUcast = 0, inMcast = 0, outMcast = 0, inBcast = 0, outBcast = 0;
    uint64_t inErrors = 0, outErrors = 0, inCrcErrors = 0, inDiscards = 0, outDiscards = 0;
    uint64_t v4InBytes = 0, v4OutBytes = 0, v4InPackets = 0, v4OutPackets = 0;
    uint64_t v6InBytes = 0, v6OutBytes = 0, v6InPackets = 0, v6OutPackets = 0;
};

class TrafficSource {
public:
    // `key` tells interfaces apart: with the same seed and key the counters are the same.
    TrafficSource(const TrafficProfile &profile, uint64_t seed, uint64_t key, double jitterPercent);

    // Adds `seconds` of traffic at exactly the configured rates (no jitter, no random draws).
    void AdvanceSteady(uint64_t seconds);
    // Adds one second of traffic with jitter.
    void Step();

    const Counters &counters() const { return c_; }

private:
    struct Carry {
        uint64_t bits = 0, v6 = 0, v4Pkt = 0, v6Pkt = 0, mcast = 0, bcast = 0, err = 0, discard = 0;
    };
    void AddBits(bool in, uint64_t bits);
    uint64_t Jittered(uint64_t rate);
    double NextUniform(); // [-1, 1)

    TrafficProfile profile_;
    double jitter_;
    uint64_t rng_;
    Counters c_;
    Carry inCarry_, outCarry_;
};

// splitmix64 mixing of two values: the per-interface seeds and the default inventory's choices.
uint64_t Mix(uint64_t a, uint64_t b);

} // namespace host

#endif
