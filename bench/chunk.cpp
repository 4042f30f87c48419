#include "chunk.h"

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

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

} // namespace

const char *ChunkSensorName(ChunkSensor s)
{
    static const char *const names[] = {"IpStat", "Subif", "Mib", "Common"};
    return names[static_cast<int>(s)];
}

size_t ChunkRecords::Count(ChunkSensor s) const
{
    switch (s) {
    case ChunkSensor::IpStat:
        return ip.size();
    case ChunkSensor::Subif:
        return subif.size();
    case ChunkSensor::Mib:
        return mib.size();
    case ChunkSensor::Common:
        return common.size();
    }
    return 0;
}

ChunkRecords MakeChunkRecords()
{
    ChunkRecords c;
    std::mt19937_64 rng(1);
    c.ip.resize(IFM_IPSTAT_CHUNK);
    for (size_t i = 0; i < c.ip.size(); ++i) {
        std::memset(&c.ip[i], 0, sizeof(c.ip[i]));
        Name(c.ip[i], "Vlanif" + std::to_string(100 + i));
        auto *w = reinterpret_cast<uint64_t *>(&c.ip[i].total);
        for (int k = 0; k < 24; ++k) {
            w[k] = Value(rng);
        }
    }
    rng.seed(2);
    c.subif.resize(IFM_SUBIF_CHUNK);
    for (size_t i = 0; i < c.subif.size(); ++i) {
        L2subifData &r = c.subif[i];
        std::memset(&r, 0, sizeof(r));
        Name(r, "GE1/0/" + std::to_string(1 + i / 4));
        r.subifIndex = r.stateIndex = static_cast<uint32_t>(100 + i);
        r.inOctets = Value(rng);
        r.inUnicastPkts = Value(rng);
        r.outOctets = Value(rng);
        r.outUnicastPkts = Value(rng);
    }
    c.mib = MibRecords(false);
    c.common = MibRecords(true);
    return c;
}

uint32_t EncodeOursGpb(ChunkSensor s, const ChunkRecords &r, uint8_t **msg, uint32_t *len)
{
    switch (s) {
    case ChunkSensor::IpStat:
        return IFMPlugin_MDTLM_IfStatEncodeGpb(r.ip.data(), static_cast<uint32_t>(r.ip.size()), msg, len);
    case ChunkSensor::Subif:
        return IFM_L2subifEncodeGpb(r.subif.data(), static_cast<uint32_t>(r.subif.size()), msg, len);
    case ChunkSensor::Mib:
        return IFMPlugin_MDTLM_MibIfStatEncodeGpb(r.mib.data(), static_cast<uint32_t>(r.mib.size()), msg, len,
                                                  TLM_TYPE_MIB_PORT);
    case ChunkSensor::Common:
        return IFMPlugin_MDTLM_MibIfStatEncodeGpb(r.common.data(), static_cast<uint32_t>(r.common.size()), msg,
                                                  len, TLM_TYPE_COMMON_PORT);
    }
    return 1;
}

uint32_t EncodeOursJson(ChunkSensor s, const ChunkRecords &r, uint8_t **msg, uint32_t *len)
{
    switch (s) {
    case ChunkSensor::IpStat:
        return IFM_IfStatEncodeJson(r.ip.data(), static_cast<uint32_t>(r.ip.size()), msg, len);
    case ChunkSensor::Subif:
        return IFM_L2subifEncodeJson(r.subif.data(), static_cast<uint32_t>(r.subif.size()), msg, len);
    case ChunkSensor::Mib:
        return IFM_MibIfStatEncodeJson(r.mib.data(), static_cast<uint32_t>(r.mib.size()), msg, len,
                                       TLM_TYPE_MIB_PORT);
    case ChunkSensor::Common:
        return IFM_MibIfStatEncodeJson(r.common.data(), static_cast<uint32_t>(r.common.size()), msg, len,
                                       TLM_TYPE_COMMON_PORT);
    }
    return 1;
}

void ChunkPercentText(double v, char *out, size_t cap)
{
    std::snprintf(out, cap, "%.2f%%", v);
}
