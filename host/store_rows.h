// The rows one interface keeps in the stand-in statistics store, and their upkeep as a device does
// it. Shared by the simulated device and by the machine's own links:
//   - if: name, interface type, forwarding type, speed (and, for a management port, a second row
//     under its actual index with the if_mgnt row mapping actual to logical);
//   - trunk and trunk_member rows of a trunk;
//   - ifm_port_statistics (ports and management ports): a ten-entry ring of one-second snapshots of
//     the 22 MAC counters (steps 0-9, interval_index names the entry after the latest), the rate
//     step (10) with each counter's average rate over the last flow interval × 1000, and the
//     baseline (12), the counters when they were last cleared;
//   - if_statistics (when the interface has a row type): a four-entry ring of the IP counters taken
//     at every flow interval (steps 0-3) and their average rates × 1000 over it (step 4).
// Timestamps are collection times in microseconds since 1970.
#ifndef ZOR_HOST_STORE_ROWS_H
#define ZOR_HOST_STORE_ROWS_H

#include <cstdint>
#include <vector>

#include "host/inventory.h"
#include "host/traffic.h"

namespace host {

struct InterfaceRows {
    InterfaceDecl decl;
    std::vector<uint32_t> members; // trunk: member interface indexes, in order
    uint16_t vlan = 0;             // VLAN of the if_statistics row
    uint32_t flowInterval = 30;    // flow_stat_interval of the if_statistics row

    bool HasPortRow() const { return decl.kind == IfKind::Port || decl.kind == IfKind::Mgmt; }
    uint32_t PortKey() const { return decl.kind == IfKind::Mgmt ? decl.actualIfindex : decl.ifindex; }
};

// Writes every row of the interface as of `tsUs` with `now` as the counters of all ring entries
// (port ring entries one second apart back from tsUs), rate steps of zero, and `baseline` as the
// cleared-at counters. Rows of the same index are replaced.
void PutRows(const InterfaceRows &r, const Counters &now, const Counters &baseline, uint64_t outQlen, uint64_t tsUs);
void RemoveRows(const InterfaceRows &r);
// The one-second snapshot of the port ring.
void CollectSecond(const InterfaceRows &r, const Counters &now, uint64_t outQlen, uint64_t tsUs);
// At a flow-interval boundary: the port rate step and the if_statistics ring entry and rate step,
// from the counters `before` taken `elapsedUs` earlier.
void CollectInterval(const InterfaceRows &r, const Counters &now, const Counters &before, uint64_t elapsedUs,
                     uint64_t tsUs);

} // namespace host

#endif
