// nanopb with the code generated from proto/ and the static sizes of bench/nanopb/*.options: the
// message is one struct with fixed arrays (names copied in), written with pb_encode into an output
// buffer of the message's largest encoded size, which the generator states (zor_ifm_Ifm_size): the
// size step is a constant. A pass of pb_get_encoded_size first would double the time, as nanopb
// already encodes every submessage once to size it and once to write it.
#include <pb_encode.h>

#include <cstring>

#include "chunk.h"
#include "nanopb/ifm.pb.h"
#include "nanopb/oc_interfaces.pb.h"

namespace {

template <typename Msg>
size_t Serialize(const pb_msgdesc_t *fields, const Msg &msg, size_t maxSize, std::vector<uint8_t> &out)
{
    if (maxSize > out.size()) {
        out.resize(maxSize);
    }
    pb_ostream_t stream = pb_ostream_from_buffer(out.data(), maxSize);
    return pb_encode(&stream, fields, &msg) ? stream.bytes_written : 0;
}

template <size_t N> void CopyText(char (&dst)[N], const char *src)
{
    const size_t n = strnlen(src, N - 1);
    std::memcpy(dst, src, n);
    dst[n] = '\0';
}

#define CHUNK_SET(field, member) s.field = r.member;

size_t IfmChunk(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static zor_ifm_Ifm msg; // about 35 KB: kept, not on the stack
    const size_t n = c.Count(sensor);
    msg.interfaces_count = static_cast<pb_size_t>(n);
    for (size_t i = 0; i < n; ++i) {
        zor_ifm_Interfaces &entry = msg.interfaces[i];
        entry = zor_ifm_Interfaces_init_zero;
        entry.has_interface = true;
        zor_ifm_Interface &itf = entry.interface;
        if (sensor == ChunkSensor::IpStat) {
            const TlmIfStatData &r = c.ip[i];
            CopyText(itf.name, r.ifName);
            itf.has_ip_statistics = true;
            zor_ifm_IpStatistics &s = itf.ip_statistics;
            CHUNK_IPSTAT_FIELDS(CHUNK_SET)
        } else if (sensor == ChunkSensor::Mib) {
            const IfmTlmMibIfStatData &r = c.mib[i];
            CopyText(itf.name, r.ifName);
            itf.has_mib_statistics = true;
            zor_ifm_MibStatistics &s = itf.mib_statistics;
            CHUNK_MIB_FIELDS(CHUNK_SET)
        } else {
            const IfmTlmMibIfStatData &r = c.common[i];
            CopyText(itf.name, r.ifName);
            itf.has_common_statistics = true;
            zor_ifm_CommonStatistics &s = itf.common_statistics;
            CHUNK_COMMON_FIELDS(CHUNK_SET)
            ChunkPercentText(r.inUseRate, s.in_use_rate, sizeof(s.in_use_rate));
            ChunkPercentText(r.outUseRate, s.out_use_rate, sizeof(s.out_use_rate));
        }
    }
    return Serialize(zor_ifm_Ifm_fields, msg, zor_ifm_Ifm_size, out);
}

size_t SubifChunk(const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static zor_oc_Interfaces msg;
    const size_t n = c.subif.size();
    msg.interface_count = static_cast<pb_size_t>(n);
    for (size_t i = 0; i < n; ++i) {
        const L2subifData &r = c.subif[i];
        zor_oc_Interface &itf = msg.interface[i];
        itf = zor_oc_Interface_init_zero;
        CopyText(itf.name, r.ifName);
        itf.has_subinterfaces = true;
        itf.subinterfaces.subinterface_count = 1;
        zor_oc_Subinterface &sub = itf.subinterfaces.subinterface[0];
        sub.index = r.subifIndex;
        sub.has_state = true;
        {
            zor_oc_State &s = sub.state;
            s.index_count = 2;
            s.index[0] = r.subifIndex;
            s.index[1] = r.stateIndex;
            CopyText(s.description, r.description);
            CopyText(s.name, r.stateName);
            CHUNK_SUBIF_STATE_FIELDS(CHUNK_SET)
            s.has_counters = true;
        }
        zor_oc_Counters &s = sub.state.counters;
        CHUNK_SUBIF_COUNTER_FIELDS(CHUNK_SET)
    }
    return Serialize(zor_oc_Interfaces_fields, msg, zor_oc_Interfaces_size, out);
}

} // namespace

size_t EncodeNanopb(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    return sensor == ChunkSensor::Subif ? SubifChunk(c, out) : IfmChunk(sensor, c, out);
}
