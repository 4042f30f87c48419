/* Plugin entry: start-up by board type, the framework's operation table and sensor registration. */
#include "runtime/runtime.h"
#include "selection/selection.h"

namespace {

constexpr uint32_t kBoardTor = 6;
constexpr uint32_t kBoardLpu = 2;
constexpr uint32_t kBoardMpu = 1;

constexpr uint32_t kVtblCompId = 1000;
constexpr uint32_t kVtblId = 1000;

constexpr uint32_t kRegValue1 = 1000;
constexpr uint32_t kRegValue2 = 10;
constexpr size_t kPathCapacity = 200;

struct SensorDef {
    const char *name;
    const char *path;
    TlmTaskProc taskProc;
    const char *failMsg; /* one %d: RegXpath's status */
    uint32_t failLevel;
};

const SensorDef kSubifSensor = {
    "ZOR_IFM_SUBIFSTAT",
    "openconfig-interfaces:interfaces/interface/subinterfaces/subinterface/state/counters",
    IFMPlugin_MDTLM_DealL2SubifStatTask,
    "ifmplugin reg l2subifstat xPath failed. ret=[%d]",
    IFM_LOG_ERROR,
};
const SensorDef kIfStatSensor = {
    "ZOR_IFM_IFSTAT",
    "vexalo-ifm:ifm/interfaces/interface/vexalo-ifm-ip-statistics:ip-statistics",
    IFMPlugin_MDTLM_DealIfStatTask,
    "ifmplugin reg ifstat xPath failed. ret=[%d]",
    IFM_LOG_ERROR,
};
const SensorDef kMibSensor = {
    "ZOR_IFM_MIBIFSTAT",
    "vexalo-ifm:ifm/interfaces/interface/mib-statistics",
    IFMPlugin_MDTLM_DealMibIfStatTask,
    "ifmplugin reg ifstat xPath failed. ret=[%d]",
    IFM_LOG_INFO,
};
const SensorDef kCommonSensor = {
    "ZOR_IFM_COMMONIFSTAT",
    "vexalo-ifm:ifm/interfaces/interface/common-statistics",
    IFMPlugin_MDTLM_DealCommonIfStatTask,
    "ifmplugin reg ifstat xPath failed. ret=[%d]",
    IFM_LOG_INFO,
};

uint32_t RegisterSensor(const SensorDef &sensor)
{
    TlmSensorReg reg;
    (void)memset_s(&reg, sizeof(reg), 0, sizeof(reg));
    reg.regValue1 = kRegValue1;
    reg.regValue2 = kRegValue2;
    reg.taskProc = sensor.taskProc;
    reg.stopProc = IFMPlugin_MDTLM_StopTaskForStat;
    (void)strcpy_s(reg.sensorName, sizeof(reg.sensorName), sensor.name);

    /* Zeroed so that nothing of the stack reaches the framework past the text. */
    char path[kPathCapacity] = {};
    (void)strcpy_s(path, sizeof(path), sensor.path);

    if (g_ifmpluginMdtlm_frmVtbl == nullptr || g_ifmpluginMdtlm_frmVtbl->RegXpath == nullptr) {
        return 1;
    }
    uint32_t rc = g_ifmpluginMdtlm_frmVtbl->RegXpath(g_ifmpluginMdtlm_moduleId, path, &reg);
    if (rc != 0) {
        MDTLM_WriteLog(sensor.failLevel, sensor.failMsg, static_cast<int>(rc));
    }
    return rc;
}

/* Module id, operation table, cache, then the board's sensors in order. */
uint32_t BoardInit(uint32_t moduleId, const char *vtblFailMsg, uint32_t vtblFailLevel, const SensorDef *const *sensors,
                   size_t sensorCount)
{
    IFMPlugin_MDTLM_SetModId(moduleId);

    void *table = nullptr;
    uint32_t rc = COMP_GetVTable(kVtblCompId, kVtblId, &table);
    if (rc != 0) {
        g_ifmpluginMdtlm_frmVtbl = nullptr;
        MDTLM_WriteLog(vtblFailLevel, vtblFailMsg, static_cast<int>(rc));
        return rc;
    }
    g_ifmpluginMdtlm_frmVtbl = static_cast<MdTlmFrmVtbl *>(table);

    (void)IFM_YangNodeHashInit();
    for (size_t i = 0; i < sensorCount; ++i) {
        (void)RegisterSensor(*sensors[i]);
    }
    return 0;
}

} // namespace

void IFMPlugin_MDTLM_SetModId(uint32_t moduleId) { g_ifmpluginMdtlm_moduleId = moduleId; }

uint32_t IFMPlugin_MDTLM_RegL2SubifStatXpath() { return RegisterSensor(kSubifSensor); }
uint32_t IFMPlugin_MDTLM_RegIfStatXpath() { return RegisterSensor(kIfStatSensor); }
uint32_t IFMPlugin_MDTLM_RegMibIfStatXpath() { return RegisterSensor(kMibSensor); }
uint32_t IFMPlugin_MDTLM_RegCommonIfStatXpath() { return RegisterSensor(kCommonSensor); }

uint32_t IFMPlugin_MDTLM_TorInit(uint32_t moduleId)
{
    static const SensorDef *const sensors[] = {&kSubifSensor, &kIfStatSensor, &kMibSensor, &kCommonSensor};
    return BoardInit(moduleId, "ifmplugin_tor Get mdTlmFrm VTable failed. ret=[%d]", IFM_LOG_INFO, sensors,
                     sizeof(sensors) / sizeof(sensors[0]));
}

uint32_t IFMPlugin_MDTLM_LpuInit(uint32_t moduleId)
{
    static const SensorDef *const sensors[] = {&kSubifSensor};
    return BoardInit(moduleId, "ifmplugin_lpu Get mdTlmFrm VTable failed. ret=[%d]", IFM_LOG_ERROR, sensors,
                     sizeof(sensors) / sizeof(sensors[0]));
}

uint32_t IFMPlugin_MDTLM_MpuInit(uint32_t moduleId)
{
    static const SensorDef *const sensors[] = {&kIfStatSensor, &kMibSensor, &kCommonSensor};
    return BoardInit(moduleId, "ifmplugin_mpu Get mdTlmFrm VTable failed. ret=[%d]", IFM_LOG_ERROR, sensors,
                     sizeof(sensors) / sizeof(sensors[0]));
}

uint32_t IFMPlugin_MDTLM_Init(uint32_t moduleId)
{
    uint32_t boardType = 0;
    uint32_t rc = DEVM_GetSelfBoardType(&boardType);
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifmplugin Get SelfBoardType failed. ret=[%d]", static_cast<int>(rc));
        return rc;
    }
    switch (boardType) {
    case kBoardTor:
        return IFMPlugin_MDTLM_TorInit(moduleId);
    case kBoardLpu:
        return IFMPlugin_MDTLM_LpuInit(moduleId);
    case kBoardMpu:
        return IFMPlugin_MDTLM_MpuInit(moduleId);
    default:
        return 0;
    }
}
