/* Sampling rounds: each sensor's round runs one step per statistics type; a step lists the rows of
 * its type and hands them to the sensor's procedure. */
#include "core/frm_buffer.h"
#include "runtime/runtime.h"
#include "sensors/ipstat/ipstat.h"
#include "sensors/mibstat/mibstat.h"
#include "sensors/subif/subif.h"
#include "store/store.h"

namespace {

/* if_statistics row type of each statistics type; 7, 8 and 9 have none (bits clear in the mask). */
const uint32_t kTlmType2DbType[TLM_TYPE_COUNT] = {
    0x1,      /* 0  subinterface counters */
    0x10,     /* 1  ip-statistics */
    0x100,    /* 2  ip-statistics */
    0x1000,   /* 3  ip-statistics */
    0x100000, /* 4  ip-statistics */
    0x100,    /* 5  mib-statistics */
    0x1000,   /* 6  mib-statistics */
    0,        /* 7  mib-statistics, physical ports */
    0,        /* 8  mib-statistics, trunks */
    0,        /* 9  common-statistics, physical ports */
    0x100,    /* 10 common-statistics */
    0x1,      /* 11 common-statistics */
    0x1000,   /* 12 common-statistics */
    0x10000,  /* 13 common-statistics */
    0x100000, /* 14 common-statistics, trunks */
};
constexpr uint32_t kValidTypeMask = 0x7C7F;

} // namespace

uint32_t IFM_ConvertTlmType2DBType(const uint32_t *type)
{
    if (type == nullptr) {
        return 0;
    }
    if (*type < TLM_TYPE_COUNT && ((kValidTypeMask >> *type) & 1u) != 0) {
        return kTlmType2DbType[*type];
    }
    MDTLM_WriteLog(IFM_LOG_ERROR, "[IFM_ConvertTlmType2DBType]unkown type=%u", *type);
    return 0;
}

uint32_t IFM_StatTlmProc(IfmTaskRound *round, IfStatBaseInfo *records, uint32_t count, uint32_t type)
{
    switch (type) {
    case TLM_TYPE_SUBIF:
        return IFMPlugin_MDTLM_L2subifTlmProc(round, records, count);
    case TLM_TYPE_IPSTAT_1:
    case TLM_TYPE_IPSTAT_2:
    case TLM_TYPE_IPSTAT_3:
    case TLM_TYPE_IPSTAT_4:
        return IFMPlugin_MDTLM_IfStatTlmProc(round, records, count);
    case TLM_TYPE_MIB_IF_1:
    case TLM_TYPE_MIB_IF_2:
    case TLM_TYPE_COMMON_IF_1:
    case TLM_TYPE_COMMON_IF_2:
    case TLM_TYPE_COMMON_IF_3:
    case TLM_TYPE_COMMON_IF_4:
    case TLM_TYPE_COMMON_TRUNK:
        return IFMPlugin_MDTLM_MibIfStatTlmProc(round, records, count, type);
    default:
        return 1;
    }
}

uint32_t IFM_IfmPortStatTlmProc(IfmTaskRound *round, IfmPortStatBaseInfo *records, uint32_t count, uint32_t type)
{
    switch (type) {
    case TLM_TYPE_MIB_PORT:
    case TLM_TYPE_MIB_TRUNK:
    case TLM_TYPE_COMMON_PORT:
    case TLM_TYPE_COMMON_TRUNK:
        return IFMPlugin_MDTLM_MibIfmPortStatTlmProc(round, records, count, type);
    default:
        return 1;
    }
}

uint32_t IFM_IfStatYangTaskProc(IfmTaskRound *round, uint32_t type)
{
    const uint32_t storeType = IFM_ConvertTlmType2DBType(&type);
    uint32_t count = 0;
    uint32_t rc = IFMPlugin_MDTLM_GetIfStatCountByType(&count, storeType);
    if (count == 0) {
        return rc;
    }

    FrmBuffer buffer(static_cast<uint64_t>(count) * sizeof(IfStatBaseInfo));
    if (!buffer) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFM_IfStatYangTaskProc]if_statistics baseinfo memory alloc failed.");
        return 1;
    }
    IfStatBaseInfo *records = buffer.as<IfStatBaseInfo>();
    rc = IFMPlugin_MDTLM_GetIfStatBaseInfoByType(records, storeType, count);
    if (rc != 0) {
        buffer.reset();
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFM_IfStatYangTaskProc]IFMPlugin_MDTLM_GetIfStatBaseInfoByType failed");
        return rc;
    }
    /* Rows the listing did not fill stay zero and are handed on with the full count. */
    rc = IFM_StatTlmProc(round, records, count, type);
    buffer.reset();
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFM_StatTlmProc failed, type:%u", type);
    }
    return rc;
}

uint32_t IFM_IfmPortStatYangTaskProc(IfmTaskRound *round, uint32_t type)
{
    uint32_t count = 0;
    uint32_t rc = IFMPlugin_MDTLM_GetIfmPortStatCount(&count, type);
    if (count == 0) {
        return rc;
    }

    FrmBuffer buffer(static_cast<uint64_t>(count) * sizeof(IfmPortStatBaseInfo));
    if (!buffer) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifm_port_statistics baseinfo memory alloc failed.");
        return 1;
    }
    IfmPortStatBaseInfo *records = buffer.as<IfmPortStatBaseInfo>();
    rc = IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(records, count, type);
    if (rc != 0) {
        buffer.reset();
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFMPlugin_MDTLM_GetIfmPortStatBaseInfo failed");
        return rc;
    }
    rc = IFM_IfmPortStatTlmProc(round, records, count, type);
    buffer.reset();
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFMPlugin_MDTLM_MibIfmPortStatTlmProc failed");
    }
    return rc;
}

/* ---- Round procedures: the steps of each sensor, in order; a failed step does not stop the next. */

uint32_t IFMPlugin_MDTLM_L2SubifStatTaskDiffProc(IfmTaskRound *round)
{
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_SUBIF);
    return 0;
}

uint32_t IFMPlugin_MDTLM_IfStatTaskDiffProc(IfmTaskRound *round)
{
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_IPSTAT_1);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_IPSTAT_2);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_IPSTAT_3);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_IPSTAT_4);
    return 0;
}

uint32_t IFMPlugin_MDTLM_MibIfStatTaskDiffProc(IfmTaskRound *round)
{
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_MIB_IF_1);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_MIB_IF_2);
    (void)IFM_IfmPortStatYangTaskProc(round, TLM_TYPE_MIB_PORT);
    (void)IFM_IfmPortStatYangTaskProc(round, TLM_TYPE_MIB_TRUNK);
    return 0;
}

uint32_t IFMPlugin_MDTLM_CommonIfStatTaskDiffProc(IfmTaskRound *round)
{
    (void)IFM_IfmPortStatYangTaskProc(round, TLM_TYPE_COMMON_PORT);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_COMMON_IF_1);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_COMMON_IF_2);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_COMMON_IF_3);
    (void)IFM_IfStatYangTaskProc(round, TLM_TYPE_COMMON_IF_4);
    (void)IFM_IfmPortStatYangTaskProc(round, TLM_TYPE_COMMON_TRUNK);
    return 0;
}
