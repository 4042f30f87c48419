// Sample envelope: chunking, the envelope's layout and stamps, upload failures, and that every
// chunk's message and envelope are freed whatever fails.
#include <cstring>
#include <string>
#include <vector>

#include "support/plugin_state.h"

using standin::CountLog;

namespace {

struct Upload {
    uint32_t moduleId;
    std::vector<uint8_t> bytes; // header and message
};

uint32_t g_failEncodeAt = 0;
uint32_t g_encodes = 0;

// Message: the first record and the chunk's size, as text. Each encoding takes 1 ms.
uint32_t FakeEncode(const void *records, uint32_t n, uint32_t encodeType, uint8_t **msg, uint32_t *len, uint32_t)
{
    if (++g_encodes == g_failEncodeAt) {
        return 17;
    }
    standin::AdvanceClockUs(1000);
    const std::string text = std::to_string(*static_cast<const uint32_t *>(records)) + "/" + std::to_string(n) +
                             (encodeType != 0 ? "j" : "g");
    void *buf = MDTLM_AllocBuff(static_cast<uint32_t>(text.size()));
    if (buf == nullptr) {
        return 1;
    }
    std::memcpy(buf, text.data(), text.size());
    *msg = static_cast<uint8_t *>(buf);
    *len = static_cast<uint32_t>(text.size());
    return 0;
}

IfmEnvelopeTraits Traits(uint32_t chunk)
{
    return {chunk, sizeof(uint32_t), FakeEncode, "enc %u", "nomem", "copy %u"};
}

class EnvelopeTest : public PluginTest {
protected:
    void SetUp() override
    {
        PluginTest::SetUp();
        g_failEncodeAt = 0;
        g_encodes = 0;
        standin::SetClockUs(1700000000123456ull);
        standin::SetUploadHandler([this](uint32_t moduleId, const SampleData *s) {
            const uint8_t *p = reinterpret_cast<const uint8_t *>(s);
            uploads.push_back({moduleId, std::vector<uint8_t>(p, p + sizeof(SampleData) + s->dataLen)});
            return uploadResult;
        });
        for (uint32_t i = 0; i < records.size(); ++i) {
            records[i] = i;
        }
    }
    std::vector<std::string> Messages() const
    {
        std::vector<std::string> out;
        for (const Upload &u : uploads) {
            out.emplace_back(u.bytes.begin() + sizeof(SampleData), u.bytes.end());
        }
        return out;
    }
    std::vector<Upload> uploads;
    uint32_t uploadResult = 0;
    std::vector<uint32_t> records = std::vector<uint32_t>(200);
    IfmTaskRound round = {0xABCD, 77, 1, nullptr};
};

} // namespace

TEST_F(EnvelopeTest, ChunksOfTheSensorsSize)
{
    using V = std::vector<std::string>;
    EXPECT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 70, 0, Traits(32)), 0u);
    EXPECT_EQ(Messages(), (V{"0/32j", "32/32j", "64/6j"}));
    uploads.clear();
    EXPECT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 100, 0, Traits(50)), 0u);
    EXPECT_EQ(Messages(), (V{"0/50j", "50/50j"}));
    uploads.clear();
    EXPECT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 101, 0, Traits(50)), 0u);
    EXPECT_EQ(Messages(), (V{"0/50j", "50/50j", "100/1j"}));
    uploads.clear();
    EXPECT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 0, 0, Traits(50)), 0u);
    EXPECT_TRUE(uploads.empty());
    EXPECT_EQ(g_encodes, 8u);
}

TEST_F(EnvelopeTest, EnvelopeLayoutAndStamps)
{
    round.encodeType = 0;
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 70, 0, Traits(32)), 0u);
    ASSERT_EQ(uploads.size(), 3u);
    for (size_t k = 0; k < uploads.size(); ++k) {
        const std::vector<uint8_t> &b = uploads[k].bytes;
        SampleData h;
        std::memcpy(&h, b.data(), sizeof(h));
        EXPECT_EQ(uploads[k].moduleId, 7u);
        EXPECT_EQ(h.frmCookie, 0xABCDu);
        EXPECT_EQ(h.taskId, 77u);
        EXPECT_EQ(h.dataLen + sizeof(SampleData), b.size());
        EXPECT_EQ(std::vector<uint8_t>(b.begin() + 32, b.begin() + 44), std::vector<uint8_t>(12, 0));
        // Stamps are taken after each encoding; the elapsed time runs from the start of the call.
        EXPECT_EQ(h.timestampMs, 1700000000123ull + k + 1);
        EXPECT_EQ(h.timestampMs2, h.timestampMs);
        EXPECT_EQ(h.timeSpendUs, 1000u * (k + 1));
    }
    EXPECT_EQ(Messages()[2], "64/6g");
}

TEST_F(EnvelopeTest, UploadFailuresAndMissingSlot)
{
    uploadResult = 4;
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 60, 0, Traits(50)), 0u);
    EXPECT_EQ(uploads.size(), 2u);
    EXPECT_EQ(CountLog("ifmplugin upload data failed! ret = 4", 2), 2u);

    standin::ClearLogs();
    uploads.clear();
    standin::FrameworkTable()->UploadData = nullptr;
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 60, 0, Traits(50)), 0u);
    g_ifmpluginMdtlm_frmVtbl = nullptr;
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 60, 0, Traits(50)), 0u);
    EXPECT_TRUE(uploads.empty());
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnvelopeTest, EncoderFailureSkipsOnlyThatChunk)
{
    g_failEncodeAt = 2;
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 101, 0, Traits(50)), 0u);
    EXPECT_EQ(Messages(), (std::vector<std::string>{"0/50j", "100/1j"}));
    EXPECT_EQ(CountLog("enc 17", 2), 1u);

    // A procedure without messages stays silent.
    standin::ClearLogs();
    g_encodes = 0;
    IfmEnvelopeTraits silent = {50, sizeof(uint32_t), FakeEncode, nullptr, nullptr, nullptr};
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 101, 0, silent), 0u);
    standin::FailAllocAt(2);
    ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 101, 0, silent), 0u);
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnvelopeTest, EveryAllocationFailureFreesItsChunk)
{
    // Three chunks, two allocations each (message, envelope): fail each one in turn.
    const uint64_t base = standin::Alloc().outstandingBuffers;
    for (uint64_t n = 1;; ++n) {
        uploads.clear();
        standin::ResetAllocCalls();
        standin::FailAllocAt(n);
        ASSERT_EQ(IFM_EnvelopeDataProc(&round, records.data(), 101, 0, Traits(50)), 0u);
        EXPECT_EQ(standin::Alloc().outstandingBuffers, base) << "failing allocation " << n;
        if (standin::Alloc().failedAllocs == 0) {
            EXPECT_EQ(uploads.size(), 3u);
            EXPECT_EQ(n, 7u);
            break;
        }
        EXPECT_EQ(uploads.size(), 2u) << "failing allocation " << n;
    }
    EXPECT_EQ(CountLog("nomem", 2), 3u);
    EXPECT_EQ(CountLog("enc 1", 2), 3u);
}

TEST_F(EnvelopeTest, TimeHelpers)
{
    EXPECT_EQ(IFMPlugin_MDTLM_GetUs2TimeSpend(10, 900000, 11, 100000), 200000u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetUs2TimeSpend(10, 500, 9, 0), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetUs2TimeSpend(10, 500, 10, 400), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetUs2TimeSpend(0, 0, 0xFFFFFFFFu, 5), 4294967295000005ull); // no 32-bit wrap

    uint32_t sec = 0, us = 0;
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetSystimeSecUs(nullptr, &us), 1u);
    ASSERT_EQ(IFMPLUGIN_MDTLM_GetSystimeSecUs(&sec, &us), 0u);
    EXPECT_EQ(sec, 1700000000u);
    EXPECT_EQ(us, 123456u);
    standin::FailGettimeofday(1);
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetSystimeSecUs(&sec, &us), 1u);

    EXPECT_EQ(IFMPlugin_MDTLM_Date2SystimeMs(nullptr), 0u);
    KAL_SYSTIME_S date = {2001, 9, 9, 1, 46, 40, 0, 5};
    EXPECT_EQ(IFMPlugin_MDTLM_Date2SystimeMs(&date), 1000000000005ull);
}
