// protobuf-c with the code generated from proto/. The messages are plain structs linked by
// pointers; a sender keeps them in preallocated arrays (no allocation per chunk) and points the
// strings at the records' own texts.
#include <protobuf-c/protobuf-c.h>

#include "chunk.h"
#include "pbc/ifm.pb-c.h"
#include "pbc/oc_interfaces.pb-c.h"

namespace {

constexpr size_t kMaxRecords = 64;

template <typename Msg, typename Size, typename Pack>
size_t Serialize(const Msg &msg, Size size, Pack pack, std::vector<uint8_t> &out)
{
    const size_t n = size(&msg);
    if (n > out.size()) {
        out.resize(n);
    }
    return pack(&msg, out.data());
}

#define CHUNK_SET(field, member) s.field = r.member;

struct IfmSlot {
    Zor__Ifm__Interfaces entry;
    Zor__Ifm__Interface itf;
    Zor__Ifm__IpStatistics ip;
    Zor__Ifm__MibStatistics mib;
    Zor__Ifm__CommonStatistics common;
    char inUse[32];
    char outUse[32];
};

size_t IfmChunk(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static IfmSlot slots[kMaxRecords];
    static Zor__Ifm__Interfaces *entries[kMaxRecords];
    const size_t n = c.Count(sensor);
    for (size_t i = 0; i < n; ++i) {
        IfmSlot &slot = slots[i];
        slot.entry = ZOR__IFM__INTERFACES__INIT;
        slot.itf = ZOR__IFM__INTERFACE__INIT;
        slot.entry.interface = &slot.itf;
        entries[i] = &slot.entry;
        if (sensor == ChunkSensor::IpStat) {
            const TlmIfStatData &r = c.ip[i];
            slot.itf.name = const_cast<char *>(r.ifName);
            Zor__Ifm__IpStatistics &s = slot.ip = ZOR__IFM__IP_STATISTICS__INIT;
            CHUNK_IPSTAT_FIELDS(CHUNK_SET)
            slot.itf.ip_statistics = &s;
        } else if (sensor == ChunkSensor::Mib) {
            const IfmTlmMibIfStatData &r = c.mib[i];
            slot.itf.name = const_cast<char *>(r.ifName);
            Zor__Ifm__MibStatistics &s = slot.mib = ZOR__IFM__MIB_STATISTICS__INIT;
            CHUNK_MIB_FIELDS(CHUNK_SET)
            slot.itf.mib_statistics = &s;
        } else {
            const IfmTlmMibIfStatData &r = c.common[i];
            slot.itf.name = const_cast<char *>(r.ifName);
            Zor__Ifm__CommonStatistics &s = slot.common = ZOR__IFM__COMMON_STATISTICS__INIT;
            CHUNK_COMMON_FIELDS(CHUNK_SET)
            ChunkPercentText(r.inUseRate, slot.inUse, sizeof(slot.inUse));
            ChunkPercentText(r.outUseRate, slot.outUse, sizeof(slot.outUse));
            s.in_use_rate = slot.inUse;
            s.out_use_rate = slot.outUse;
            slot.itf.common_statistics = &s;
        }
    }
    Zor__Ifm__Ifm msg = ZOR__IFM__IFM__INIT;
    msg.n_interfaces = n;
    msg.interfaces = entries;
    return Serialize(msg, zor__ifm__ifm__get_packed_size, zor__ifm__ifm__pack, out);
}

struct SubifSlot {
    Zor__Oc__Interface itf;
    Zor__Oc__Subinterfaces subs;
    Zor__Oc__Subinterface sub;
    Zor__Oc__Subinterface *subPtr;
    Zor__Oc__State state;
    Zor__Oc__Counters counters;
    uint64_t index[2];
};

size_t SubifChunk(const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static SubifSlot slots[kMaxRecords];
    static Zor__Oc__Interface *entries[kMaxRecords];
    const size_t n = c.subif.size();
    for (size_t i = 0; i < n; ++i) {
        const L2subifData &r = c.subif[i];
        SubifSlot &slot = slots[i];
        slot.itf = ZOR__OC__INTERFACE__INIT;
        slot.itf.name = const_cast<char *>(r.ifName);
        slot.itf.subinterfaces = &slot.subs;
        slot.subs = ZOR__OC__SUBINTERFACES__INIT;
        slot.subs.n_subinterface = 1;
        slot.subs.subinterface = &slot.subPtr;
        slot.subPtr = &slot.sub;
        slot.sub = ZOR__OC__SUBINTERFACE__INIT;
        slot.sub.index = r.subifIndex;
        slot.sub.state = &slot.state;
        {
            Zor__Oc__State &s = slot.state = ZOR__OC__STATE__INIT;
            slot.index[0] = r.subifIndex;
            slot.index[1] = r.stateIndex;
            s.n_index = 2;
            s.index = slot.index;
            s.description = const_cast<char *>(r.description);
            s.name = const_cast<char *>(r.stateName);
            CHUNK_SUBIF_STATE_FIELDS(CHUNK_SET)
            s.counters = &slot.counters;
        }
        Zor__Oc__Counters &s = slot.counters = ZOR__OC__COUNTERS__INIT;
        CHUNK_SUBIF_COUNTER_FIELDS(CHUNK_SET)
        entries[i] = &slot.itf;
    }
    Zor__Oc__Interfaces msg = ZOR__OC__INTERFACES__INIT;
    msg.n_interface = n;
    msg.interface = entries;
    return Serialize(msg, zor__oc__interfaces__get_packed_size, zor__oc__interfaces__pack, out);
}

} // namespace

size_t EncodeProtobufC(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    return sensor == ChunkSensor::Subif ? SubifChunk(c, out) : IfmChunk(sensor, c, out);
}
