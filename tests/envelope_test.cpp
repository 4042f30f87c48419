// Sample envelope: chunking, the envelope's layout and stamps, upload failures, and that every
// chunk's message and envelope are freed whatever fails.
#include <cstring>
#include <string>
#include <vector>

#include "support/plugin_state.h"

using standin::CountLog;

namespace {

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

const IfmEnvelopeTraits kTraits50 = {50, sizeof(uint32_t), FakeEncode, "enc %u", "nomem", "copy %u"};

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
            uploads.emplace_back(p, p + sizeof(SampleData) + s->dataLen);
            EXPECT_EQ(moduleId, 7u);
            return uploadResult;
        });
        for (uint32_t i = 0; i < records.size(); ++i) {
            records[i] = i;
        }
    }
    // Runs the procedure afresh and returns the uploaded messages.
    std::vector<std::string> Run(uint32_t count, const IfmEnvelopeTraits &traits = kTraits50)
    {
        uploads.clear();
        EXPECT_EQ(IFM_EnvelopeDataProc(&round, records.data(), count, 0, traits), 0u);
        std::vector<std::string> out;
        for (const auto &u : uploads) {
            out.emplace_back(u.begin() + sizeof(SampleData), u.end());
        }
        return out;
    }
    std::vector<std::vector<uint8_t>> uploads;
    uint32_t uploadResult = 0;
    std::vector<uint32_t> records = std::vector<uint32_t>(200);
    IfmTaskRound round = {0xABCD, 77, 1, nullptr};
};

} // namespace

TEST_F(EnvelopeTest, ChunksOfTheSensorsSize)
{
    using V = std::vector<std::string>;
    const IfmEnvelopeTraits traits32 = {32, sizeof(uint32_t), FakeEncode, "enc %u", "nomem", "copy %u"};
    EXPECT_EQ(Run(70, traits32), (V{"0/32j", "32/32j", "64/6j"}));
    EXPECT_EQ(Run(100), (V{"0/50j", "50/50j"}));
    EXPECT_EQ(Run(101), (V{"0/50j", "50/50j", "100/1j"}));
    EXPECT_EQ(Run(0), V{});
    EXPECT_EQ(g_encodes, 8u);
}

TEST_F(EnvelopeTest, EnvelopeLayoutAndStamps)
{
    round.encodeType = 0;
    ASSERT_EQ(Run(101).back(), "100/1g");
    ASSERT_EQ(uploads.size(), 3u);
    for (size_t k = 0; k < uploads.size(); ++k) {
        const std::vector<uint8_t> &b = uploads[k];
        SampleData h;
        std::memcpy(&h, b.data(), sizeof(h));
        EXPECT_EQ(h.frmCookie, 0xABCDu);
        EXPECT_EQ(h.taskId, 77u);
        EXPECT_EQ(h.dataLen + sizeof(SampleData), b.size());
        EXPECT_EQ(std::vector<uint8_t>(b.begin() + 32, b.begin() + 44), std::vector<uint8_t>(12, 0));
        // Stamps are taken after each encoding; the elapsed time runs from the start of the call.
        EXPECT_EQ(h.timestampMs, 1700000000123ull + k + 1);
        EXPECT_EQ(h.timestampMs2, h.timestampMs);
        EXPECT_EQ(h.timeSpendUs, 1000u * (k + 1));
    }
}

TEST_F(EnvelopeTest, FailuresSkipOnlyTheirChunk)
{
    uploadResult = 4;
    EXPECT_EQ(Run(60).size(), 2u);
    EXPECT_EQ(CountLog("ifmplugin upload data failed! ret = 4", 2), 2u);

    g_encodes = 0;
    g_failEncodeAt = 2;
    EXPECT_EQ(Run(101), (std::vector<std::string>{"0/50j", "100/1j"}));
    EXPECT_EQ(CountLog("enc 17", 2), 1u);

    // A procedure without messages, or a framework without an upload slot, stays silent.
    standin::ClearLogs();
    uploadResult = 0;
    const IfmEnvelopeTraits silent = {50, sizeof(uint32_t), FakeEncode, nullptr, nullptr, nullptr};
    g_encodes = 0;
    Run(101, silent);
    standin::FailAllocAt(2);
    Run(101, silent);
    standin::FrameworkTable()->UploadData = nullptr;
    EXPECT_TRUE(Run(60).empty());
    g_ifmpluginMdtlm_frmVtbl = nullptr;
    EXPECT_TRUE(Run(60).empty());
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnvelopeTest, TimeHelpers)
{
    const struct {
        uint32_t s0, us0, s1, us1;
        uint64_t want;
    } spans[] = {{10, 900000, 11, 100000, 200000}, {10, 500, 9, 0, 0}, {10, 500, 10, 400, 0},
                 {0, 0, 0xFFFFFFFFu, 5, 4294967295000005ull}}; // no 32-bit wrap
    for (const auto &s : spans) {
        EXPECT_EQ(IFMPlugin_MDTLM_GetUs2TimeSpend(s.s0, s.us0, s.s1, s.us1), s.want) << s.s0 << "." << s.us0;
    }
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
