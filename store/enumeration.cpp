/* Statistics record enumeration: counting and listing the if_statistics rows of a row type, the
 * physical ports (ifm_port_statistics) and the trunks, as base-info records. */
#include "store/db_access.h"

namespace {

constexpr uint32_t kStmtKind = 3;
constexpr uint32_t kStatTypeFieldNo = 1;
constexpr uint32_t kCondOpEqual = 1;

struct FilterLabels {
    const char *createObj;
    const char *createStmt;
    const char *appendCond;
    const char *createIter;
};

const FilterLabels kCountLabels = {
    "[IFMPlugin_MDTLM_GetIfStatCountByType]db_create_if_statistics_obj",
    "[IFMPlugin_MDTLM_GetIfStatCountByType]Create stmt faield.",
    "[IFMPlugin_MDTLM_GetIfStatCountByType]Append filter faield",
    "[IFMPlugin_MDTLM_GetIfStatCountByType]Create root iterator by filter failed.",
};

const FilterLabels kListLabels = {
    "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]db_create_if_statistics_obj",
    "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Create stmt faield.",
    "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Append filter faield",
    "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Create root iterator by filter failed.",
};

/* Creates an iterating if_statistics object restricted to one row type and its root iterator.
 * Returns 0 or the failing step's code (logged with its label). */
uint32_t OpenIfStatByType(IfStatisticsObj &obj, uint32_t storeType, void **iter, const FilterLabels &labels)
{
    uint32_t rc = db_create_if_statistics_obj(DB_MODE_ITERATE, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(labels.createObj, rc);
        return rc;
    }
    rc = db_create_stmt(obj.get(), kStmtKind, nullptr, 0);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(labels.createStmt, rc);
        return rc;
    }
    rc = db_append_stmt_condition(obj.get(), "if_statistics", kStatTypeFieldNo, kCondOpEqual, &storeType,
                                  sizeof(storeType), nullptr, nullptr, 0);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(labels.appendCond, rc);
        return rc;
    }
    rc = db_create_root_iter(obj.get(), nullptr, nullptr, iter);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(labels.createIter, rc);
        return rc;
    }
    return 0;
}

/* Advances until the iterator stops and stores the number of rows passed; true when it stopped at
 * the end of the rows rather than on a failure. */
bool CountToEnd(void *iter, uint32_t *count)
{
    uint32_t n = 0;
    uint32_t rc = db_root_iterator_next(iter);
    while (IFM_DbOk(rc)) {
        ++n;
        rc = db_root_iterator_next(iter);
    }
    *count = n;
    return rc == DB_END_OF_ROWS;
}

} // namespace

uint32_t IFMPlugin_MDTLM_GetIfStatCountByType(uint32_t *count, uint32_t storeType)
{
    if (count == nullptr) {
        return 1;
    }
    IfStatisticsObj obj;
    void *iter = nullptr;
    uint32_t rc = OpenIfStatByType(obj, storeType, &iter, kCountLabels);
    if (rc != 0) {
        *count = 0;
        return IFM_DbEndCode(rc);
    }
    if (!CountToEnd(iter, count)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStatCountByType]Get next iterator failed, ret = %u ", 1u);
        return 1;
    }
    return 0;
}

void IFMPlugin_MDTLM_GetRealFlowInterval(uint32_t *interval)
{
    if (interval == nullptr || *interval != 0) {
        return;
    }
    uint32_t value = 0;
    bool ok = false;
    {
        SysIntervalObj obj;
        const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
        const uint32_t key = 0;
        ok = IFM_DbOk(db_create_sys_statistics_interval_obj(DB_MODE_KEYED, 0, obj.out())) &&
             IFM_DbOk(db_read_obj(obj.get(), &opts, &key)) &&
             db_get_sys_statistics_interval_flow_stat_interval(obj.get(), &value) == DB_OK;
    }
    /* The value read is kept even when it is 0: the rate readers then leave the interface out with
     * their zero-interval line. 300 stands in only for a record that could not be read. */
    *interval = ok ? value : IFM_DEFAULT_FLOW_INTERVAL;
}

uint32_t IFMPlugin_MDTLM_GetIfStatisFormObj(void *object, IfStatBaseInfo *record)
{
    if (record == nullptr) {
        return 1;
    }
    uint32_t rc = 0;
    if (!IFM_DbReadField(db_get_if_statistics_ifindex, object, &record->ifIndex,
                         "[read_if_statistics_from_obj_db]get_if_statistics_ifindex", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_isReportTraffic, object, &record->isReportTraffic,
                         "[read_if_statistics_from_obj_db]db_get_if_statistics_islocal_l2physubif", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_vrid, object, &record->vrid,
                         "[read_if_statistics_from_obj_db]get_if_statistics_vrid", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_statistics_enable, object, &record->statisticsEnable,
                         "[read_if_statistics_from_obj_db]get_if_statistics_statistics_enable", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_vlanid, object, &record->vlanId,
                         "[[read_if_statistics_from_obj_db]get_if_statistics_vlanid", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_flow_stat_interval, object, &record->flowStatInterval,
                         "[read_if_statistics_from_obj_db]get_if_statistics_flow_stat_interval", &rc)) {
        return rc;
    }
    IFMPlugin_MDTLM_GetRealFlowInterval(&record->flowStatInterval);
    if (!IFM_DbReadField(db_get_if_statistics_tunnelid, object, &record->tunnelId,
                         "[read_if_statistics_from_obj_db]get_if_statistics_tunnelid", &rc) ||
        !IFM_DbReadField(db_get_if_statistics_interval_index, object, &record->intervalIndex,
                         "[read_if_statistics_from_obj_db]get_if_statistics_interval_index", &rc)) {
        return rc;
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetIfStatBaseInfoByType(IfStatBaseInfo *records, uint32_t storeType, uint32_t count)
{
    if (records == nullptr) {
        return 1;
    }
    IfStatisticsObj obj;
    void *iter = nullptr;
    uint32_t rc = OpenIfStatByType(obj, storeType, &iter, kListLabels);
    if (rc != 0) {
        return IFM_DbEndCode(rc);
    }
    return IFM_DbListRows(obj.get(), iter, records, count, IFMPlugin_MDTLM_GetIfStatisFormObj,
                          "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]IFM_read_if_from_obj",
                          "[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Get next iterator failed, ret = %u");
}

uint32_t IFMPlugin_MDTLM_GetIfmPortStatCount(uint32_t *count, uint32_t type)
{
    if (type == TLM_TYPE_MIB_TRUNK || type == TLM_TYPE_COMMON_TRUNK) {
        return IFMPlugin_MDTLM_GetTrunkStatCount(count);
    }
    return IFMPlugin_MDTLM_GetPhyPortStatCount(count);
}

uint32_t IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(IfmPortStatBaseInfo *records, uint32_t count, uint32_t type)
{
    if (type == TLM_TYPE_MIB_TRUNK || type == TLM_TYPE_COMMON_TRUNK) {
        return IFMPlugin_MDTLM_GetTrunkBaseInfo(records, count);
    }
    return IFMPlugin_MDTLM_GetPhyPortStatBaseInfo(records, count);
}

uint32_t IFMPlugin_MDTLM_GetPhyPortStatCount(uint32_t *count)
{
    if (count == nullptr) {
        return 1;
    }
    PortStatisticsObj obj;
    void *iter = nullptr;
    const uint32_t rc =
        IFM_DbOpenRootIter(db_create_ifm_port_statistics_obj, obj, &iter,
                           "[IFMPlugin_MDTLM_GetPhyPortStatCount]db_create_ifm_port_statistics_obj",
                           "[IFMPlugin_MDTLM_GetPhyPortStatCount]Create root iterator by filter failed.");
    if (rc != 0) {
        *count = 0;
        return IFM_DbEndCode(rc);
    }
    return CountToEnd(iter, count) ? 0 : 1;
}

uint32_t IFMPlugin_MDTLM_GetTrunkStatCount(uint32_t *count)
{
    if (count == nullptr) {
        return 1;
    }
    return IFM_DbCountRecords<TrunkObj>(db_create_trunk_obj, count,
                                        "[GetTrunkStatCount]Create TABLE_STATISTICS object",
                                        "[GetTrunkStatCount]db_get_table_record_count");
}

uint32_t IFMPlugin_MDTLM_GetIfmPortStatisFormObj(void *object, IfmPortStatBaseInfo *record)
{
    if (record == nullptr) {
        return 1;
    }
    uint32_t rc = 0;
    if (!IFM_DbReadField(db_get_ifm_port_statistics_ifindex, object, &record->ifIndex,
                         "[IFMPlugin_MDTLM_GetIfmPortStatisFormObj]get_ifm_port_statistics_ifindex", &rc) ||
        !IFM_DbReadField(db_get_ifm_port_statistics_interval_index, object, &record->intervalIndex,
                         "[IFMPlugin_MDTLM_GetIfmPortStatisFormObj]get_ifm_port_statistics_interval_index", &rc) ||
        !IFM_DbReadField(db_get_ifm_port_statistics_vrid, object, &record->vrid,
                         "[IFMPlugin_MDTLM_GetIfmPortStatisFormObj]get_ifm_port_statistics_vrid", &rc)) {
        return rc;
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetPhyPortStatBaseInfo(IfmPortStatBaseInfo *records, uint32_t count)
{
    if (records == nullptr) {
        return 1;
    }
    PortStatisticsObj obj;
    void *iter = nullptr;
    const uint32_t rc = IFM_DbOpenRootIter(db_create_ifm_port_statistics_obj, obj, &iter,
                                           "db_create_if_statistics_obj", "Create root iterator by filter failed.");
    if (rc != 0) {
        return IFM_DbEndCode(rc);
    }
    return IFM_DbListRows(obj.get(), iter, records, count, IFMPlugin_MDTLM_GetIfmPortStatisFormObj,
                          "IFM_read_ifm_port_statistics_from_obj", nullptr);
}

uint32_t IFMPlugin_MDTLM_GetTrunkBaseInfo(IfmPortStatBaseInfo *records, uint32_t count)
{
    if (records == nullptr || count == 0) {
        return 0;
    }
    TrunkObj obj;
    void *iter = nullptr;
    if (IFM_DbOpenRootIter(db_create_trunk_obj, obj, &iter, "[GetTrunkBaseInfo] db_create_trunk_obj",
                           "[GetTrunkBaseInfo] db_create_root_iter") != 0) {
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (!IFM_DbOk(db_root_iterator_next(iter))) {
            break;
        }
        const uint32_t rc = db_get_trunk_trunk_if_index(obj.get(), &records[i].ifIndex);
        if (!IFM_DbOk(rc)) {
            IFM_LogDbError("[GetTrunkBaseInfo] db_get_trunk_trunk_if_index", rc);
            break;
        }
    }
    return 0;
}
