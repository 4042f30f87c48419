// Subinterface counters encoder: wire layout and exact sizing of the GPB message, the JSON text,
// the choice of encoding and the failure paths. Grouping and round trips are in subif_e2e_test.
#include <cstring>
#include <string>
#include <vector>

#include <google/protobuf/unknown_field_set.h>

#include "sensors/subif/subif.h"
#include "support/fixture.h"

namespace {

using google::protobuf::UnknownFieldSet;

L2subifData Rec(const char *ifName, uint32_t number, uint64_t inOctets = 0)
{
    L2subifData r{};
    strncpy(r.ifName, ifName, sizeof(r.ifName) - 1);
    r.stateIndex = r.subifIndex = number;
    r.inOctets = inOctets;
    return r;
}

// Encodes; on failure checks that both outs were cleared.
std::pair<uint32_t, std::string> Encode(const std::vector<L2subifData> &recs, uint32_t encodeType)
{
    uint8_t *msg = reinterpret_cast<uint8_t *>(1);
    uint32_t len = 77;
    uint32_t rc = IFM_L2subifEncodeProc(recs.data(), static_cast<uint32_t>(recs.size()), encodeType, &msg, &len);
    std::string text = rc == 0 ? std::string(reinterpret_cast<char *>(msg), len) : "";
    if (rc != 0) {
        EXPECT_TRUE(msg == nullptr && len == 0);
    }
    MDTLM_FreeBuff(msg);
    return {rc, text};
}

// The fields of one message level, in wire order.
struct Level : UnknownFieldSet {
    explicit Level(const std::string &bytes) { EXPECT_TRUE(ParseFromString(bytes)); }
};

using SubifEncoderTest = PlatformTest;

TEST_F(SubifEncoderTest, GpbLayoutOfOneRecord)
{
    auto [rc, gpb] = Encode({Rec("GE1/0/1", 100, 1000)}, 0);
    ASSERT_EQ(rc, 0u);
    const std::string n = std::to_string(gpb.size());
    EXPECT_EQ(standin::CountLog("after encode gpb, datalen:" + n + ", filedlen:" + n + ", leftlen:0.", 1), 1u);

    // top; interface 3, 5; subinterfaces 1; subinterface 2, 3; state with field 6 twice.
    const Level top(gpb), iface(top.field(0).length_delimited());
    const Level subifs(iface.field(1).length_delimited()), subif(subifs.field(0).length_delimited());
    const Level state(subif.field(1).length_delimited());
    std::vector<int> nos;
    for (const UnknownFieldSet *set : {&top, &iface, &subifs, &subif, &state}) {
        for (int i = 0; i < set->field_count(); ++i) {
            nos.push_back(set->field(i).number());
        }
    }
    EXPECT_EQ(nos, std::vector<int>({1, 3, 5, 1, 2, 3, 6, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(iface.field(0).length_delimited(), "GE1/0/1");
    EXPECT_EQ(subif.field(0).varint() + state.field(0).varint() + state.field(5).varint(), 300u);
    EXPECT_EQ(state.field(2).length_delimited() + state.field(7).length_delimited(), ""); // key and a zero length

    const Level counters(state.field(1).length_delimited());
    ASSERT_EQ(counters.field_count(), 16); // every counter written, in field order
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(counters.field(i).number(), i + 1);
        EXPECT_EQ(counters.field(i).varint(), i + 1 == 7 ? 1000u : 0u);
    }
    EXPECT_EQ(state.field(1).length_delimited().size(), 14u * 2 + 3 + 3); // 1000: two bytes; field 16: two-byte key
}

TEST_F(SubifEncoderTest, JsonText)
{
    L2subifData r = Rec("GE1/0/1", 100, UINT64_MAX);
    r.outOctets = 1ull << 40;
    r.carrierTransitions = 3; // only ever zero from the pipeline, but carried if set
    auto [rc, json] = Encode({r}, 1);
    ASSERT_EQ(rc, 0u);
    EXPECT_EQ(json, "{\"interfaces\":{\"interface\":[{\"name\":\"GE1/0/1\",\"subinterfaces\":{\"subinterface\":[{"
                    "\"index\":100,\"state\":{\"index\":100,\"counters\":{\"in-octets\":\"18446744073709551615\","
                    "\"in-unicast-pkts\":\"0\",\"in-broadcast-pkts\":\"0\",\"in-multicast-pkts\":\"0\","
                    "\"in-discards\":\"0\",\"in-errors\":\"0\",\"in-unknown-protos\":\"0\",\"in-fcs-errors\":\"0\","
                    "\"out-octets\":\"1099511627776\",\"out-unicast-pkts\":\"0\",\"out-broadcast-pkts\":\"0\","
                    "\"out-multicast-pkts\":\"0\",\"out-discards\":\"0\",\"out-errors\":\"0\","
                    "\"carrier-transitions\":\"3\",\"last-clear\":\"0\"}}}]}}]}}");
}

TEST_F(SubifEncoderTest, EncodingChoiceAndEmptyBatch)
{
    EXPECT_EQ(Encode({Rec("GE1/0/1", 1)}, 0).second[0], '\x0A');
    EXPECT_EQ(Encode({Rec("GE1/0/1", 1)}, 1).second[0], '{');
    EXPECT_EQ(Encode({Rec("GE1/0/1", 1)}, 255).second[0], '{');

    L2subifData dummy{};
    uint8_t *msg = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(IFM_L2subifEncodeProc(&dummy, 0, 1, &msg, &len), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(msg), len), "{\"interfaces\":{\"interface\":[]}}");
    MDTLM_FreeBuff(msg);
    EXPECT_EQ(IFM_L2subifEncodeProc(&dummy, 0, 0, &msg, &len), 1u);
    EXPECT_EQ(standin::CountLog("[IFM_L2subifEncodeGpb]encode gpb, get len failed, bufferlen is 0.", 2), 1u);
}

TEST_F(SubifEncoderTest, FailuresLeaveNothingBehind)
{
    std::vector<L2subifData> recs = {Rec("GE1/0/1", 1, 1 << 20), Rec("GE1/0/2", 2)};
    standin::FailAllocAt(1);
    EXPECT_EQ(Encode(recs, 0).first, 1u);
    EXPECT_EQ(standin::CountLog("[IFM_L2subifEncodeGpb]fieldLen MemAlloc failed.", 2), 1u);
    standin::FailAllocAt(2);
    EXPECT_EQ(Encode(recs, 0).first, 1u);
    EXPECT_EQ(standin::CountLog("[IFM_L2subifEncodeGpb]encode gpb, malloc failed.", 2), 1u);
    standin::FailAllocAt(1); // the copy of the printed JSON text
    EXPECT_EQ(Encode(recs, 1).first, 1u);

    // A buffer short anywhere (headers, counters, state tail, second entry) fails the whole write.
    L2subifGpbLen lens[2] = {};
    ASSERT_EQ(IFM_GetL2subifEncodeLen(recs.data(), 2, lens), 0u);
    const uint32_t first = lens[0].entryTotal, total = first + lens[1].entryTotal;
    for (uint32_t room : {1u, first - 20, first - 1, first + 3, total - 1, total}) {
        std::vector<uint8_t> buf(room);
        uint8_t *cursor = buf.data();
        uint32_t remain = room;
        EXPECT_EQ(IFM_L2subifEncapInterfaceDataGpb(recs.data(), 2, lens, &cursor, &remain), room == total ? 0u : 1u);
    }
    EXPECT_EQ(standin::CountLogContaining("GPB encoding l2subif interface error, datalen="), 5u);
    EXPECT_EQ(standin::CountLog("GPB encoding l2subif counters error.", 2), 1u);
}

} // namespace
