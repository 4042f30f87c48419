/* Port statistics reader: reads an ifm_port_statistics row (ten one-second snapshots in steps 0-9,
 * rate step 10, baseline step 12) into a PortIfStatiData record. The sensors' read subtracts the
 * baseline from the selected sample. */
#include "store/db_access.h"

namespace {

using StepGetter = uint32_t (*)(void *, uint64_t *);

struct PortColumn {
    StepGetter get;
    uint64_t PortIfStatiData::*field;
};

/* Step columns in the order they are read: the 22 counters, then the collection time. */
constexpr PortColumn kPortColumns[] = {
    {db_get_ifm_port_statistics_steps_in_bytes, &PortIfStatiData::inBytes},
    {db_get_ifm_port_statistics_steps_out_bytes, &PortIfStatiData::outBytes},
    {db_get_ifm_port_statistics_steps_in_packets, &PortIfStatiData::inPackets},
    {db_get_ifm_port_statistics_steps_out_packets, &PortIfStatiData::outPackets},
    {db_get_ifm_port_statistics_steps_in_errors, &PortIfStatiData::inErrors},
    {db_get_ifm_port_statistics_steps_out_errors, &PortIfStatiData::outErrors},
    {db_get_ifm_port_statistics_steps_in_nuc_packets, &PortIfStatiData::inNucPackets},
    {db_get_ifm_port_statistics_steps_out_nuc_packets, &PortIfStatiData::outNucPackets},
    {db_get_ifm_port_statistics_steps_in_discard_pkts, &PortIfStatiData::inDiscardPkts},
    {db_get_ifm_port_statistics_steps_out_discard_pkts, &PortIfStatiData::outDiscardPkts},
    {db_get_ifm_port_statistics_steps_out_qlen, &PortIfStatiData::outQlen},
    {db_get_ifm_port_statistics_steps_in_hc_octets, &PortIfStatiData::inHcOctets},
    {db_get_ifm_port_statistics_steps_out_hc_octets, &PortIfStatiData::outHcOctets},
    {db_get_ifm_port_statistics_steps_in_bcast_packets, &PortIfStatiData::inBcastPackets},
    {db_get_ifm_port_statistics_steps_out_bcast_packets, &PortIfStatiData::outBcastPackets},
    {db_get_ifm_port_statistics_steps_in_ucast_packets, &PortIfStatiData::inUcastPackets},
    {db_get_ifm_port_statistics_steps_out_ucast_packets, &PortIfStatiData::outUcastPackets},
    {db_get_ifm_port_statistics_steps_in_mcast_packets, &PortIfStatiData::inMcastPackets},
    {db_get_ifm_port_statistics_steps_out_mcast_packets, &PortIfStatiData::outMcastPackets},
    {db_get_ifm_port_statistics_steps_in_crc_errors, &PortIfStatiData::inCrcErrors},
    {db_get_ifm_port_statistics_steps_in_pause_packets, &PortIfStatiData::inPausePackets},
    {db_get_ifm_port_statistics_steps_out_pause_packets, &PortIfStatiData::outPausePackets},
    {db_get_ifm_port_statistics_steps_timestamp_coll_cur, &PortIfStatiData::timestampCollCur},
};
static_assert(sizeof(kPortColumns) / sizeof(kPortColumns[0]) == IFM_PORT_COUNTERS + 1,
              "22 counters and the collection time");

constexpr uint32_t kRingSize = 10;
constexpr uint32_t kRateStep = 10;
constexpr uint32_t kBaselineStep = 12;
constexpr uint64_t kUsPerSecond = 1000000u;

} // namespace

uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(PortIfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    uint32_t rc = IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(data);
    if (rc != 0) {
        return rc;
    }
    PortIfStatiData baseline{};
    baseline.ifIndex = data->ifIndex;
    baseline.flowStatInterval = IFM_PORT_SEL_BASELINE;
    rc = IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&baseline);
    if (rc != 0) {
        return rc;
    }
    IFMPlugin_MDTLM_GetPortIfSubStat(&baseline, data);
    return 0;
}

uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(PortIfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    PortStatisticsObj obj;
    uint32_t rc = db_create_ifm_port_statistics_obj(DB_MODE_KEYED, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[ReadPortIfStatiByIfIndex]db_create_ifm_port_statistics_obj", rc);
        return rc;
    }
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
    const uint32_t key = data->ifIndex;
    rc = db_read_obj(obj.get(), &opts, &key);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[ReadPortIfStatiByIfIndex]db_read_obj", rc);
        return rc;
    }
    if (!IFM_DbReadField(db_get_ifm_port_statistics_ifindex, obj.get(), &data->ifIndex,
                         "[ReadPortIfStatiByIfIndex]db_get_ifm_port_statistics_ifindex", &rc) ||
        !IFM_DbReadField(db_get_ifm_port_statistics_interval_index, obj.get(), &data->intervalIndex,
                         "[ReadPortIfStatiByIfIndex]db_get_ifm_port_statistics_interval_index", &rc)) {
        return rc;
    }
    rc = IFMPlugin_MDTLM_ReadPortIfStatiFromObj(obj.get(), data);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[ReadPortIfStatiByIfIndex]ReadPortIfStatiFromObj", rc);
        return rc;
    }
    return 0;
}

/* Step selector of the port ring. The ring's latest snapshot is (i + 9) mod 10 and the values
 * -1, -3, -8, -9 walk back one second each; -2 reads nothing; anything unlisted is a number of
 * seconds back and is answered by the estimate. */
uint32_t IFMPlugin_MDTLM_ReadPortIfStatiFromObj(void *object, PortIfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    const uint32_t i = data->intervalIndex;
    uint32_t step = 0;
    switch (static_cast<int32_t>(data->flowStatInterval)) {
        case 0:
        case -1:
            step = (i + 9u) % kRingSize;
            break;
        case -2:
            return 0;
        case -3:
            step = (i + 8u) % kRingSize;
            break;
        case -4:
            step = kRateStep;
            break;
        case -5:
            step = i;
            break;
        case -8:
            step = (i + 7u) % kRingSize;
            break;
        case -9:
            step = (i + 6u) % kRingSize;
            break;
        case -15:
            step = kBaselineStep;
            break;
        default:
            IFMPlugin_MDTLM_GetPortIfStatByAvg(object, data);
            return 0;
    }
    return IFMPlugin_MDTLM_ReadPortIfStatiByInterval(object, step, data);
}

/* Every call is made whatever the earlier ones returned; the results are ORed, and an OR of 0 or
 * of exactly 13044 is a successful read. */
uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByInterval(void *object, uint32_t step, PortIfStatiData *data)
{
    if (data == nullptr) {
        return 1;
    }
    void *steps = nullptr;
    uint32_t all = db_create_child_node(object, 0, "steps", 0, 0, &steps);
    all |= db_child_get(steps, step);
    for (const PortColumn &c : kPortColumns) {
        all |= c.get(steps, &(data->*c.field));
    }
    if (IFM_DbOk(all)) {
        return 0;
    }
    IFM_LogDbError("[ReadPortIfStatiByInterval]ReadPortIfStatiByInterval failed!", all);
    return all;
}

void IFMPlugin_MDTLM_GetPortIfStatByAvg(void *object, PortIfStatiData *data)
{
    if (data == nullptr) {
        return;
    }
    PortIfStatiData latest{};
    PortIfStatiData rates{};
    if (IFMPlugin_MDTLM_ReadPortIfStatiByInterval(object, (data->intervalIndex + 9u) % kRingSize, &latest) != 0) {
        return;
    }
    if (IFMPlugin_MDTLM_ReadPortIfStatiByInterval(object, kRateStep, &rates) != 0) {
        return;
    }
    IFMPlugin_MDTLM_GetPortIfStatBeforeInterval(&latest, &rates, data);
}

/* counter = latest - rate * s / 1000 and time = latest time - s seconds, neither below 0. */
void IFMPlugin_MDTLM_GetPortIfStatBeforeInterval(const PortIfStatiData *latest, const PortIfStatiData *rates,
                                                 PortIfStatiData *data)
{
    if (latest == nullptr || rates == nullptr || data == nullptr) {
        return;
    }
    const uint64_t s = data->flowStatInterval;
    for (uint32_t k = 0; k < IFM_PORT_COUNTERS; ++k) {
        uint64_t PortIfStatiData::*c = kPortColumns[k].field;
        data->*c = IFM_SatSub(latest->*c, (rates->*c * s) / 1000u);
    }
    data->timestampCollCur = IFM_SatSub(latest->timestampCollCur, s * kUsPerSecond);
}

void IFMPlugin_MDTLM_GetPortIfSubStat(const PortIfStatiData *baseline, PortIfStatiData *data)
{
    if (baseline == nullptr || data == nullptr) {
        return;
    }
    for (uint32_t k = 0; k < IFM_PORT_COUNTERS; ++k) {
        uint64_t PortIfStatiData::*c = kPortColumns[k].field;
        data->*c = IFM_SatSub(data->*c, baseline->*c);
    }
}
