#include "host/traffic.h"

#include <cmath>

namespace host {

namespace {

uint64_t SplitMix(uint64_t &state)
{
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// part = (value × num + carry) / den, keeping the remainder in carry.
uint64_t Share(uint64_t value, uint64_t num, uint64_t den, uint64_t &carry)
{
    const unsigned __int128 t = static_cast<unsigned __int128>(value) * num + carry;
    carry = static_cast<uint64_t>(t % den);
    return static_cast<uint64_t>(t / den);
}

} // namespace

uint64_t Mix(uint64_t a, uint64_t b)
{
    uint64_t s = a * 0x100000001B3ull ^ b;
    SplitMix(s);
    return SplitMix(s);
}

TrafficSource::TrafficSource(const TrafficProfile &profile, uint64_t seed, uint64_t key, double jitterPercent)
    : profile_(profile), jitter_(jitterPercent / 100.0), rng_(Mix(seed, key))
{
    if (profile_.packetSize == 0) {
        profile_.packetSize = 1;
    }
    if (profile_.ipv6Percent > 100) {
        profile_.ipv6Percent = 100;
    }
}

double TrafficSource::NextUniform()
{
    return static_cast<double>(SplitMix(rng_) >> 11) * (2.0 / 9007199254740992.0) - 1.0;
}

uint64_t TrafficSource::Jittered(uint64_t rate)
{
    if (rate == 0 || jitter_ <= 0) {
        return rate;
    }
    const double v = static_cast<double>(rate) * (1.0 + jitter_ * NextUniform());
    return v <= 0 ? 0 : static_cast<uint64_t>(std::llround(v));
}

void TrafficSource::AddBits(bool in, uint64_t bits)
{
    Carry &k = in ? inCarry_ : outCarry_;
    const uint64_t bytes = Share(bits, 1, 8, k.bits);
    const uint64_t v6Bytes = Share(bytes, profile_.ipv6Percent, 100, k.v6);
    const uint64_t v4Bytes = bytes - v6Bytes;
    const uint64_t v4Pkts = Share(v4Bytes, 1, profile_.packetSize, k.v4Pkt);
    const uint64_t v6Pkts = Share(v6Bytes, 1, profile_.packetSize, k.v6Pkt);
    const uint64_t pkts = v4Pkts + v6Pkts;
    const uint64_t mcast = Share(pkts, 3, 100, k.mcast);
    const uint64_t bcast = Share(pkts, 1, 100, k.bcast);
    const uint64_t discards = Share(pkts, 1, 100000, k.discard);
    if (in) {
        const uint64_t errors = Share(pkts, 1, 1000000, k.err);
        c_.inBytes += bytes;
        c_.inPackets += pkts;
        c_.inMcast += mcast;
        c_.inBcast += bcast;
        c_.inUcast += pkts - mcast - bcast;
        c_.inErrors += errors;
        c_.inCrcErrors += errors;
        c_.inDiscards += discards;
        c_.v4InBytes += v4Bytes;
        c_.v6InBytes += v6Bytes;
        c_.v4InPackets += v4Pkts;
        c_.v6InPackets += v6Pkts;
    } else {
        c_.outBytes += bytes;
        c_.outPackets += pkts;
        c_.outMcast += mcast;
        c_.outBcast += bcast;
        c_.outUcast += pkts - mcast - bcast;
        c_.outDiscards += discards;
        c_.v4OutBytes += v4Bytes;
        c_.v6OutBytes += v6Bytes;
        c_.v4OutPackets += v4Pkts;
        c_.v6OutPackets += v6Pkts;
    }
}

void TrafficSource::AdvanceSteady(uint64_t seconds)
{
    if (seconds == 0) {
        return;
    }
    AddBits(true, profile_.inBitRate * seconds);
    AddBits(false, profile_.outBitRate * seconds);
}

void TrafficSource::Step()
{
    AddBits(true, Jittered(profile_.inBitRate));
    AddBits(false, Jittered(profile_.outBitRate));
}

} // namespace host
