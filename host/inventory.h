// What the simulated device consists of: board type, flow statistics interval and interfaces
// (physical ports, trunks, subinterfaces, routed interfaces, management ports), each with the
// attributes the statistics store keeps and a traffic profile.
//
// Text format, one item per line, '#' starts a comment:
//   board 6                      board type the device reports (6 top of rack, 2 line, 1 main)
//   flow-interval 30             seconds between if_statistics snapshots and rate updates (1 to 3600)
//   port   NAME [attributes]     physical port: ifm_port_statistics row
//   trunk  NAME members=A,B,...  trunk: trunk and trunk_member rows, forwarding type 8
//   subif  MAIN.N [attributes]   subinterface: if_statistics row of type 0x1
//   routed NAME [attributes]     routed interface: if_statistics row of type 0x10
//   mgmt   NAME [attributes]     management port: ifm_port_statistics row under its actual index,
//                                if_mgnt row mapping it to its logical index, interface type 34
// Attributes (all optional):
//   speed=10G  in=2G  out=40%  pkt=512  v6=20  idle  stat=0x100  if_type=N  fwd=N  ifindex=N
//   actual=N (mgmt)  members=... (trunk)  nostats (statistics switch off)
// Rates are bit/s with k/M/G/T suffixes or a percentage of the speed; `stat` adds an if_statistics
// row of that row type (0 removes the default row of subinterfaces and routed interfaces).
#ifndef ZOR_HOST_INVENTORY_H
#define ZOR_HOST_INVENTORY_H

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "host/traffic.h"

namespace host {

enum class IfKind { Port, Trunk, Subif, Routed, Mgmt };

const char *KindName(IfKind kind);

struct InterfaceDecl {
    IfKind kind = IfKind::Port;
    std::string name;
    uint32_t ifindex = 0;       // the store key (for a management port: its logical index)
    uint32_t actualIfindex = 0; // management port: index of its ifm_port_statistics row
    uint32_t ifType = 0;
    uint32_t forwardType = 0;
    uint64_t speed = 0;      // bits per second
    uint32_t statType = 0;   // if_statistics row type; 0 = no if_statistics row
    bool statsEnabled = true;
    TrafficProfile traffic;
    std::vector<std::string> members; // trunk member names
};

// An interface of this kind with the kind's interface type, forwarding type, speed and row type.
InterfaceDecl Declare(IfKind kind, const std::string &name, uint32_t ifindex = 0);

// The device simulates every second of four flow intervals before it starts: an hour at most.
constexpr uint32_t kMaxFlowInterval = 3600;

struct Inventory {
    uint32_t boardType = 6;
    uint32_t flowInterval = 30;
    std::vector<InterfaceDecl> interfaces;

    const InterfaceDecl *Find(const std::string &name) const;
    // The trunk member indexes, in listed order.
    std::vector<uint32_t> MemberIndexes(const InterfaceDecl &trunk) const;
};

struct InventoryShape {
    uint32_t ports = 48;
    uint32_t trunks = 4;
    uint32_t subifs = 64;
    uint32_t routed = 8;
};

// The default top-of-rack device, its traffic drawn from the seed (see inventory.cpp).
Inventory DefaultInventory(const InventoryShape &shape, uint64_t seed);
// Throws HostError (exit code 2) naming the source and line of the first problem.
Inventory ParseInventory(std::istream &in, const std::string &source);
Inventory LoadInventoryFile(const std::string &path);
// The inventory in the text format; parsing it gives the same inventory back.
std::string FormatInventory(const Inventory &inv);

} // namespace host

#endif
