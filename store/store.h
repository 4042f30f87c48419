/* Statistics store access: the accessor pattern, enumeration, attribute lookups and the two
 * counter readers. */
#ifndef ZOR_IFM_STORE_H
#define ZOR_IFM_STORE_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

/* 0 and 13044 (value absent) are success for every accessor and object creation. */
inline bool IFM_DbOk(uint32_t rc) { return rc == DB_OK || rc == DB_VALUE_ABSENT; }

/* A store object released on every path out of the scope that created it. */
template <uint32_t (*Release)(void *)> class DbObject {
public:
    DbObject() = default;
    DbObject(const DbObject &) = delete;
    DbObject &operator=(const DbObject &) = delete;
    ~DbObject()
    {
        if (handle_ != nullptr) {
            (void)Release(handle_);
        }
    }
    void **out() { return &handle_; }
    void *get() const { return handle_; }

private:
    void *handle_ = nullptr;
};

using IfStatisticsObj = DbObject<db_release_if_statistics_object>;
using PortStatisticsObj = DbObject<db_release_ifm_port_statistics_object>;
using IfObj = DbObject<db_release_if_object>;
using IfMgntObj = DbObject<db_release_if_mgnt_object>;
using TrunkObj = DbObject<db_release_trunk_object>;
using TrunkMemberObj = DbObject<db_release_trunk_member_object>;
using SysIntervalObj = DbObject<db_release_sys_statistics_interval_object>;

/* Read options of a keyed read: 0x00010004 for a 4-byte key, 0x00010008 for an 8-byte key. */
inline DB_READ_OPTS IFM_DbReadOpts(uint32_t flags)
{
    DB_READ_OPTS o{};
    o.flags = flags;
    return o;
}

/* a - b, or 0 when b is larger: a counter that went down (cleared or wrapped) never wraps. */
inline uint64_t IFM_SatSub(uint64_t a, uint64_t b) { return a >= b ? a - b : 0; }

/* "[ERROR]%s failed, ret = %d." at level 2. */
void IFM_LogDbError(const char *label, uint32_t rc);

/* ---- Enumeration ---- */
struct IfStatBaseInfo {
    uint32_t ifIndex;
    uint32_t vrid;
    uint32_t intervalIndex;
    uint32_t isReportTraffic;
    uint32_t tunnelId;
    uint32_t flowStatInterval; /* seconds; a row's 0 is replaced by the system's interval when listed */
    uint16_t vlanId;
    uint8_t statisticsEnable;
};

struct IfmPortStatBaseInfo {
    uint32_t ifIndex;
    uint32_t vrid;
    uint32_t intervalIndex;
};

#define IFM_DEFAULT_FLOW_INTERVAL 300u

uint32_t IFMPlugin_MDTLM_GetIfStatCountByType(uint32_t *count, uint32_t storeType);
uint32_t IFMPlugin_MDTLM_GetIfStatBaseInfoByType(IfStatBaseInfo *records, uint32_t storeType, uint32_t count);
uint32_t IFMPlugin_MDTLM_GetIfStatisFormObj(void *object, IfStatBaseInfo *record);
void IFMPlugin_MDTLM_GetRealFlowInterval(uint32_t *interval);
uint32_t IFMPlugin_MDTLM_GetIfmPortStatCount(uint32_t *count, uint32_t type);
uint32_t IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(IfmPortStatBaseInfo *records, uint32_t count, uint32_t type);
uint32_t IFMPlugin_MDTLM_GetPhyPortStatCount(uint32_t *count);
uint32_t IFMPlugin_MDTLM_GetTrunkStatCount(uint32_t *count);
uint32_t IFMPlugin_MDTLM_GetPhyPortStatBaseInfo(IfmPortStatBaseInfo *records, uint32_t count);
uint32_t IFMPlugin_MDTLM_GetTrunkBaseInfo(IfmPortStatBaseInfo *records, uint32_t count);
uint32_t IFMPlugin_MDTLM_GetIfmPortStatisFormObj(void *object, IfmPortStatBaseInfo *record);

/* ---- Attribute lookups ---- */
#define IFM_IF_NAME_LEN 64u
#define IFM_TRUNK_MEMBER_CAPACITY 256u
#define IFM_FWD_TYPE_TRUNK 8u

struct IfMgntRootSup {
    uint32_t logicalIfIndex;
    uint32_t actualIfIndex;
    uint32_t unused;
};
static_assert(sizeof(IfMgntRootSup) == 12, "sp_rootsup is 12 bytes");

uint32_t IFMPlugin_GetIfNamebyIfindex(uint32_t ifIndex, char *name /* 64 bytes, zeroed by the caller */);
uint32_t IFMPLUGIN_MDTLM_GetFwdIfType(uint32_t ifIndex, uint32_t *fwdType);
uint32_t IFMPlugin_GetIftypeByIfindex(uint32_t ifIndex, uint32_t *ifType);
uint32_t IFMPlugin_MDTLM_GetSpeed(uint32_t ifIndex, uint64_t *speed);
/* Fills at most IFM_TRUNK_MEMBER_CAPACITY members; *count never exceeds it. */
uint32_t IFMPlugin_MDTLM_GetMemIfindexbyIfindex(uint32_t trunkIfIndex, uint32_t *members /* 256 */, uint32_t *count);
uint32_t IFMPlugin_GetIfMgntCount(int32_t *count);
uint32_t IFMPlugin_GetIfMgntAll(IfMgntRootSup *records, uint32_t count);
uint32_t IFMPlugin_GetMethLogIfindexByActIfindex(uint32_t *ifIndex);

/* ---- Interface statistics reader (if_statistics) ---- */
struct IfStatiData {
    uint64_t inBytes;
    uint64_t outBytes;
    uint64_t inPackets;
    uint64_t outPackets;
    uint64_t ipv4InBytes;
    uint64_t ipv4OutBytes;
    uint64_t ipv4InPackets;
    uint64_t ipv4OutPackets;
    uint64_t ipv6InPackets;
    uint64_t ipv6OutPackets;
    uint64_t ipv6InBytes;
    uint64_t ipv6OutBytes;
    uint32_t ifIndex;
    uint32_t tunnelId;
    uint32_t intervalIndex;
    uint32_t flowStatInterval; /* step selector (0..-4 as signed) or seconds back */
    uint16_t vlanId;
    uint8_t statisticsEnable;
    uint64_t timestampCollCur;
};

#define IFM_IFSTAT_SEL_LATEST 0xFFFFFFFFu /* -1 */

uint32_t IFMPlugin_ReadIfStatiByIfIndex(IfStatiData *data);
uint32_t IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(IfStatiData *data);
uint32_t IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex(uint32_t ifIndex, uint32_t step, IfStatiData *data);
uint32_t IFMPlugin_IsNeededContinueQueryStatDB(IfStatiData *data, uint32_t *step);
uint32_t IFMPlugin_GetIfStatByAvg(IfStatiData *data);
void IFMPlugin_GetIfStatBeforeInterval(const IfStatiData *latest, const IfStatiData *rates, IfStatiData *data);
uint32_t IFMPlugin_ReadIfStatiFromObj(void *object, IfStatiData *data);
uint32_t IFMPlugin_ReadIfStatiFromObj_Helper(void *steps, IfStatiData *data);
uint32_t IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex_Helper(void *steps, IfStatiData *data);

/* ---- Port statistics reader (ifm_port_statistics) ---- */
#define IFM_PORT_COUNTERS 22u

struct PortIfStatiData {
    uint64_t inBytes;
    uint64_t outBytes;
    uint64_t inPackets;
    uint64_t outPackets;
    uint64_t inErrors;
    uint64_t outErrors;
    uint64_t inNucPackets;
    uint64_t outNucPackets;
    uint64_t inDiscardPkts;
    uint64_t outDiscardPkts;
    uint64_t outQlen;
    uint64_t inHcOctets;
    uint64_t outHcOctets;
    uint64_t inBcastPackets;
    uint64_t outBcastPackets;
    uint64_t inUcastPackets;
    uint64_t outUcastPackets;
    uint64_t inMcastPackets;
    uint64_t outMcastPackets;
    uint64_t inCrcErrors;
    uint64_t inPausePackets;
    uint64_t outPausePackets;
    uint64_t timestampCollCur;
    uint32_t ifIndex;
    uint32_t intervalIndex;
    uint32_t flowStatInterval; /* step selector (signed) or seconds back */
};
static_assert(offsetof(PortIfStatiData, timestampCollCur) == IFM_PORT_COUNTERS * sizeof(uint64_t),
              "the 22 counters come first");

#define IFM_PORT_SEL_LATEST 0xFFFFFFFFu   /* -1 */
#define IFM_PORT_SEL_PRE1S 0xFFFFFFFDu    /* -3 */
#define IFM_PORT_SEL_PRE2S 0xFFFFFFF8u    /* -8 */
#define IFM_PORT_SEL_PRE3S 0xFFFFFFF7u    /* -9 */
#define IFM_PORT_SEL_BASELINE 0xFFFFFFF1u /* -15 */

uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(PortIfStatiData *data);
uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(PortIfStatiData *data);
uint32_t IFMPlugin_MDTLM_ReadPortIfStatiFromObj(void *object, PortIfStatiData *data);
uint32_t IFMPlugin_MDTLM_ReadPortIfStatiByInterval(void *object, uint32_t step, PortIfStatiData *data);
void IFMPlugin_MDTLM_GetPortIfStatByAvg(void *object, PortIfStatiData *data);
void IFMPlugin_MDTLM_GetPortIfStatBeforeInterval(const PortIfStatiData *latest, const PortIfStatiData *rates,
                                                 PortIfStatiData *data);
void IFMPlugin_MDTLM_GetPortIfSubStat(const PortIfStatiData *baseline, PortIfStatiData *data);

#endif
