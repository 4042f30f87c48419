// The sensors the host knows how to subscribe to and decode.
#ifndef ZOR_HOST_SENSORS_H
#define ZOR_HOST_SENSORS_H

#include <string>
#include <vector>

namespace host {

enum class SensorModel {
    SubifCounters, // openconfig subinterface counters
    IpStatistics,
    MibStatistics,
    CommonStatistics,
};

struct SensorInfo {
    const char *name;  // as registered, e.g. "ZOR_IFM_IFSTAT"
    const char *path;  // as registered
    const char *alias; // short name accepted on the command line
    const char *node;  // statistics node of a decoded interface ("ip-statistics", "counters", ...)
    SensorModel model;
};

const std::vector<SensorInfo> &KnownSensors();
// By name, path or alias (case-sensitive for names and paths, aliases in any case); null if unknown.
const SensorInfo *FindSensor(const std::string &key);
// By registered name only.
const SensorInfo *FindSensorByName(const std::string &name);

} // namespace host

#endif
