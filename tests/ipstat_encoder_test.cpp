// IP statistics encoder: GPB bytes, decoding with the reference library, JSON shape, allocations.
#include <cjson/cJSON.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ifm.pb.h"
#include "sensors/ipstat/ipstat.h"
#include "support/fixture.h"

namespace {

// Field k of the message carries base + k, so a figure in the wrong field shows.
TlmIfStatData Record(const std::string &name, uint64_t base = 0)
{
    TlmIfStatData r;
    memset(&r, 0, sizeof(r));
    memcpy(r.ifName, name.data(), name.size());
    TlmIpStatPart *parts[] = {&r.total, &r.ipv4, &r.ipv6};
    for (uint64_t p = 0; p < 3 && base != 0; ++p) {
        const uint64_t f = base + p * 8;
        *parts[p] = TlmIpStatPart{f + 5, f + 7, f + 6, f + 8, f + 3, f + 1, f + 4, f + 2};
    }
    return r;
}

std::string Encode(const std::vector<TlmIfStatData> &records, uint32_t encodeType, uint32_t *rc = nullptr)
{
    uint8_t *data = nullptr;
    uint32_t len = 0;
    const uint32_t r = IFMPlugin_MDTLM_IfStatEncodeProc(records.data(), static_cast<uint32_t>(records.size()),
                                                        encodeType, &data, &len);
    if (rc != nullptr) {
        *rc = r;
    }
    std::string out(reinterpret_cast<char *>(data), data != nullptr ? len : 0);
    MDTLM_FreeBuff(data);
    return out;
}

using IfStatEncoderTest = PlatformTest;

TEST_F(IfStatEncoderTest, AllZeroRecordIsByteExactInTwoAllocations)
{
    std::string want = {0x12, 71, 0x0A, 69, 0x0A, 7, 'G', 'E', '1', '/', '0', '/', '1', char(0x92), 0x0B, 57};
    for (uint32_t f = 1; f <= 24; ++f) {
        want += f < 16 ? std::string{char(f << 3), 0} : std::string{char(((f << 3) & 0x7F) | 0x80), char(f >> 4), 0};
    }
    standin::ResetAllocCalls();
    EXPECT_EQ(Encode({Record("GE1/0/1")}, 0), want);
    EXPECT_EQ(want.size(), 73u);
    EXPECT_EQ(standin::Alloc().allocCalls, 2u) << "size table and message only";

    // The node's field number is read from its global at every use.
    const uint32_t saved = g_ifmpluginMdtlm_ipStatTag;
    g_ifmpluginMdtlm_ipStatTag = 5;
    const std::string small = Encode({Record("GE1/0/1")}, 0);
    g_ifmpluginMdtlm_ipStatTag = saved;
    ASSERT_EQ(small.size(), 72u);
    EXPECT_EQ(small[13], 0x2A);
}

TEST_F(IfStatEncoderTest, GpbAndJsonCarryEveryFigureInItsField)
{
    TlmIfStatData big = Record(std::string(63, 'n'), 2000);
    big.total.inBytes = UINT64_MAX;
    const std::vector<TlmIfStatData> records = {Record("GE1/0/1", 1000), big};

    // Two records are two field-2 elements, one after the other.
    const std::string gpb = Encode(records, 0);
    EXPECT_EQ(gpb, Encode({records[0]}, 0) + Encode({records[1]}, 0));
    zor::ifm::Ifm msg;
    ASSERT_TRUE(msg.ParseFromString(gpb));
    ASSERT_EQ(msg.interfaces_size(), 2);

    cJSON *root = cJSON_Parse(Encode(records, 1).c_str());
    cJSON *array =
        cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "ifm"), "interfaces"), "interface");
    ASSERT_EQ(cJSON_GetArraySize(array), 2);

    const google::protobuf::Descriptor *d = zor::ifm::IpStatistics::descriptor();
    for (int i = 0; i < 2; ++i) {
        const auto &itf = msg.interfaces(i).interface();
        EXPECT_EQ(itf.name(), records[i].ifName);
        cJSON *obj = cJSON_GetArrayItem(array, i);
        ASSERT_STREQ(obj->child->string, "name");
        EXPECT_STREQ(obj->child->valuestring, records[i].ifName);
        cJSON *member = obj->child->next->child; // first member of "ip-statistics"
        for (int f = 1; f <= 24; ++f, member = member->next) {
            const uint64_t want = (i == 1 && f == 1) ? UINT64_MAX : 1000u * (i + 1) + f;
            EXPECT_EQ(itf.ip_statistics().GetReflection()->GetUInt64(itf.ip_statistics(), d->FindFieldByNumber(f)),
                      want);
            ASSERT_NE(member, nullptr);
            std::string name = d->FindFieldByNumber(f)->name(); // JSON spells the field's name with dashes
            std::replace(name.begin(), name.end(), '_', '-');
            EXPECT_EQ(member->string, name);
            EXPECT_EQ(std::string(member->valuestring), std::to_string(want));
        }
        EXPECT_EQ(member, nullptr);
    }
    cJSON_Delete(root);
}

TEST_F(IfStatEncoderTest, EmptyBatchAndAllocationFailures)
{
    const TlmIfStatData none = Record("");
    uint8_t *data = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(IFMPlugin_MDTLM_IfStatEncodeProc(&none, 0, 0, &data, &len), 1u);
    EXPECT_EQ(standin::CountLog("ifstat encode gpb, get len failed, bufferlen is 0.", 2), 1u);
    ASSERT_EQ(IFMPlugin_MDTLM_IfStatEncodeProc(&none, 0, 7, &data, &len), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), len), "{\"ifm\":{\"interfaces\":{\"interface\":[]}}}");
    MDTLM_FreeBuff(data);

    const std::vector<TlmIfStatData> records = {Record("GE1/0/1", 10), Record("GE1/0/2", 50)};
    const char *messages[] = {"ifstat fieldLen MemAlloc failed.", "encode gpb, malloc failed."};
    for (uint64_t nth = 1; nth <= 2; ++nth) {
        uint32_t rc = 0;
        standin::FailAllocAt(nth);
        EXPECT_TRUE(Encode(records, 0, &rc).empty());
        EXPECT_EQ(rc, 1u);
        EXPECT_EQ(standin::CountLog(messages[nth - 1], 2), 1u);
        EXPECT_EQ(standin::Alloc().outstandingBuffers, 0u);
    }
    uint32_t rc = 0;
    standin::FailAllocFrom(1); // the JSON text's copy
    EXPECT_TRUE(Encode(records, 1, &rc).empty());
    standin::ClearAllocFaults();
    EXPECT_EQ(rc, 1u);
}

} // namespace
