// The generated peers of the encoding benchmark encode the same values as the plugin: every
// sensor's chunk, encoded by the plugin's GPB encoder and by each peer, decodes (with the standard
// protobuf library) to equal messages. The bytes may differ where the plugin writes zero fields
// that a generated encoder leaves out.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "chunk.h"
#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
#include "platform/platform.h"

namespace {

std::unique_ptr<google::protobuf::Message> NewMessage(ChunkSensor s)
{
    if (s == ChunkSensor::Subif) {
        return std::make_unique<zor::oc::Interfaces>();
    }
    return std::make_unique<zor::ifm::Ifm>();
}

// The first record's name and one counter of the last record, as decoded from the plugin's bytes.
void ExpectRecordValues(ChunkSensor s, const ChunkRecords &c, const google::protobuf::Message &decoded)
{
    if (s == ChunkSensor::Subif) {
        const auto &m = static_cast<const zor::oc::Interfaces &>(decoded);
        ASSERT_EQ(static_cast<size_t>(m.interface_size()), c.subif.size());
        EXPECT_EQ(m.interface(0).name(), c.subif[0].ifName);
        EXPECT_EQ(m.interface(49).subinterfaces().subinterface(0).state().counters().out_octets(),
                  c.subif[49].outOctets);
        return;
    }
    const auto &m = static_cast<const zor::ifm::Ifm &>(decoded);
    ASSERT_EQ(static_cast<size_t>(m.interfaces_size()), c.Count(s));
    const auto &last = m.interfaces(m.interfaces_size() - 1).interface();
    switch (s) {
    case ChunkSensor::IpStat:
        EXPECT_EQ(m.interfaces(0).interface().name(), c.ip[0].ifName);
        EXPECT_EQ(last.ip_statistics().send_ipv6_packet_rate(), c.ip.back().ipv6.outPacketRate);
        break;
    case ChunkSensor::Mib:
        EXPECT_EQ(m.interfaces(0).interface().name(), c.mib[0].ifName);
        EXPECT_EQ(last.mib_statistics().send_drop_packet(), c.mib.back().mib.sendDropPackets);
        break;
    default:
        EXPECT_EQ(m.interfaces(0).interface().name(), c.common[0].ifName);
        EXPECT_EQ(last.common_statistics().receive_drop_packet(), c.common.back().common.receiveDropPackets);
        break;
    }
}

TEST(EncodePeers, DecodeToTheSameValuesAsThePluginsGpb)
{
    const ChunkRecords c = MakeChunkRecords();
    using PeerFn = size_t (*)(ChunkSensor, const ChunkRecords &, std::vector<uint8_t> &);
    const std::pair<const char *, PeerFn> peers[] = {
        {"protobuf", EncodeProtobuf}, {"protobuf-c", EncodeProtobufC}, {"nanopb", EncodeNanopb}};
    for (ChunkSensor s : kChunkSensors) {
        SCOPED_TRACE(ChunkSensorName(s));
        uint8_t *msg = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(EncodeOursGpb(s, c, &msg, &len), 0u);
        auto ours = NewMessage(s);
        const bool parsed = ours->ParseFromArray(msg, static_cast<int>(len));
        MDTLM_FreeBuff(msg);
        ASSERT_TRUE(parsed);
        ExpectRecordValues(s, c, *ours);
        for (const auto &p : peers) {
            SCOPED_TRACE(p.first);
            std::vector<uint8_t> out;
            const size_t n = p.second(s, c, out);
            ASSERT_GT(n, 0u);
            auto theirs = NewMessage(s);
            ASSERT_TRUE(theirs->ParseFromArray(out.data(), static_cast<int>(n)));
            std::string diff;
            google::protobuf::util::MessageDifferencer differ;
            differ.ReportDifferencesToString(&diff);
            EXPECT_TRUE(differ.Compare(*ours, *theirs)) << diff;
        }
    }
}

} // namespace
