// mib-statistics and common-statistics messages: GPB against the message description and on the
// wire (field order, zero fields written, exact sizes), JSON as text.
#include <cstring>
#include <string>
#include <vector>

#include <google/protobuf/unknown_field_set.h>

#include "ifm.pb.h"
#include "sensors/mibstat/mibstat.h"
#include "support/fixture.h"

namespace {

using google::protobuf::UnknownFieldSet;

IfmTlmMibIfStatData Rec(const char *name, uint64_t firstSlot)
{
    IfmTlmMibIfStatData r{};
    (void)strncpy(r.ifName, name, sizeof(r.ifName) - 1);
    for (uint64_t i = 0; i < 17; ++i) {
        r.slots[i] = firstSlot ? firstSlot + i : 0;
    }
    return r;
}

// Encodes and returns the message; empty with ret != 0 on failure.
std::string Encode(const std::vector<IfmTlmMibIfStatData> &recs, uint32_t encodeType, uint32_t type, uint32_t *ret)
{
    uint8_t *out = nullptr;
    uint32_t len = 0;
    *ret = IFMPlugin_MDTLM_MibIfStatEncodeProc(recs.data(), static_cast<uint32_t>(recs.size()), encodeType, &out,
                                               &len, type);
    std::string bytes(reinterpret_cast<const char *>(out), out ? len : 0);
    MDTLM_FreeBuff(out);
    return bytes;
}

// The fields of the statistics node of the first interface, in wire order.
void StatNode(const std::string &msg, int expectedTag, UnknownFieldSet &node)
{
    UnknownFieldSet top, interfaces, iface;
    node.Clear();
    EXPECT_TRUE(top.ParseFromString(msg));
    EXPECT_TRUE(interfaces.ParseFromString(top.field(0).length_delimited()));
    EXPECT_TRUE(iface.ParseFromString(interfaces.field(0).length_delimited()));
    EXPECT_EQ(iface.field_count(), 2);
    EXPECT_EQ(iface.field(1).number(), expectedTag);
    EXPECT_TRUE(node.ParseFromString(iface.field(1).length_delimited()));
}

class MibEncoderTest : public PlatformTest {};

TEST_F(MibEncoderTest, MibGpbDecodesAndUsesTheExactSize)
{
    uint32_t ret = 1;
    const std::string bytes = Encode({Rec("GE1/0/1", 1), Rec("Eth-Trunk7", 300)}, 0, TLM_TYPE_MIB_PORT, &ret);
    ASSERT_EQ(ret, 0u);
    zor::ifm::Ifm msg;
    ASSERT_TRUE(msg.ParseFromString(bytes));
    ASSERT_EQ(msg.interfaces_size(), 2);
    const auto &m = msg.interfaces(0).interface().mib_statistics();
    EXPECT_EQ(msg.interfaces(0).interface().name(), "GE1/0/1");
    EXPECT_EQ(m.receive_byte() + m.receive_broad_packet() + m.send_drop_packet(), 1u + 7u + 14u);
    EXPECT_EQ(msg.interfaces(1).interface().mib_statistics().send_drop_packet(), 313u);
    EXPECT_FALSE(msg.interfaces(1).interface().has_common_statistics());

    UnknownFieldSet node;
    StatNode(bytes, 27, node); // slots 15-17 and use rates are not part of it
    ASSERT_EQ(node.field_count(), 14);
    for (int i = 0; i < 14; ++i) {
        EXPECT_EQ(node.field(i).number(), i + 1);
    }
    const std::string n = std::to_string(bytes.size());
    EXPECT_EQ(standin::CountLog("after encode gpb, datalen:" + n + ", filedlen:" + n + ", leftlen:0.", 1), 1u);
}

TEST_F(MibEncoderTest, CommonGpbWireOrderPercentTextsAndZeroFields)
{
    std::vector<IfmTlmMibIfStatData> recs = {Rec("GE1/0/2", 1000)};
    recs[0].inUseRate = 12.5;
    recs[0].outUseRate = 100.0;
    uint32_t ret = 1;
    UnknownFieldSet node;
    StatNode(Encode(recs, 0, TLM_TYPE_COMMON_PORT, &ret), 28, node);
    ASSERT_EQ(ret, 0u);
    const int order[19] = {7, 3, 11, 10, 12, 13, 4, 8, 15, 18, 16, 19, 14, 17, 23, 20, 21, 5, 9};
    ASSERT_EQ(node.field_count(), 19);
    for (int i = 0; i < 19; ++i) {
        EXPECT_EQ(node.field(i).number(), order[i]);
        if (i < 17) {
            EXPECT_EQ(node.field(i).varint(), 1000u + i);
        }
    }
    EXPECT_EQ(node.field(17).length_delimited(), "12.50%");
    EXPECT_EQ(node.field(18).length_delimited(), "100.00%");

    // An all-zero record with an empty name still writes the name and every field.
    const std::string zero = Encode({Rec("", 0)}, 0, TLM_TYPE_COMMON_IF_1, &ret);
    ASSERT_EQ(ret, 0u);
    StatNode(zero, 28, node);
    ASSERT_EQ(node.field_count(), 19);
    EXPECT_EQ(node.field(18).length_delimited(), "0.00%");
    EXPECT_EQ(zero.substr(4, 2), std::string("\x0A\x00", 2)); // after the two node headers
    StatNode(Encode({Rec("", 0)}, 0, TLM_TYPE_MIB_IF_2, &ret), 27, node);
    EXPECT_EQ(node.field_count(), 14);
}

TEST_F(MibEncoderTest, JsonText)
{
    std::vector<IfmTlmMibIfStatData> recs = {Rec("GE1/0/1", 1)};
    recs[0].slots[0] = UINT64_MAX; // counters are decimal strings, never doubles
    recs[0].inUseRate = 7.126;
    uint32_t ret = 1;
    EXPECT_EQ(Encode(recs, 2, TLM_TYPE_COMMON_IF_2, &ret),
              "{\"ifm\":{\"interfaces\":{\"interface\":[{\"name\":\"GE1/0/1\",\"common-statistics\":{"
              "\"out-bit-rate\":\"18446744073709551615\",\"in-bit-rate\":\"2\",\"send-byte\":\"3\","
              "\"receive-byte\":\"4\",\"receive-packet\":\"5\",\"send-packet\":\"6\",\"in-packet-rate\":\"7\","
              "\"out-packet-rate\":\"8\",\"receive-multicast-packet\":\"9\",\"send-multicast-packet\":\"10\","
              "\"receive-broad-packet\":\"11\",\"send-broad-packet\":\"12\",\"receive-unicast-packet\":\"13\","
              "\"send-unicast-packet\":\"14\",\"send-drop-packet\":\"15\",\"receive-error-packet\":\"16\","
              "\"receive-drop-packet\":\"17\",\"in-use-rate\":\"7.13%\",\"out-use-rate\":\"0.00%\"}}]}}}");
    EXPECT_EQ(ret, 0u);
}

TEST_F(MibEncoderTest, EmptyBatchAndAllocationFailures)
{
    IfmTlmMibIfStatData rec = Rec("a", 1);
    uint8_t *out = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(IFMPlugin_MDTLM_MibIfStatEncodeProc(&rec, 0, 0, &out, &len, TLM_TYPE_MIB_PORT), 1u);
    EXPECT_EQ(standin::CountLog("ifstat gpb encoding, get len failed, bufferlen is 0.", 2), 1u);
    ASSERT_EQ(IFMPlugin_MDTLM_MibIfStatEncodeProc(&rec, 0, 1, &out, &len, TLM_TYPE_MIB_PORT), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), len), "{\"ifm\":{\"interfaces\":{\"interface\":[]}}}");
    MDTLM_FreeBuff(out);

    uint32_t ret = 0;
    standin::FailAllocAt(1);
    EXPECT_EQ(Encode({rec, rec}, 0, TLM_TYPE_MIB_PORT, &ret), "");
    EXPECT_EQ(standin::CountLog("ifstat fieldLen MemAlloc failed.", 2), 1u);
    standin::FailAllocAt(2);
    EXPECT_EQ(Encode({rec, rec}, 0, TLM_TYPE_MIB_PORT, &ret), "");
    EXPECT_EQ(standin::CountLog("gpb encoding, malloc failed.", 2), 1u);
    EXPECT_EQ(ret, 1u);
}

} // namespace
