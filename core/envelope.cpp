/* Sample envelope: chunking of a record list, wrapping of each encoded chunk into a SampleData and
 * its upload through the framework's table; the time helpers used for the envelope's stamps. */
#include <sys/time.h>

#include "core/frm_buffer.h"
#include "core/upload.h"

uint32_t g_ifmpluginMdtlm_moduleId = 0;
MdTlmFrmVtbl *g_ifmpluginMdtlm_frmVtbl = nullptr;

namespace {

constexpr uint64_t kUsPerSec = 1000000ull;

/* One read of the wall clock; false when the clock cannot be read. */
bool ReadClock(struct timeval *tv) { return gettimeofday(tv, nullptr) == 0; }

} // namespace

uint32_t IFMPLUGIN_MDTLM_GetSystimeSecUs(uint32_t *sec, uint32_t *usec)
{
    if (sec == nullptr || usec == nullptr) {
        return 1;
    }
    struct timeval first = {};
    struct timeval second = {};
    if (!ReadClock(&first) || !ReadClock(&second)) {
        return 1;
    }
    /* The two reads straddle a second boundary: read again and take the first of the new pair. */
    if (first.tv_sec != second.tv_sec) {
        if (!ReadClock(&first) || !ReadClock(&second)) {
            return 1;
        }
    }
    *sec = static_cast<uint32_t>(first.tv_sec);
    *usec = static_cast<uint32_t>(first.tv_usec);
    return 0;
}

uint64_t IFMPlugin_MDTLM_GetUs2TimeSpend(uint32_t startSec, uint32_t startUs, uint32_t endSec, uint32_t endUs)
{
    if (endSec < startSec) {
        return 0;
    }
    uint64_t t = static_cast<uint64_t>(endSec - startSec) * kUsPerSec + endUs;
    return t < startUs ? 0 : t - startUs;
}

uint64_t IFMPlugin_MDTLM_Date2SystimeMs(const KAL_SYSTIME_S *date)
{
    if (date == nullptr) {
        return 0;
    }
    uint32_t msHigh = 0;
    uint32_t msLow = 0;
    if (KAL_SystimeMsSince1970(date, &msHigh, &msLow) != 0) {
        return 0;
    }
    return (static_cast<uint64_t>(msHigh) << 32) | msLow;
}

void IFMPlugin_MDTLM_EncodeDataProc_uploadData(SampleData *sample)
{
    if (g_ifmpluginMdtlm_frmVtbl == nullptr || g_ifmpluginMdtlm_frmVtbl->UploadData == nullptr) {
        return;
    }
    uint32_t rc = g_ifmpluginMdtlm_frmVtbl->UploadData(g_ifmpluginMdtlm_moduleId, sample);
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifmplugin upload data failed! ret = %u", rc);
    }
}

namespace {

/* Encodes one chunk, wraps it and hands it to the framework. Every failure is logged with the
 * procedure's message (if it has one) and only skips this chunk. */
void SendChunk(const IfmTaskRound *round, const uint8_t *first, uint32_t n, uint32_t type,
               const IfmEnvelopeTraits &traits, uint32_t startSec, uint32_t startUs)
{
    uint8_t *msgPtr = nullptr;
    uint32_t msgLen = 0;
    uint32_t rc = traits.encode(first, n, round->encodeType, &msgPtr, &msgLen, type);
    if (rc != 0) {
        if (traits.encodeFailedMsg != nullptr) {
            MDTLM_WriteLog(IFM_LOG_ERROR, traits.encodeFailedMsg, rc);
        }
        return;
    }
    FrmBuffer msg = FrmBuffer::Adopt(msgPtr, msgLen);

    KAL_SYSTIME_S date = {};
    (void)KAL_SystimeGet(&date);
    uint32_t endSec = 0;
    uint32_t endUs = 0;
    (void)IFMPLUGIN_MDTLM_GetSystimeSecUs(&endSec, &endUs);

    /* A message so long that the envelope size would wrap is treated as an allocation failure. */
    FrmBuffer envelope(static_cast<uint64_t>(sizeof(SampleData)) + msgLen);
    if (!envelope) {
        if (traits.allocFailedMsg != nullptr) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "%s", traits.allocFailedMsg);
        }
        return;
    }

    uint8_t *bytes = envelope.as<uint8_t>();
    int copyRc = memcpy_s(bytes + sizeof(SampleData), msgLen, msg.get(), msgLen);
    if (copyRc != 0) {
        if (traits.copyFailedMsg != nullptr) {
            MDTLM_WriteLog(IFM_LOG_ERROR, traits.copyFailedMsg, static_cast<uint32_t>(copyRc));
        }
        return;
    }

    SampleData *sample = envelope.as<SampleData>();
    sample->dataLen = msgLen;
    sample->taskId = round->taskId;
    sample->frmCookie = round->frmCookie;
    sample->timestampMs = IFMPlugin_MDTLM_Date2SystimeMs(&date);
    sample->timestampMs2 = sample->timestampMs;
    sample->timeSpendUs = IFMPlugin_MDTLM_GetUs2TimeSpend(startSec, startUs, endSec, endUs);

    IFMPlugin_MDTLM_EncodeDataProc_uploadData(sample);
}

} // namespace

uint32_t IFM_EnvelopeDataProc(const IfmTaskRound *round, const void *records, uint32_t count, uint32_t type,
                              const IfmEnvelopeTraits &traits)
{
    if (round == nullptr || records == nullptr || count == 0 || traits.encode == nullptr ||
        traits.chunkRecords == 0) {
        return 0;
    }

    /* One start time for the whole call: later chunks include the time spent on earlier ones. */
    uint32_t startSec = 0;
    uint32_t startUs = 0;
    (void)IFMPLUGIN_MDTLM_GetSystimeSecUs(&startSec, &startUs);

    const uint8_t *base = static_cast<const uint8_t *>(records);
    for (uint32_t start = 0, n = 0; start < count; start += n) {
        n = count - start < traits.chunkRecords ? count - start : traits.chunkRecords;
        SendChunk(round, base + static_cast<size_t>(start) * traits.recordSize, n, type, traits, startSec, startUs);
    }
    return 0;
}
