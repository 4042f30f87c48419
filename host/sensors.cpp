#include "host/sensors.h"

#include "host/common.h"

namespace host {

const std::vector<SensorInfo> &KnownSensors()
{
    static const std::vector<SensorInfo> sensors = {
        {"ZOR_IFM_SUBIFSTAT", "openconfig-interfaces:interfaces/interface/subinterfaces/subinterface/state/counters",
         "subif", "counters", SensorModel::SubifCounters},
        {"ZOR_IFM_IFSTAT", "vexalo-ifm:ifm/interfaces/interface/vexalo-ifm-ip-statistics:ip-statistics", "ipstat",
         "ip-statistics", SensorModel::IpStatistics},
        {"ZOR_IFM_MIBIFSTAT", "vexalo-ifm:ifm/interfaces/interface/mib-statistics", "mib", "mib-statistics",
         SensorModel::MibStatistics},
        {"ZOR_IFM_COMMONIFSTAT", "vexalo-ifm:ifm/interfaces/interface/common-statistics", "common",
         "common-statistics", SensorModel::CommonStatistics},
    };
    return sensors;
}

const SensorInfo *FindSensor(const std::string &key)
{
    for (const SensorInfo &s : KnownSensors()) {
        if (key == s.name || key == s.path || Lower(key) == s.alias || key == s.node) {
            return &s;
        }
    }
    return nullptr;
}

const SensorInfo *FindSensorByName(const std::string &name)
{
    for (const SensorInfo &s : KnownSensors()) {
        if (name == s.name) {
            return &s;
        }
    }
    return nullptr;
}

} // namespace host
