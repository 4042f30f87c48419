/* Attribute lookups of one interface: name, forwarding type, interface type, speed, trunk members,
 * and the management table's actual-to-logical index mapping. Each call reads the store anew and
 * keeps nothing between calls. */
#include <algorithm>

#include "core/frm_buffer.h"
#include "store/db_access.h"

namespace {

/* How a single-attribute read of the if table treats the two special answers of db_read_obj. */
struct IfAttrRead {
    const char *createLabel;
    const char *readLabel;
    const char *attrLabel;
    bool absentReadSucceeds; /* db_read_obj 13044: success (true) or a logged failure (false) */
    bool logMissingRow;      /* db_read_obj 15005: logged (true) or returned silently (false) */
};

constexpr IfAttrRead kFwdTypeRead = {
    "[IFMPLUGIN_MDTLM_GetFwdIfType]db_create_if_object",
    "[IFMPLUGIN_MDTLM_GetFwdIfType]db_read_object",
    "[IFMPLUGIN_MDTLM_GetFwdIfType]db_get_if_forwardType",
    false,
    false,
};

constexpr IfAttrRead kIfTypeRead = {
    "[IFMPlugin_GetIftypeByIfindex]db_create_if_object",
    "[IFMPlugin_GetIftypeByIfindex]read object",
    "[IFMPlugin_GetIftypeByIfindex]db_get_if_tb",
    true,
    true,
};

constexpr IfAttrRead kSpeedRead = {
    "[IFM][IFMPlugin_MDTLM_GetIfType]db_create_if_object",
    "[IFMPlugin_MDTLM_GetIfType]db_read_object",
    "[IFM][IFMPlugin_MDTLM_GetIfType]db_get_if_speed",
    true,
    true,
};

/* Reads one attribute of the if row keyed by ifIndex into *out. On 13044 from the accessor the
 * caller's value stays. */
template <typename T>
uint32_t ReadIfAttribute(const IfAttrRead &how, uint32_t ifIndex, uint32_t (*getter)(void *, T *), T *out)
{
    if (out == nullptr) {
        return 1;
    }
    IfObj obj;
    uint32_t rc = db_create_if_obj(DB_MODE_KEYED, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(how.createLabel, rc);
        return rc;
    }
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
    rc = db_read_obj(obj.get(), &opts, &ifIndex);
    if (rc == DB_NO_RECORD && !how.logMissingRow) {
        return rc;
    }
    if (rc != DB_OK && !(rc == DB_VALUE_ABSENT && how.absentReadSucceeds)) {
        IFM_LogDbError(how.readLabel, rc);
        return rc;
    }
    rc = getter(obj.get(), out);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(how.attrLabel, rc);
        return rc;
    }
    return 0;
}

/* One if_mgnt row's sp_rootsup value. */
uint32_t ReadIfMgntRow(void *obj, IfMgntRootSup *record) { return db_get_if_mgnt_sp_rootsup(obj, record); }

} // namespace

uint32_t IFMPLUGIN_MDTLM_GetFwdIfType(uint32_t ifIndex, uint32_t *fwdType)
{
    return ReadIfAttribute(kFwdTypeRead, ifIndex, db_get_if_forwardType, fwdType);
}

uint32_t IFMPlugin_GetIftypeByIfindex(uint32_t ifIndex, uint32_t *ifType)
{
    return ReadIfAttribute(kIfTypeRead, ifIndex, db_get_if_if_type, ifType);
}

uint32_t IFMPlugin_MDTLM_GetSpeed(uint32_t ifIndex, uint64_t *speed)
{
    return ReadIfAttribute(kSpeedRead, ifIndex, db_get_if_speed, speed);
}

uint32_t IFMPlugin_GetIfNamebyIfindex(uint32_t ifIndex, char *name)
{
    if (name == nullptr) {
        return 1;
    }
    /* Management interfaces are stored under their logical index; other indexes stay as given. */
    uint32_t key = ifIndex;
    (void)IFMPlugin_GetMethLogIfindexByActIfindex(&key);

    IfObj obj;
    uint32_t rc = db_create_if_obj(DB_MODE_KEYED, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_GetIfNamebyIfindex]db_create_if_object", rc);
        return rc;
    }
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
    rc = db_read_obj(obj.get(), &opts, &key);
    if (rc == DB_NO_RECORD) {
        return rc;
    }
    if (rc != DB_OK) {
        IFM_LogDbError("[IFMPlugin_GetIfNamebyIfindex]read object", rc);
        return rc;
    }
    const char *text = nullptr;
    uint32_t length = 0;
    rc = db_get_if_name(obj.get(), &text, &length);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_GetIfNamebyIfindex]db_get_if_name", rc);
        return rc;
    }
    if (text == nullptr || length == 0) {
        return 0; /* no name stored: the caller's buffer stays as it was */
    }
    /* A name that does not fit is refused before the copy so the caller's buffer stays intact. The
     * length counts the terminator, which the zeroed buffer supplies either way. */
    if (length > IFM_IF_NAME_LEN || memcpy_s(name, IFM_IF_NAME_LEN, text, length) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_GetIfNamebyIfindex] Memory copy failed");
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetMemIfindexbyIfindex(uint32_t trunkIfIndex, uint32_t *members, uint32_t *count)
{
    if (members == nullptr || count == nullptr) {
        return 1;
    }
    *count = 0;
    TrunkMemberObj obj;
    uint32_t rc = db_create_trunk_member_obj(DB_MODE_KEYED, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]create object", rc);
        return rc;
    }
    const uint32_t key[2] = {0, trunkIfIndex};
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY8);
    rc = db_read_obj(obj.get(), &opts, key);
    if (rc == DB_NO_RECORD) {
        return rc;
    }
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]read object", rc);
        return rc;
    }
    void *child = nullptr;
    rc = db_create_child_node(obj.get(), 0, "member", 0, 0, &child);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]create child", rc);
        return rc;
    }
    uint32_t children = 0;
    rc = db_child_count(child, &children);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]get child count", rc);
        return rc;
    }
    const uint32_t wanted = std::min(children, IFM_TRUNK_MEMBER_CAPACITY);
    for (uint32_t i = 0; i < wanted; ++i) {
        rc = db_child_get(child, i);
        if (!IFM_DbOk(rc)) {
            IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]get child", rc);
            return rc;
        }
        rc = db_get_trunk_member_member_member_ifindex(child, &members[i]);
        if (!IFM_DbOk(rc)) {
            IFM_LogDbError("[IFMPlugin_MDTLM_GetMemIfindexbyIfindex]get member ifindex", rc);
            return rc;
        }
    }
    *count = wanted;
    return 0;
}

uint32_t IFMPlugin_GetIfMgntCount(int32_t *count)
{
    if (count == nullptr) {
        return 1;
    }
    uint32_t rows = static_cast<uint32_t>(*count);
    const uint32_t rc = IFM_DbCountRecords<IfMgntObj>(db_create_if_mgnt_obj, &rows,
                                                      "[IFMPlugin_GetIfMgntCount]Create scan object",
                                                      "[IFMPlugin_GetIfMgntCount]get_record_count");
    *count = static_cast<int32_t>(rows);
    return rc;
}

uint32_t IFMPlugin_GetIfMgntAll(IfMgntRootSup *records, uint32_t count)
{
    if (records == nullptr) {
        return 1;
    }
    IfMgntObj obj;
    void *iter = nullptr;
    const uint32_t rc =
        IFM_DbOpenRootIter(db_create_if_mgnt_obj, obj, &iter, "[IFMPlugin_GetIfMgntAll] Create if object",
                           "[IFMPlugin_GetIfMgntAll] db_create_root_iterator");
    if (rc != 0) {
        return IFM_DbEndCode(rc);
    }
    return IFM_DbListRows(obj.get(), iter, records, count, ReadIfMgntRow,
                          "[IFMPlugin_GetIfMgntAll]read_if_mgnt_from_obj", nullptr);
}

uint32_t IFMPlugin_GetMethLogIfindexByActIfindex(uint32_t *ifIndex)
{
    if (ifIndex == nullptr) {
        return 1;
    }
    int32_t rows = 0;
    if (IFMPlugin_GetIfMgntCount(&rows) != 0 || rows <= 0) {
        return 1;
    }
    const uint32_t n = static_cast<uint32_t>(rows);
    if (n > UINT32_MAX / sizeof(IfMgntRootSup)) {
        return 1;
    }
    FrmBuffer buf(static_cast<uint64_t>(n) * sizeof(IfMgntRootSup));
    if (!buf) {
        return 1;
    }
    const IfMgntRootSup *records = buf.as<IfMgntRootSup>();
    if (IFMPlugin_GetIfMgntAll(buf.as<IfMgntRootSup>(), n) != 0) {
        return 1;
    }
    for (uint32_t i = 0; i < n; ++i) {
        if (records[i].actualIfIndex == *ifIndex) {
            *ifIndex = records[i].logicalIfIndex;
            return 0;
        }
    }
    return 1;
}
