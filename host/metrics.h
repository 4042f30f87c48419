// The Prometheus text exposition of the host (zor_host --listen ADDR:PORT, path /metrics): the
// latest sample of every interface of every running subscription, decoded from the plugin's own
// uploads (GPB or JSON).
//
// Names follow Prometheus conventions, in base units: every member of a statistics node becomes one
// metric named after what it counts, zor_ifm_[ip_|ipv4_|ipv6_]{receive|transmit}_WHAT, with
//   - counters (bytes, packets, errors, drops) as counters with the suffix _total;
//   - bit rates as gauges in bytes per second (_bytes_per_second: the bit rate ÷ 8), packet rates
//     as gauges in packets per second (_packets_per_second);
//   - use rates (the percent text "41.68%") as gauges of the ratio 0 to 1 (_utilization_ratio);
//   - the subinterface sensor's last-clear (nanoseconds) as zor_ifm_last_clear_timestamp_seconds.
// Labels: sensor (the registered sensor name), interface (a subinterface as MAIN.N) and task (the
// task identifier, which keeps two subscriptions of one sensor apart). Each metric's HELP names the
// message members it comes from.
#ifndef ZOR_HOST_METRICS_H
#define ZOR_HOST_METRICS_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/decode.h"
#include "host/sensors.h"

namespace httplib {
class Server;
}

namespace host {

// The metric a member of a statistics node becomes; null for a member the exposition leaves out.
struct MetricInfo {
    const char *name;
    bool counter; // otherwise a gauge
};
const MetricInfo *MetricOf(const std::string &member);

class MetricsRegistry {
public:
    // Keeps the message's interfaces as the task's latest samples.
    void Update(uint32_t task, const SensorInfo &sensor, const DecodedMessage &message);
    // Drops every sample of a task (it stopped).
    void ForgetTask(uint32_t task);
    // Drops the samples of interfaces that are not among `names` (they vanished from the device).
    void Retain(const std::vector<std::string> &names);
    // The exposition text.
    std::string Render() const;

private:
    struct Sample {
        std::string sensor;
        std::vector<DecodedValue> values;
    };
    mutable std::mutex mutex_;
    std::map<std::pair<uint32_t, std::string>, Sample> samples_; // by task and interface
};

// Serves a registry's exposition over HTTP on a thread of its own until destroyed.
class MetricsServer {
public:
    // ADDR:PORT (port 0 takes a free one). Throws HostError (exit code 2) when it cannot listen.
    MetricsServer(const MetricsRegistry &registry, const std::string &listen);
    ~MetricsServer();
    MetricsServer(const MetricsServer &) = delete;
    MetricsServer &operator=(const MetricsServer &) = delete;
    std::string Address() const { return address_; }

private:
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    std::string address_;
};

} // namespace host

#endif
