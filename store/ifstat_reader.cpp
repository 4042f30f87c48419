/* Interface statistics reader: reads an if_statistics row's snapshot ring (steps 0-3) and rate
 * step (step 4) into an IfStatiData record, or estimates the counters some seconds before the
 * latest snapshot from the latest snapshot and the rates. */
#include "store/db_access.h"

namespace {

using StepGetter = uint32_t (*)(void *, uint64_t *);

/* One step column: its accessor, the record field it fills and the label of its failure. */
struct StepColumn {
    StepGetter get;
    uint64_t IfStatiData::*field;
    const char *label;
};

/* Columns of the current read, in the order they are read. */
constexpr StepColumn kCurrentColumns[] = {
    {db_get_if_statistics_steps_ipv4_in_packets, &IfStatiData::ipv4InPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv4_in_packets"},
    {db_get_if_statistics_steps_ipv4_out_packets, &IfStatiData::ipv4OutPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv4_out_packets"},
    {db_get_if_statistics_steps_in_bytes, &IfStatiData::inBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_in_bytes"},
    {db_get_if_statistics_steps_out_bytes, &IfStatiData::outBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_out_bytes"},
    {db_get_if_statistics_steps_in_packets, &IfStatiData::inPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_in_packets"},
    {db_get_if_statistics_steps_out_packets, &IfStatiData::outPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_out_packets"},
    {db_get_if_statistics_steps_ipv6_in_bytes, &IfStatiData::ipv6InBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv6_in_bytes"},
    {db_get_if_statistics_steps_ipv6_out_bytes, &IfStatiData::ipv6OutBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv6_out_bytes"},
    {db_get_if_statistics_steps_ipv6_in_packets, &IfStatiData::ipv6InPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv6_in_packets"},
    {db_get_if_statistics_steps_ipv6_out_packets, &IfStatiData::ipv6OutPackets,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv6_out_packets"},
    {db_get_if_statistics_steps_ipv4_in_bytes, &IfStatiData::ipv4InBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv4_in_bytes"},
    {db_get_if_statistics_steps_ipv4_out_bytes, &IfStatiData::ipv4OutBytes,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv4_out_bytes"},
    {db_get_if_statistics_steps_timestamp_coll_cur, &IfStatiData::timestampCollCur,
     "IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_timestamp_coll_cur"},
};

#define IFM_IVL "[IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex]"

/* Columns of a read of one given step (interval read and estimate), in the order they are read;
 * the timestamp is not part of it. */
constexpr StepColumn kIntervalColumns[] = {
    {db_get_if_statistics_steps_in_bytes, &IfStatiData::inBytes, IFM_IVL ": db_get_if_statistics_steps_in_bytes"},
    {db_get_if_statistics_steps_out_bytes, &IfStatiData::outBytes, IFM_IVL ": db_get_if_statistics_steps_out_bytes"},
    {db_get_if_statistics_steps_in_packets, &IfStatiData::inPackets,
     IFM_IVL " db_get_if_statistics_steps_in_packets: "},
    {db_get_if_statistics_steps_out_packets, &IfStatiData::outPackets,
     IFM_IVL ": db_get_if_statistics_steps_out_packets"},
    {db_get_if_statistics_steps_ipv4_in_bytes, &IfStatiData::ipv4InBytes,
     IFM_IVL ": db_get_if_statistics_steps_ipv4_in_bytes"},
    {db_get_if_statistics_steps_ipv4_out_bytes, &IfStatiData::ipv4OutBytes,
     IFM_IVL ": db_get_if_statistics_steps_ipv4_out_bytes"},
    {db_get_if_statistics_steps_ipv4_in_packets, &IfStatiData::ipv4InPackets,
     IFM_IVL ": db_get_if_statistics_steps_ipv4_in_packets"},
    {db_get_if_statistics_steps_ipv4_out_packets, &IfStatiData::ipv4OutPackets,
     IFM_IVL ": db_get_if_statistics_steps_ipv4_out_packets"},
    {db_get_if_statistics_steps_ipv6_in_bytes, &IfStatiData::ipv6InBytes,
     IFM_IVL ": db_get_if_statistics_steps_ipv6_in_bytes"},
    {db_get_if_statistics_steps_ipv6_out_bytes, &IfStatiData::ipv6OutBytes,
     IFM_IVL ": db_get_if_statistics_steps_ipv6_out_bytes"},
    {db_get_if_statistics_steps_ipv6_in_packets, &IfStatiData::ipv6InPackets,
     IFM_IVL ": db_get_if_statistics_steps_ipv6_in_packets"},
    {db_get_if_statistics_steps_ipv6_out_packets, &IfStatiData::ipv6OutPackets,
     IFM_IVL ": db_get_if_statistics_steps_ipv6_out_packets"},
};

/* The twelve counters, the fields the estimate works on. */
constexpr uint64_t IfStatiData::*kCounters[] = {
    &IfStatiData::inBytes,       &IfStatiData::outBytes,       &IfStatiData::inPackets,
    &IfStatiData::outPackets,    &IfStatiData::ipv4InBytes,    &IfStatiData::ipv4OutBytes,
    &IfStatiData::ipv4InPackets, &IfStatiData::ipv4OutPackets, &IfStatiData::ipv6InPackets,
    &IfStatiData::ipv6OutPackets, &IfStatiData::ipv6InBytes,   &IfStatiData::ipv6OutBytes,
};

constexpr uint32_t kRateStep = 4;
constexpr uint32_t kRingMask = 3; /* ring of four snapshots */

template <size_t N> uint32_t ReadColumns(const StepColumn (&columns)[N], void *steps, IfStatiData *data)
{
    for (const StepColumn &c : columns) {
        const uint32_t rc = c.get(steps, &(data->*c.field));
        if (!IFM_DbOk(rc)) {
            IFM_LogDbError(c.label, rc);
            return rc;
        }
    }
    return 0;
}

/* Creates the row object and reads the row of ifIndex. A missing row gives 15005 without a log
 * line; every other failure is logged with the caller's labels. */
uint32_t ReadIfStatRow(IfStatisticsObj &obj, uint32_t ifIndex, const char *createLabel, const char *readLabel)
{
    uint32_t rc = db_create_if_statistics_obj(DB_MODE_KEYED, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(createLabel, rc);
        return rc;
    }
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
    rc = db_read_obj(obj.get(), &opts, &ifIndex);
    if (rc == DB_NO_RECORD) {
        return rc;
    }
    if (rc != DB_OK) {
        IFM_LogDbError(readLabel, rc);
        return rc;
    }
    return 0;
}

} // namespace

uint32_t IFMPlugin_ReadIfStatiByIfIndex(IfStatiData *data)
{
    if (data == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFM_ReadIfStatiByIfIndex]Null pointer pstIfData.");
        return 1;
    }
    IfStatisticsObj obj;
    uint32_t rc = ReadIfStatRow(obj, data->ifIndex, "[IFM_ReadIfStatiByIfIndex]db_create_if_statistics_object",
                                "[IFM_ReadIfStatiByIfIndex]read object");
    if (rc != 0) {
        return rc;
    }
    rc = IFMPlugin_ReadIfStatiFromObj(obj.get(), data);
    if (rc != 0) {
        IFM_LogDbError("[IFM_ReadIfStatiByIfIndex]IFM_ReadIfStatiFromObj", rc);
        return rc;
    }
    return 0;
}

uint32_t IFMPlugin_ReadIfStatiFromObj(void *object, IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    uint32_t rc = 0;
    if (!IFM_DbReadField(db_get_if_statistics_ifindex, object, &data->ifIndex,
                         "[IFM_ReadIfStatiFromObj]db_get_if_statistics_ifindex", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_interval_index, object, &data->intervalIndex,
                         "[IFM_ReadIfStatiFromObj]db_get_if_statistics_interval_index", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_statistics_enable, object, &data->statisticsEnable,
                         "[IFM_ReadIfStatiFromObj]db_get_if_statistics_statistics_enable", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_vlanid, object, &data->vlanId,
                         "[IFM_ReadIfStatiFromObj]db_get_if_statistics_vlanid", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_tunnelid, object, &data->tunnelId,
                         "[IFM_ReadIfStatiFromObj]db_get_if_statistics_tunnelid", &rc)) {
        return rc;
    }
    void *steps = nullptr;
    rc = db_create_child_node(object, 0, "steps", 0, 0, &steps);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFM_ReadIfStatiFromObj]db_create_child", rc);
        return rc;
    }
    uint32_t step = 0;
    if (IFMPlugin_IsNeededContinueQueryStatDB(data, &step) == 0) {
        return 0;
    }
    rc = db_child_get(steps, step);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFM_ReadIfStatiFromObj]db_child_get", rc);
        return rc;
    }
    rc = IFMPlugin_ReadIfStatiFromObj_Helper(steps, data);
    if (rc != 0) {
        IFM_LogDbError("[IFM_ReadIfStatiFromObj]IFMPlugin_ReadIfStatiFromObj_Helper", rc);
        return rc;
    }
    return 0;
}

uint32_t IFMPlugin_ReadIfStatiFromObj_Helper(void *steps, IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    return ReadColumns(kCurrentColumns, steps, data);
}

uint32_t IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    uint32_t step = 0;
    if (IFMPlugin_IsNeededContinueQueryStatDB(data, &step) == 0) {
        return 0;
    }
    return IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex(data->ifIndex, step, data);
}

uint32_t IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex(uint32_t ifIndex, uint32_t step, IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    IfStatisticsObj obj;
    uint32_t rc = ReadIfStatRow(obj, ifIndex, IFM_IVL "db_create_if_statistics_object", IFM_IVL "read object");
    if (rc != 0) {
        return rc;
    }
    rc = db_get_if_statistics_vlanid(obj.get(), &data->vlanId);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(IFM_IVL "db_get_if_statistics_vlanid", rc);
        return rc;
    }
    void *steps = nullptr;
    rc = db_create_child_node(obj.get(), 0, "steps", 0, 0, &steps);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(IFM_IVL "db_create_child", rc);
        return rc;
    }
    rc = db_child_get(steps, step);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(IFM_IVL "db_child_get", rc);
        return rc;
    }
    rc = IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex_Helper(steps, data);
    if (rc != 0) {
        IFM_LogDbError(IFM_IVL " Helper", rc);
        return rc;
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex_Helper(void *steps, IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    return ReadColumns(kIntervalColumns, steps, data);
}

/* Step selector: 0/-1 latest, -2 rate step, -3 step i itself, -4 the snapshot before the latest;
 * any other value is a number of seconds back and is answered by the estimate. */
uint32_t IFMPlugin_IsNeededContinueQueryStatDB(IfStatiData *data, uint32_t *step)
{
    if (data == nullptr || step == nullptr) {
        return 0;
    }
    const uint32_t i = data->intervalIndex;
    switch (static_cast<int32_t>(data->flowStatInterval)) {
        case 0:
        case -1:
            *step = (i - 1u) & kRingMask;
            return 1;
        case -2:
            *step = kRateStep;
            return 1;
        case -3:
            *step = i;
            return 1;
        case -4:
            *step = (i + 2u) & kRingMask;
            return 1;
        default:
            /* A failed estimate leaves the record as it was; nothing more is read either way. */
            (void)IFMPlugin_GetIfStatByAvg(data);
            return 0;
    }
}

uint32_t IFMPlugin_GetIfStatByAvg(IfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    IfStatiData latest{};
    IfStatiData rates{};
    uint32_t rc =
        IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex(data->ifIndex, (data->intervalIndex - 1u) & kRingMask, &latest);
    if (rc != 0) {
        return rc;
    }
    rc = IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex(data->ifIndex, kRateStep, &rates);
    if (rc != 0) {
        return rc;
    }
    IFMPlugin_GetIfStatBeforeInterval(&latest, &rates, data);
    return 0;
}

/* counter = latest - rate * s / 1000, never below 0; the estimate has no collection time. */
void IFMPlugin_GetIfStatBeforeInterval(const IfStatiData *latest, const IfStatiData *rates, IfStatiData *data)
{
    if (latest == nullptr || rates == nullptr || data == nullptr) {
        return;
    }
    const uint64_t s = data->flowStatInterval;
    for (uint64_t IfStatiData::*c : kCounters) {
        data->*c = IFM_SatSub(latest->*c, (rates->*c * s) / 1000u);
    }
    data->timestampCollCur = 0;
}

#undef IFM_IVL
