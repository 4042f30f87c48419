// Sensors driven through the plugin's entry: start-up on a board type, task ticks through the
// registered callbacks, uploads captured, "ifm" messages decoded from GPB (with the message
// descriptions) or from JSON into one comparable form.
#ifndef ZOR_TEST_SENSOR_HARNESS_H
#define ZOR_TEST_SENSOR_HARNESS_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/plugin_state.h"

struct Upload {
    SampleData header;
    std::string data; // the message behind the header
};

// Interface name -> member name (JSON spelling) -> value text.
using Members = std::map<std::string, std::string>;
using Reported = std::map<std::string, Members>;

using Record = std::pair<std::string, Members>; // interface ("main.N" for a subinterface), members
using Records = std::vector<Record>;

// Appends the records of one upload: an "ifm" message whose statistics node is `node`, or with
// a null node a subinterface counters message. Strict: false unless the message is GPB without
// unknown fields or exactly one JSON value of the expected shape.
bool DecodeUpload(const std::string &data, const char *node, Records &out);

// Adds the interfaces of one "ifm" message, GPB or JSON, whose statistics node is `node`
// ("ip-statistics", "mib-statistics" or "common-statistics"). With `unique`, an interface named
// twice fails the test.
void DecodeIfm(const std::string &data, const std::string &node, Reported &out, bool unique = true);

class SensorTest : public PluginTest {
protected:
    void SetUp() override;
    void TearDown() override; // stops every task still running

    // Start-up on a board; `sensor` must be among the registered ones.
    void Start(uint32_t boardType, const char *sensor);
    // One tick of a task; the uploads of this tick.
    const std::vector<Upload> &Tick(const char *sensor, uint32_t taskId, TlmTaskInfo cfg, uint32_t cookie = 0xC0C0);
    // One tick, its uploads decoded; each envelope is checked against the task and the cookie.
    Reported TickIfm(const char *sensor, const std::string &node, uint32_t taskId, TlmTaskInfo cfg,
                     bool unique = true);
    void Stop(uint32_t taskId);

    static TlmTaskInfo Cfg(uint32_t encodeType, uint32_t suppress = 0, uint32_t period = 0);

    std::map<std::string, TlmSensorReg> sensors_;
    std::vector<Upload> uploads_;
    std::set<uint32_t> running_;
};

#endif
