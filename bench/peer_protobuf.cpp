// The standard protobuf library with the code generated from proto/.
#include "chunk.h"
#include "ifm.pb.h"
#include "oc_interfaces.pb.h"

namespace {

template <typename Msg> size_t Serialize(const Msg &msg, std::vector<uint8_t> &out)
{
    const size_t n = msg.ByteSizeLong();
    if (n > out.size()) {
        out.resize(n);
    }
    msg.SerializeToArray(out.data(), static_cast<int>(n));
    return n;
}

#define CHUNK_SET(field, member) s->set_##field(r.member);

size_t IfmChunk(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static zor::ifm::Ifm msg; // reused, as a sender keeps its message between chunks
    msg.Clear();
    char text[32];
    switch (sensor) {
    case ChunkSensor::IpStat:
        for (const auto &r : c.ip) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_ip_statistics();
            CHUNK_IPSTAT_FIELDS(CHUNK_SET)
        }
        break;
    case ChunkSensor::Mib:
        for (const auto &r : c.mib) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_mib_statistics();
            CHUNK_MIB_FIELDS(CHUNK_SET)
        }
        break;
    case ChunkSensor::Common:
        for (const auto &r : c.common) {
            auto *itf = msg.add_interfaces()->mutable_interface();
            itf->set_name(r.ifName);
            auto *s = itf->mutable_common_statistics();
            CHUNK_COMMON_FIELDS(CHUNK_SET)
            ChunkPercentText(r.inUseRate, text, sizeof(text));
            s->set_in_use_rate(text);
            ChunkPercentText(r.outUseRate, text, sizeof(text));
            s->set_out_use_rate(text);
        }
        break;
    case ChunkSensor::Subif:
        return 0;
    }
    return Serialize(msg, out);
}

size_t SubifChunk(const ChunkRecords &c, std::vector<uint8_t> &out)
{
    static zor::oc::Interfaces msg;
    msg.Clear();
    for (const auto &r : c.subif) {
        auto *itf = msg.add_interface();
        itf->set_name(r.ifName);
        auto *sub = itf->mutable_subinterfaces()->add_subinterface();
        sub->set_index(r.subifIndex);
        auto *st = sub->mutable_state();
        st->add_index(r.subifIndex);
        st->add_index(r.stateIndex);
        st->set_description(r.description);
        st->set_name(r.stateName);
#define CHUNK_SET_STATE(field, member) st->set_##field(r.member);
        CHUNK_SUBIF_STATE_FIELDS(CHUNK_SET_STATE)
        auto *cn = st->mutable_counters();
#define CHUNK_SET_COUNTER(field, member) cn->set_##field(r.member);
        CHUNK_SUBIF_COUNTER_FIELDS(CHUNK_SET_COUNTER)
    }
    return Serialize(msg, out);
}

} // namespace

size_t EncodeProtobuf(ChunkSensor sensor, const ChunkRecords &c, std::vector<uint8_t> &out)
{
    return sensor == ChunkSensor::Subif ? SubifChunk(c, out) : IfmChunk(sensor, c, out);
}
