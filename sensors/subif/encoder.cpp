/* Subinterface counters message, GPB and JSON. Both encodings follow the nesting interfaces →
 * interface (by name) → subinterfaces → subinterface (by index) → state → counters. GPB writes one
 * interface entry per record; JSON groups adjacent records of the same main interface. */
#include <array>
#include <cstring>
#include <utility>

#include "encoding/batch.h"
#include "encoding/gpb.h"
#include "sensors/subif/subif.h"

namespace {

#define SUBIF_U64(no, member, json) GpbField{no, GpbValue::U64, offsetof(L2subifData, member), 0, json}
#define SUBIF_U32(no, member) GpbField{no, GpbValue::U32, offsetof(L2subifData, member), 0, nullptr}
#define SUBIF_TEXT(no, member, json)                                                                             \
    GpbField{no, GpbValue::Text, offsetof(L2subifData, member), sizeof(L2subifData::member), json}

/* Node fields of the levels. */
constexpr uint32_t kFieldInterface = 1;     /* top level */
constexpr uint32_t kFieldSubinterfaces = 5; /* in interface */
constexpr uint32_t kFieldSubinterface = 1;  /* in subinterfaces */
constexpr uint32_t kFieldState = 3;         /* in subinterface */
constexpr uint32_t kFieldCounters = 2;      /* in state */

/* Interface entry: the name, then the subinterfaces node. */
constexpr GpbField kInterfaceHead[] = {SUBIF_TEXT(3, ifName, "name")};
/* Subinterface: the index, then the state node. */
constexpr GpbField kSubinterfaceHead[] = {SUBIF_U32(2, subifIndex)};
/* State: field 6 with the subinterface number, the counters node, then the rest of the state. */
constexpr GpbField kStateHead[] = {SUBIF_U32(6, subifIndex)};
constexpr GpbField kStateTail[] = {
    SUBIF_TEXT(3, description, nullptr), SUBIF_U32(4, enabled), SUBIF_U32(5, stateIfIndex),
    SUBIF_U32(6, stateIndex),            SUBIF_U32(7, lastChange), SUBIF_TEXT(8, stateName, nullptr),
    SUBIF_U32(9, operStatus),
};

/* Counters in field order (the alphabetical order of the leaf names). */
constexpr GpbField kCounters[] = {
    SUBIF_U64(1, carrierTransitions, "carrier-transitions"),
    SUBIF_U64(2, inBroadcastPkts, "in-broadcast-pkts"),
    SUBIF_U64(3, inDiscards, "in-discards"),
    SUBIF_U64(4, inErrors, "in-errors"),
    SUBIF_U64(5, inFcsErrors, "in-fcs-errors"),
    SUBIF_U64(6, inMulticastPkts, "in-multicast-pkts"),
    SUBIF_U64(7, inOctets, "in-octets"),
    SUBIF_U64(8, inUnicastPkts, "in-unicast-pkts"),
    SUBIF_U64(9, inUnknownProtos, "in-unknown-protos"),
    SUBIF_U64(10, lastClear, "last-clear"),
    SUBIF_U64(11, outBroadcastPkts, "out-broadcast-pkts"),
    SUBIF_U64(12, outDiscards, "out-discards"),
    SUBIF_U64(13, outErrors, "out-errors"),
    SUBIF_U64(14, outMulticastPkts, "out-multicast-pkts"),
    SUBIF_U64(15, outOctets, "out-octets"),
    SUBIF_U64(16, outUnicastPkts, "out-unicast-pkts"),
};
constexpr uint32_t kCounterCount = sizeof(kCounters) / sizeof(kCounters[0]);

/* The JSON document lists the same counters in another order, here by field number: the eight
 * "in-" ones, then the others. */
constexpr uint32_t kJsonCounterOrder[kCounterCount] = {7, 8, 2, 6, 3, 4, 9, 5, 15, 16, 11, 14, 12, 13, 1, 10};

constexpr bool CountersNumberedInOrder()
{
    for (uint32_t i = 0; i < kCounterCount; ++i) {
        if (kCounters[i].number != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(CountersNumberedInOrder(), "the counter of field n is row n - 1");

template <size_t... I> constexpr std::array<GpbField, kCounterCount> JsonCounters(std::index_sequence<I...>)
{
    return {{kCounters[kJsonCounterOrder[I] - 1]...}};
}
constexpr std::array<GpbField, kCounterCount> kJsonCounters = JsonCounters(std::make_index_sequence<kCounterCount>{});

#undef SUBIF_U64
#undef SUBIF_U32
#undef SUBIF_TEXT

constexpr GpbTable kInterfaceHeadTable = IFM_GpbTable(kInterfaceHead);
constexpr GpbTable kSubinterfaceHeadTable = IFM_GpbTable(kSubinterfaceHead);
constexpr GpbTable kStateHeadTable = IFM_GpbTable(kStateHead);
constexpr GpbTable kStateTailTable = IFM_GpbTable(kStateTail);
/* GPB writes the counters as two tables, fields 1 to 9 and 10 to 16; JSON adds them in two eights. */
constexpr GpbTable kInCountersTable{kCounters, 9};
constexpr GpbTable kOutCountersTable{kCounters + 9, kCounterCount - 9};
constexpr GpbTable kJsonInCountersTable{kJsonCounters.data(), 8};
constexpr GpbTable kJsonOutCountersTable{kJsonCounters.data() + 8, kCounterCount - 8};

constexpr uint32_t kDumpScratch = 128;

/* ---- Sizing: each level stores its content length in the record's L2subifGpbLen ---- */

void IFM_L2subifGpbGetCountersLen(const L2subifData *r, L2subifGpbLen *len)
{
    len->countersLen = IFM_GPB_TableSizeOf<kInCountersTable>(r) + IFM_GPB_TableSizeOf<kOutCountersTable>(r);
}

void IFM_L2subifGpbGetStateLen(const L2subifData *r, L2subifGpbLen *len)
{
    IFM_L2subifGpbGetCountersLen(r, len);
    len->stateLen = IFM_GPB_TableSizeOf<kStateHeadTable>(r) +
                    IFM_GPB_GetEncodingSizeOfNodeType(kFieldCounters, len->countersLen) +
                    IFM_GPB_TableSizeOf<kStateTailTable>(r);
}

void IFM_L2subifGpbSubInterfaceLen(const L2subifData *r, L2subifGpbLen *len)
{
    IFM_L2subifGpbGetStateLen(r, len);
    len->subinterfaceLen =
        IFM_GPB_TableSizeOf<kSubinterfaceHeadTable>(r) + IFM_GPB_GetEncodingSizeOfNodeType(kFieldState, len->stateLen);
}

void IFM_L2subifGpbSubInterfacesLen(const L2subifData *r, L2subifGpbLen *len)
{
    IFM_L2subifGpbSubInterfaceLen(r, len);
    len->subinterfacesLen = IFM_GPB_GetEncodingSizeOfNodeType(kFieldSubinterface, len->subinterfaceLen);
}

void IFM_L2subifGpbInterfaceLen(const L2subifData *r, L2subifGpbLen *len)
{
    IFM_L2subifGpbSubInterfacesLen(r, len);
    len->interfaceLen = IFM_GPB_TableSizeOf<kInterfaceHeadTable>(r) +
                        IFM_GPB_GetEncodingSizeOfNodeType(kFieldSubinterfaces, len->subinterfacesLen);
    len->entryTotal = IFM_GPB_GetEncodingSizeOfNodeType(kFieldInterface, len->interfaceLen);
}

/* ---- Writing: an encap writes a level's node header, its table writes the level's fields ---- */

uint32_t IFM_L2subifEncodingCountersTable(const L2subifData *r, uint8_t **cursor, uint32_t *remain)
{
    /* The fields 1 to 9, then 10 to 16. */
    if (IFM_GPB_TableWriteOf<kInCountersTable>(r, cursor, remain) != 0 ||
        IFM_GPB_TableWriteOf<kOutCountersTable>(r, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif counters error.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncapCountersDataGpb(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                         uint32_t *remain)
{
    if (!IFM_GPB_PutNode(cursor, remain, kFieldCounters, len->countersLen) ||
        IFM_L2subifEncodingCountersTable(r, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding counters data_gpb error.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncodingStateTable(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                       uint32_t *remain)
{
    if (IFM_GPB_TableWriteOf<kStateHeadTable>(r, cursor, remain) != 0 ||
        IFM_L2subifEncapCountersDataGpb(r, len, cursor, remain) != 0 ||
        IFM_GPB_TableWriteOf<kStateTailTable>(r, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif state table error.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncapStateDataGpb(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                      uint32_t *remain)
{
    if (!IFM_GPB_PutNode(cursor, remain, kFieldState, len->stateLen) ||
        IFM_L2subifEncodingStateTable(r, len, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif state error.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncodingSubInterfaceTable(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                              uint32_t *remain)
{
    if (IFM_GPB_TableWriteOf<kSubinterfaceHeadTable>(r, cursor, remain) != 0 ||
        IFM_L2subifEncapStateDataGpb(r, len, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFM_L2subifEncodingSubInterfaceTable err.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncapSubInterfaceDataGpb(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                             uint32_t *remain)
{
    if (!IFM_GPB_PutNode(cursor, remain, kFieldSubinterface, len->subinterfaceLen) ||
        IFM_L2subifEncodingSubInterfaceTable(r, len, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif subinterface error.");
        return 1;
    }
    return 0;
}

/* The subinterfaces level holds just the one subinterface node. */
uint32_t IFM_L2subifEncodingSubInterfacesTable(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                               uint32_t *remain)
{
    return IFM_L2subifEncapSubInterfaceDataGpb(r, len, cursor, remain);
}

uint32_t IFM_L2subifEncapSubInterfacesDataGpb(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                              uint32_t *remain)
{
    if (!IFM_GPB_PutNode(cursor, remain, kFieldSubinterfaces, len->subinterfacesLen) ||
        IFM_L2subifEncodingSubInterfacesTable(r, len, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif subinterfaces error.");
        return 1;
    }
    return 0;
}

uint32_t IFM_L2subifEncodingInterfaceTable(const L2subifData *r, const L2subifGpbLen *len, uint8_t **cursor,
                                           uint32_t *remain)
{
    if (IFM_GPB_TableWriteOf<kInterfaceHeadTable>(r, cursor, remain) != 0 ||
        IFM_L2subifEncapSubInterfacesDataGpb(r, len, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding interface error.");
        return 1;
    }
    return 0;
}

/* ---- JSON ---- */

/* The "interfaces" object and its "interface" array; 1 when either cannot be created. */
uint32_t IFM_L2subifEncodeJsonRoot(cJSON *root, cJSON **interfaceArray)
{
    cJSON *interfaces = IFM_JSON_ObjectAddObject(root, "interfaces");
    if (interfaces == nullptr) {
        return 1;
    }
    *interfaceArray = IFM_JSON_ObjectAddArray(interfaces, "interface");
    return *interfaceArray == nullptr ? 1 : 0;
}

/* Creates the `n` empty objects of one level; on failure none is left behind. */
uint32_t IFM_L2subifEncodeAllocNode(cJSON **nodes, uint32_t n)
{
    for (uint32_t i = 0; i < n; ++i) {
        nodes[i] = IFM_JSON_AllocObject();
        if (nodes[i] == nullptr) {
            for (uint32_t j = 0; j < i; ++j) {
                IFM_JSON_NodeFree(nodes[j]);
                nodes[j] = nullptr;
            }
            return 1;
        }
    }
    return 0;
}

uint32_t IFM_L2subifEncodeJsonInstat(cJSON *counters, const L2subifData *r)
{
    return IFM_JSON_TableAdd(counters, kJsonInCountersTable, r) != 0 ? 0 : 1;
}

uint32_t IFM_L2subifEncodeJsonOutstat(cJSON *counters, const L2subifData *r)
{
    if (IFM_JSON_TableAdd(counters, kJsonOutCountersTable, r) == 0) {
        return 1;
    }
    MDTLM_WriteLog(IFM_LOG_INFO, "Add json out stat success");
    return 0;
}

uint32_t IFM_L2subifEncodeJsonstat(cJSON *counters, const L2subifData *r)
{
    if (IFM_L2subifEncodeJsonInstat(counters, r) != 0) {
        return 1;
    }
    return IFM_L2subifEncodeJsonOutstat(counters, r);
}

/* Opens a new element of the "interface" array for `r`; its "subinterface" array goes to
 * *subinterfaceArray. The element belongs to the tree as soon as it is appended. */
uint32_t IFM_L2subifJsonOpenInterface(cJSON *interfaceArray, const L2subifData *r, cJSON **subinterfaceArray)
{
    cJSON *nodes[2] = {}; /* the interface element, its "subinterfaces" object */
    if (IFM_L2subifEncodeAllocNode(nodes, 2) != 0) {
        return 1;
    }
    if (!IFM_JSON_AddItemToArray(interfaceArray, nodes[0])) {
        IFM_JSON_NodeFree(nodes[0]);
        IFM_JSON_NodeFree(nodes[1]);
        return 1;
    }
    if (IFM_JSON_TableAdd(nodes[0], kInterfaceHeadTable, r) == 0 ||
        !IFM_JSON_AddItemToObject(nodes[0], "subinterfaces", nodes[1])) {
        IFM_JSON_NodeFree(nodes[1]);
        return 1;
    }
    *subinterfaceArray = IFM_JSON_ObjectAddArray(nodes[1], "subinterface");
    return *subinterfaceArray == nullptr ? 1 : 0;
}

/* Appends the subinterface element of `r` with its state and counters. */
uint32_t IFM_L2subifJsonAddSubinterface(cJSON *subinterfaceArray, const L2subifData *r)
{
    cJSON *nodes[3] = {}; /* subinterface element, "state", "counters" */
    if (IFM_L2subifEncodeAllocNode(nodes, 3) != 0) {
        return 1;
    }
    if (!IFM_JSON_AddItemToArray(subinterfaceArray, nodes[0])) {
        for (cJSON *n : nodes) {
            IFM_JSON_NodeFree(n);
        }
        return 1;
    }
    if (IFM_JSON_ObjectAddNumber(nodes[0], "index", r->subifIndex) == nullptr ||
        !IFM_JSON_AddItemToObject(nodes[0], "state", nodes[1])) {
        IFM_JSON_NodeFree(nodes[1]);
        IFM_JSON_NodeFree(nodes[2]);
        return 1;
    }
    if (IFM_JSON_ObjectAddNumber(nodes[1], "index", r->subifIndex) == nullptr ||
        !IFM_JSON_AddItemToObject(nodes[1], "counters", nodes[2])) {
        IFM_JSON_NodeFree(nodes[2]);
        return 1;
    }
    return IFM_L2subifEncodeJsonstat(nodes[2], r);
}

/* A total over 32 bits gets no buffer: it is logged as a failed allocation. */
constexpr GpbBatchLogs kGpbLogs = {
    "[IFM_L2subifEncodeGpb]encode gpb enter.",
    "[IFM_L2subifEncodeGpb]encode gpb, get len failed, bufferlen is 0.",
    "[IFM_L2subifEncodeGpb]fieldLen MemAlloc failed.",
    "[IFM_L2subifEncodeGpb]encode gpb, malloc failed.",
    "[IFM_L2subifEncodeGpb]encode gpb, malloc failed.",
    "[IFM_L2subifEncodeGpb]encode gpb, encode failed, ret:%u.",
};

} // namespace

uint32_t IFM_GetL2subifEncodeLen(const L2subifData *records, uint32_t count, L2subifGpbLen *lens)
{
    if (records == nullptr || lens == nullptr || count == 0) {
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i) {
        IFM_L2subifGpbInterfaceLen(&records[i], &lens[i]);
    }
    MDTLM_WriteLog(IFM_LOG_INFO, "gpb data buf len = %d", static_cast<int>(lens[0].entryTotal));
    return 0;
}

uint32_t IFM_L2subifEncapInterfaceDataGpb(const L2subifData *records, uint32_t count, const L2subifGpbLen *lens,
                                          uint8_t **cursor, uint32_t *remain)
{
    if (records == nullptr || lens == nullptr || cursor == nullptr || *cursor == nullptr || remain == nullptr) {
        return 1;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (!IFM_GPB_PutNode(cursor, remain, kFieldInterface, lens[i].interfaceLen) ||
            IFM_L2subifEncodingInterfaceTable(&records[i], &lens[i], cursor, remain) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding l2subif interface error, datalen=%u", lens[0].interfaceLen);
            return 1;
        }
    }
    return 0;
}

uint32_t IFM_L2subifEncodeGpb(const L2subifData *records, uint32_t count, uint8_t **msg, uint32_t *length)
{
    const uint32_t ret = IFM_GPB_EncodeBatch<L2subifGpbLen, &L2subifGpbLen::entryTotal>(
        kGpbLogs, records, count, msg, length, IFM_GetL2subifEncodeLen, IFM_L2subifEncapInterfaceDataGpb);
    if (ret == 0) {
        FEI_DOP_DumpPktInfo(*msg, *length);
    }
    return ret;
}

uint32_t IFM_L2subifEncodeJson(const L2subifData *records, uint32_t count, uint8_t **msg, uint32_t *length)
{
    if (records == nullptr || msg == nullptr || length == nullptr) {
        return 1;
    }
    cJSON *root = IFM_JSON_AllocObject();
    if (root == nullptr) {
        return 1;
    }
    cJSON *interfaceArray = nullptr;
    if (IFM_L2subifEncodeJsonRoot(root, &interfaceArray) != 0) {
        IFM_JSON_NodeFree(root);
        return 1;
    }

    /* Adjacent records of one main interface share its element. The first record always opens
     * one, also when its name is empty. */
    char prevName[IFM_IF_NAME_LEN] = {};
    cJSON *subinterfaceArray = nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        const L2subifData *r = &records[i];
        bool fail = false;
        if (subinterfaceArray == nullptr || strncmp(r->ifName, prevName, sizeof(prevName)) != 0) {
            fail = IFM_L2subifJsonOpenInterface(interfaceArray, r, &subinterfaceArray) != 0;
        }
        fail = fail || IFM_L2subifJsonAddSubinterface(subinterfaceArray, r) != 0 ||
               strcpy_s(prevName, sizeof(prevName), r->ifName) != 0;
        if (fail) {
            IFM_JSON_NodeFree(root);
            return 1;
        }
    }

    return IFM_JSON_HandOut(root, msg, length);
}

uint32_t IFM_L2subifEncodeProc(const L2subifData *records, uint32_t count, uint32_t encodeType, uint8_t **msg,
                               uint32_t *length)
{
    uint8_t *out = nullptr;
    uint32_t outLen = 0;
    uint32_t ret = encodeType == 0 ? IFM_L2subifEncodeGpb(records, count, &out, &outLen)
                                   : IFM_L2subifEncodeJson(records, count, &out, &outLen);
    if (ret != 0) {
        out = nullptr;
        outLen = 0;
    }
    if (msg != nullptr) {
        *msg = out;
    } else {
        MDTLM_FreeBuff(out);
    }
    if (length != nullptr) {
        *length = outLen;
    }
    return ret;
}

void FEI_DOP_DumpPktInfo(const uint8_t *msg, uint32_t length)
{
    uint8_t scratch[kDumpScratch] = {};
    uint32_t n = length < kDumpScratch ? length : kDumpScratch;
    if (memcpy_s(scratch, sizeof(scratch), msg, n) != 0) {
        MDTLM_WriteLog(IFM_LOG_INFO, "\r\n [DUMP PKT INFO]: Failed to operate the string.\r\n");
    }
}
