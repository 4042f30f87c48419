/* The batch loop shared by the sensor procedures: rows are turned into records 5000 at a time, so
 * that one record array never holds more than 5000 records whatever the number of rows. */
#include "core/frm_buffer.h"
#include "core/upload.h"

uint32_t IFM_BatchTlmProc(IfmTaskRound *round, const void *rows, uint32_t count, uint32_t type,
                          const IfmBatchTraits &traits)
{
    if ((traits.roundRequired && round == nullptr) || rows == nullptr || count == 0) {
        if (traits.badArgsMsg != nullptr) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "%s", traits.badArgsMsg);
        }
        return 1;
    }
    if (traits.build == nullptr || traits.rowSize == 0 || traits.recordSize == 0) {
        return 1;
    }

    const uint8_t *base = static_cast<const uint8_t *>(rows);
    uint32_t lastKept = 0; /* records kept by the last successful batch */
    for (uint32_t start = 0, n = 0; start < count; start += n) {
        n = count - start < IFM_BATCH_ROWS ? count - start : IFM_BATCH_ROWS;
        FrmBuffer records(static_cast<uint64_t>(n) * traits.recordSize);
        if (!records) {
            if (traits.allocFailedMsg != nullptr) {
                MDTLM_WriteLog(IFM_LOG_ERROR, "%s", traits.allocFailedMsg);
            }
            return 1;
        }

        uint32_t kept = 0;
        const uint8_t *first = base + static_cast<size_t>(start) * traits.rowSize;
        uint32_t rc = traits.build(round, first, n, records.get(), &kept, type);
        if (rc != 0) {
            records.reset();
            if (traits.buildFailedMsg != nullptr) {
                MDTLM_WriteLog(IFM_LOG_ERROR, traits.buildFailedMsg, rc, lastKept);
            }
            return rc;
        }
        /* Never hand on more records than the array holds. */
        kept = kept > n ? n : kept;
        lastKept = kept;

        if (traits.send != nullptr) {
            rc = traits.send(round, records.get(), kept, type);
            if (rc != 0 && traits.sendFailedMsg != nullptr) {
                MDTLM_WriteLog(IFM_LOG_ERROR, traits.sendFailedMsg, rc, kept);
            }
        }
    }
    return 0;
}
