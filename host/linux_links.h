// The machine's own network links as the Linux source of the host sees them: the link list and each
// link's 64-bit statistics from rtnetlink (one RTM_GETLINK dump through libnl-route-3), the
// per-interface IPv6 counters of /proc/net/dev_snmp6/<link>, and the speed the driver reports
// (ethtool link settings; unknown speed is 0).
#ifndef ZOR_HOST_LINUX_LINKS_H
#define ZOR_HOST_LINUX_LINKS_H

#include <cstdint>
#include <string>
#include <vector>

struct nl_cache;
struct nl_sock;
struct rtnl_link;

namespace host {

// The link counters the kernel keeps (struct rtnl_link_stats64) that the host uses.
struct LinkStats {
    uint64_t rxBytes = 0, txBytes = 0, rxPackets = 0, txPackets = 0;
    uint64_t rxErrors = 0, txErrors = 0, rxDropped = 0, txDropped = 0;
    uint64_t multicast = 0, rxCrcErrors = 0;
};

// The kernel's IPv6 counters of one interface (dev_snmp6): Ip6InReceives, Ip6InOctets, and
// Ip6OutTransmits with Ip6OutOctets (Ip6OutRequests on kernels that have no Ip6OutTransmits).
struct Ipv6Stats {
    uint64_t inPackets = 0, inBytes = 0, outPackets = 0, outBytes = 0;
};

struct LinkRecord {
    uint32_t ifindex = 0;
    std::string name;
    std::string kind;     // IFLA_INFO_KIND ("veth", "bond", "vlan", "bridge", ...); "" for hardware
    uint32_t arpType = 0; // ARPHRD_*
    uint32_t master = 0;  // IFLA_MASTER: the bond or bridge the link is enslaved to, 0 for none
    uint32_t lower = 0;   // IFLA_LINK: the link a VLAN sits on (a veth's peer for veth)
    uint16_t vlanId = 0;
    uint64_t speed = 0;   // bits per second, 0 when unknown
    LinkStats stats;
    Ipv6Stats ipv6;
};

// Name, kind, relations and statistics of a link object of libnl (speed and IPv6 counters are not
// in rtnetlink and stay 0).
LinkRecord LinkFromNetlink(rtnl_link *link);
// The counters of the text of a dev_snmp6 file ("Name value" lines); absent names give 0.
Ipv6Stats ParseSnmp6(const std::string &text);

// Reads the links of the network namespace the process is in, or of a named one (`ip netns` name
// or a path such as /proc/PID/ns/net), which the process then enters for good: sockets opened
// before (the metrics listener) stay where they were. Throws HostError when the namespace cannot
// be entered (exit code 2) or rtnetlink cannot be opened (exit code 1).
class LinkReader {
public:
    explicit LinkReader(const std::string &netns = "");
    ~LinkReader();
    LinkReader(const LinkReader &) = delete;
    LinkReader &operator=(const LinkReader &) = delete;

    // Every link, by interface index. False (and `error` set) when the dump failed.
    bool Read(std::vector<LinkRecord> &links, std::string &error);

private:
    nl_sock *sock_ = nullptr;
    nl_cache *cache_ = nullptr;
    int ioctlFd_ = -1;
};

} // namespace host

#endif
