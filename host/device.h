// The simulated device behind the stand-in statistics store. It writes the inventory into the
// store's tables and then keeps the statistics as a device does, once per second of the clock:
//   - ifm_port_statistics (physical and management ports): a snapshot of the 22 MAC counters every
//     second into the ten-entry ring (steps 0-9, interval_index names the entry after the latest);
//     at every flow interval the rate step (10) gets each counter's average rate over the interval
//     scaled by 1000; step 12 holds the counters as they were when they were last cleared;
//   - if_statistics: at every flow interval (whole seconds divisible by it) a snapshot of the IP
//     counters into the four-entry ring (steps 0-3) and the average rates into step 4, same scale;
//   - timestamps are the collection times in microseconds since 1970.
// Before the start time the device has been up for one to seven days (counters at the configured
// rates) and runs 4 flow intervals + 10 s of ordinary seconds, so that rings and rate steps are full.
#ifndef ZOR_HOST_DEVICE_H
#define ZOR_HOST_DEVICE_H

#include <cstdint>
#include <map>
#include <vector>

#include "host/inventory.h"
#include "host/traffic.h"

namespace host {

class Device {
public:
    Device(const Inventory &inv, uint64_t seed, double jitterPercent);
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    // Fills the store (which it resets first) and brings the device to the second `startUs` falls in.
    void Start(uint64_t startUs);
    // Collects every whole second from the last one collected up to `nowUs`.
    void AdvanceTo(uint64_t nowUs);
    uint64_t LastSecond() const { return lastSecond_; }

    // Current counters and the cleared-at baseline of an interface (null if unknown).
    const Counters *CountersOf(const std::string &name) const;
    const Counters *BaselineOf(const std::string &name) const;

private:
    struct Live {
        const InterfaceDecl *decl;
        TrafficSource source;
        Counters baseline;
        Counters atBoundary;
        uint64_t boundarySecond = 0;
        bool portRow = false;
        uint32_t portKey = 0;
    };

    void WriteTables(uint64_t firstSecond);
    void Collect(uint64_t second);

    Inventory inv_;
    uint64_t seed_;
    std::vector<Live> live_;
    std::map<std::string, size_t> byName_;
    uint64_t lastSecond_ = 0;
};

} // namespace host

#endif
