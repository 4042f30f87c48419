// The stand-in framework (buffers, log, operation table), registry, device and clock.
#include "support/fixture.h"

namespace {

class StandinFramework : public PlatformTest {};

TEST_F(StandinFramework, BuffersAreAccountedAndFailuresInjected)
{
    standin::ResetAllocCalls();
    const auto before = standin::Alloc();
    auto *a = static_cast<unsigned char *>(MDTLM_AllocBuff(100));
    void *b = MDTLM_AllocBuff(28);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a[0], 0xA5);
    EXPECT_EQ(a[99], 0xA5);
    auto mid = standin::Alloc();
    EXPECT_EQ(mid.allocCalls, 2u);
    EXPECT_EQ(mid.outstandingBuffers, before.outstandingBuffers + 2);
    EXPECT_EQ(mid.outstandingBytes, before.outstandingBytes + 128);
    MDTLM_FreeBuff(a);
    MDTLM_FreeBuff(nullptr);
    auto after = standin::Alloc();
    EXPECT_EQ(after.freeCalls, 1u);
    EXPECT_EQ(after.outstandingBytes, before.outstandingBytes + 28);
    EXPECT_GE(after.peakBytes, before.outstandingBytes + 128);
    standin::ResetAllocPeak();
    EXPECT_EQ(standin::Alloc().peakBytes, after.outstandingBytes);
    MDTLM_FreeBuff(b);

    // Injected failures: the nth call only, then every call from the nth on.
    standin::ResetAllocCalls();
    standin::FailAllocAt(2);
    std::vector<void *> got;
    for (int i = 0; i < 3; ++i) {
        got.push_back(MDTLM_AllocBuff(8));
    }
    standin::FailAllocFrom(2);
    for (int i = 0; i < 4; ++i) {
        got.push_back(MDTLM_AllocBuff(8));
    }
    standin::ClearAllocFaults();
    got.push_back(MDTLM_AllocBuff(8));
    std::vector<bool> ok;
    for (void *p : got) {
        ok.push_back(p != nullptr);
        MDTLM_FreeBuff(p);
    }
    EXPECT_EQ(ok, (std::vector<bool>{true, false, true, true, false, false, false, true}));
    EXPECT_EQ(standin::Alloc().allocCalls, 8u);
    EXPECT_EQ(standin::Alloc().failedAllocs, 4u);
}

TEST_F(StandinFramework, LogLevelsCaptureAndEcho)
{
    MDTLM_WriteLog(1, "[Op]value %d of %s", 3, "x");
    EXPECT_EQ(standin::CountLog("[Op]value 3 of x"), 1u);
    EXPECT_EQ(standin::CountLog("[Op]value 3 of x", 1), 1u);
    EXPECT_EQ(standin::CountLog("[Op]value 3 of x", 2), 0u);

    standin::SetLogLevel(2);
    // A dropped line is never formatted: formatting this bogus pointer would crash.
    MDTLM_WriteLog(1, "%s", reinterpret_cast<const char *>(16));
    MDTLM_WriteLog(2, "[Op]failed, ret = %u.", 15005u);
    ASSERT_EQ(standin::Logs().size(), 2u);
    EXPECT_EQ(standin::Logs()[1].level, 2u);
    EXPECT_EQ(standin::CountLogContaining("ret = 15005"), 1u);

    const std::string longText(5000, 'q');
    MDTLM_WriteLog(3, "<%s>", longText.c_str());
    EXPECT_EQ(standin::Logs().back().text, "<" + longText + ">");

    standin::SetLogCapture(false);
    MDTLM_WriteLog(3, "not kept");
    EXPECT_EQ(standin::Logs().size(), 3u);
    standin::SetLogCapture(true);
    standin::ClearLogs();
    EXPECT_TRUE(standin::Logs().empty());
}

// The operation table, the board type and the clock are exercised through the plugin by the
// runtime, envelope and sensor tests; what those cannot see is checked here.
TEST_F(StandinFramework, FailedQueriesWriteNothingAndDatesAreChecked)
{
    void *table = nullptr;
    standin::SetVTableResult(7);
    EXPECT_EQ(COMP_GetVTable(1000, 1001, &table), 7u);
    EXPECT_EQ(table, nullptr);
    uint32_t board = 99;
    standin::SetBoardType(1, 4);
    EXPECT_EQ(DEVM_GetSelfBoardType(&board), 4u);
    EXPECT_EQ(board, 99u);

    // 2026-11-23 08:00:00.250 UTC is a Monday; 2000-02-29 is a leap day; 2001-02-29 does not exist.
    standin::SetClockUs(1795420800ull * 1000000 + 250000);
    KAL_SYSTIME_S date{};
    ASSERT_EQ(KAL_SystimeGet(&date), 0u);
    EXPECT_EQ((std::vector<int>{date.year, date.month, date.day, date.hour, date.week, int(date.millisecond)}),
              (std::vector<int>{2026, 11, 23, 8, 1, 250}));
    uint32_t hi = 9, lo = 9;
    KAL_SYSTIME_S leap{2000, 2, 29, 23, 59, 59, 0, 999};
    ASSERT_EQ(KAL_SystimeMsSince1970(&leap, &hi, &lo), 0u);
    EXPECT_EQ((uint64_t(hi) << 32) | lo, 951868799999ull);
    ASSERT_EQ(KAL_SystimeSecSince1970(&leap, &hi, &lo), 0u);
    EXPECT_EQ((uint64_t(hi) << 32) | lo, 951868799u);
    KAL_SYSTIME_S bad{2001, 2, 29, 0, 0, 0, 0, 0};
    EXPECT_NE(KAL_SystimeSecSince1970(&bad, &hi, &lo), 0u);
}

} // namespace
