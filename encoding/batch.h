/* Batch drivers shared by the sensor encoders. The GPB driver sizes every record, allocates one
 * buffer of exactly the summed size and has the sensor write into it; the JSON driver builds the
 * {"ifm":{"interfaces":{"interface":[...]}}} document of the ip and mib statistics. The sensor
 * passes its record steps as callables, so each instance compiles to straight code. */
#ifndef ZOR_IFM_BATCH_H
#define ZOR_IFM_BATCH_H

#include <cstdint>

#include "encoding/json.h"
#include "core/frm_buffer.h"
#include "core/upload.h"

/* The log texts of one sensor's GPB driver; all at level 2 except `enter`. */
struct GpbBatchLogs {
    const char *enter;        /* on entry, level 1 */
    const char *noLength;     /* an empty batch or a total of 0 */
    const char *lensFailed;   /* the size table could not be allocated */
    const char *tooLong;      /* the total does not fit in 32 bits */
    const char *allocFailed;  /* the message could not be allocated */
    const char *encodeFailed; /* writing failed; takes the writer's status as its one %u */
};

/* Encodes `count` records as one GPB message in framework memory. size(records, count, lens)
 * fills one Len per record in a zeroed table, whose member Total is the record's share of the
 * message; write(records, count, lens, &cursor, &remain) fills the buffer of exactly the sum.
 * 0 with *out and *outLen set, or 1 (logged) with nothing handed out. */
template <typename Len, uint32_t Len::*Total, typename Record, typename Size, typename Write>
uint32_t IFM_GPB_EncodeBatch(const GpbBatchLogs &logs, const Record *records, uint32_t count, uint8_t **out,
                             uint32_t *outLen, Size size, Write write)
{
    if (records == nullptr || out == nullptr || outLen == nullptr) {
        return 1;
    }
    MDTLM_WriteLog(IFM_LOG_INFO, "%s", logs.enter);
    if (count == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", logs.noLength);
        return 1;
    }
    FrmBuffer lensBuf(static_cast<uint64_t>(count) * sizeof(Len));
    if (!lensBuf) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", logs.lensFailed);
        return 1;
    }
    Len *lens = lensBuf.as<Len>();
    size(records, count, lens);
    uint64_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        total += lens[i].*Total;
    }
    if (total == 0 || total > UINT32_MAX) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", total == 0 ? logs.noLength : logs.tooLong);
        return 1;
    }
    FrmBuffer message(static_cast<uint32_t>(total));
    if (!message) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", logs.allocFailed);
        return 1;
    }
    uint8_t *cursor = message.as<uint8_t>();
    uint32_t remain = message.size();
    const uint32_t ret = write(records, count, lens, &cursor, &remain);
    lensBuf.reset();
    if (ret != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, logs.encodeFailed, ret);
        return 1;
    }
    *outLen = message.size() - remain;
    *out = static_cast<uint8_t *>(message.release());
    MDTLM_WriteLog(IFM_LOG_INFO, "after encode gpb, datalen:%u, filedlen:%u, leftlen:%u.", *outLen,
                   static_cast<uint32_t>(total), remain);
    return 0;
}

/* Encodes `count` records as {"ifm":{"interfaces":{"interface":[...]}}}, one object per record
 * filled by fill(object, record) (false on failure), and hands out the printed text. A failure
 * while building logs "encode ifstat json, encode failed" and frees everything built. */
template <typename Record, typename Fill>
uint32_t IFM_JSON_EncodeIfmInterfaces(const Record *records, uint32_t count, uint8_t **out, uint32_t *outLen,
                                      Fill fill)
{
    if ((records == nullptr && count != 0) || out == nullptr || outLen == nullptr) {
        return 1;
    }
    cJSON *root = IFM_JSON_AllocObject();
    if (root == nullptr) {
        return 1;
    }
    cJSON *ifm = IFM_JSON_ObjectAddObject(root, "ifm");
    cJSON *interfaces = ifm == nullptr ? nullptr : IFM_JSON_ObjectAddObject(ifm, "interfaces");
    cJSON *array = interfaces == nullptr ? nullptr : IFM_JSON_AllocArray();
    cJSON *item = nullptr; /* the record's object until the array owns it */
    uint32_t i = 0;
    for (; array != nullptr && i < count; ++i) {
        item = IFM_JSON_AllocObject();
        if (item == nullptr || !fill(item, records[i]) || !IFM_JSON_AddItemToArray(array, item)) {
            break;
        }
        item = nullptr;
    }
    if (array == nullptr || i != count || !IFM_JSON_AddItemToObject(interfaces, "interface", array)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "encode ifstat json, encode failed");
        IFM_JSON_NodeFree(item);
        IFM_JSON_NodeFree(array);
        IFM_JSON_NodeFree(root);
        return 1;
    }
    return IFM_JSON_HandOut(root, out, outLen);
}

#endif
