// The simulated device behind the stand-in statistics store. It writes the inventory into the
// store's tables and then keeps the statistics as a device does (host/store_rows.h), once per
// second of the clock, the if_statistics rings and the rate steps at every flow interval (whole
// seconds divisible by it). Traffic comes from the traffic model (host/traffic.h).
// Before the start time the device has been up for one to seven days (counters at the configured
// rates) and runs 4 flow intervals + 10 s of ordinary seconds, so that rings and rate steps are full.
#ifndef ZOR_HOST_DEVICE_H
#define ZOR_HOST_DEVICE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/inventory.h"
#include "host/store_rows.h"
#include "host/traffic.h"

namespace host {

// What the run needs of a device behind the store: the simulated one below, or the machine's own
// links (host/linux_device.h).
class DeviceSource {
public:
    virtual ~DeviceSource() = default;
    // Fills the store (which it resets first) as of the second `startUs` falls in.
    virtual void Start(uint64_t startUs) = 0;
    // Collects every whole second from the last one collected up to `nowUs`.
    virtual void AdvanceTo(uint64_t nowUs) = 0;
    virtual uint64_t LastSecond() const = 0;
    // Names of the interfaces the store holds now.
    virtual std::vector<std::string> InterfaceNames() const = 0;
};

class Device : public DeviceSource {
public:
    Device(const Inventory &inv, uint64_t seed, double jitterPercent);
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    void Start(uint64_t startUs) override;
    void AdvanceTo(uint64_t nowUs) override;
    uint64_t LastSecond() const override { return lastSecond_; }
    std::vector<std::string> InterfaceNames() const override;

    // Current counters and the cleared-at baseline of an interface (null if unknown).
    const Counters *CountersOf(const std::string &name) const;
    const Counters *BaselineOf(const std::string &name) const;

private:
    struct Live {
        InterfaceRows rows;
        TrafficSource source;
        Counters baseline;
        Counters atBoundary;
        uint64_t boundarySecond = 0;
    };

    void Collect(uint64_t second);

    Inventory inv_;
    uint64_t seed_;
    std::vector<Live> live_;
    std::map<std::string, size_t> byName_;
    uint64_t lastSecond_ = 0;
};

} // namespace host

#endif
