#include "host/linux_links.h"

#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netlink/netlink.h>
#include <netlink/route/link.h>
#include <netlink/route/link/vlan.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "host/common.h"

namespace host {

namespace {

constexpr uint64_t kMbit = 1000000;

// The speed the driver reports, through the ethtool link settings of the socket's namespace; 0 when
// the link has none (loopback, most virtual links) or reports it unknown.
uint64_t LinkSpeed(int fd, const std::string &name)
{
    if (fd < 0 || name.size() >= IFNAMSIZ) {
        return 0;
    }
    // The request carries room for the link-mode bitmaps after the fixed part; the kernel first
    // answers how many 32-bit words they take, then fills them.
    alignas(ethtool_link_settings) char buffer[sizeof(ethtool_link_settings) + 3 * 127 * sizeof(uint32_t)] = {};
    ethtool_link_settings &req = *reinterpret_cast<ethtool_link_settings *>(buffer);
    ifreq ifr{};
    std::memcpy(ifr.ifr_name, name.c_str(), name.size());
    ifr.ifr_data = buffer;
    req.cmd = ETHTOOL_GLINKSETTINGS;
    if (ioctl(fd, SIOCETHTOOL, &ifr) != 0 || req.link_mode_masks_nwords >= 0) {
        return 0;
    }
    req.link_mode_masks_nwords = static_cast<int8_t>(-req.link_mode_masks_nwords);
    req.cmd = ETHTOOL_GLINKSETTINGS;
    if (ioctl(fd, SIOCETHTOOL, &ifr) != 0) {
        return 0;
    }
    const uint32_t mbit = req.speed;
    return mbit == 0 || mbit == static_cast<uint32_t>(SPEED_UNKNOWN) ? 0 : mbit * kMbit;
}

Ipv6Stats ReadSnmp6(const std::string &name)
{
    // thread-self: the namespace of this thread, which is the one the reader entered.
    std::ifstream in("/proc/thread-self/net/dev_snmp6/" + name);
    if (!in) {
        return {}; // IPv6 is off on this link
    }
    return ParseSnmp6(std::string(std::istreambuf_iterator<char>(in), {}));
}

void EnterNamespace(const std::string &netns)
{
    const std::string path = netns.find('/') == std::string::npos ? "/run/netns/" + netns : netns;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw InputError("cannot open network namespace " + path + ": " + std::strerror(errno));
    }
    const int rc = setns(fd, CLONE_NEWNET);
    const int err = errno;
    close(fd);
    if (rc != 0) {
        throw InputError("cannot enter network namespace " + path + ": " + std::strerror(err));
    }
}

} // namespace

LinkRecord LinkFromNetlink(rtnl_link *link)
{
    LinkRecord r;
    r.ifindex = static_cast<uint32_t>(rtnl_link_get_ifindex(link));
    const char *name = rtnl_link_get_name(link);
    r.name = name ? name : "";
    const char *kind = rtnl_link_get_type(link);
    r.kind = kind ? kind : "";
    r.arpType = rtnl_link_get_arptype(link);
    r.master = static_cast<uint32_t>(rtnl_link_get_master(link));
    r.lower = static_cast<uint32_t>(rtnl_link_get_link(link));
    if (rtnl_link_is_vlan(link)) {
        r.vlanId = static_cast<uint16_t>(rtnl_link_vlan_get_id(link));
    }
    LinkStats &s = r.stats;
    s.rxBytes = rtnl_link_get_stat(link, RTNL_LINK_RX_BYTES);
    s.txBytes = rtnl_link_get_stat(link, RTNL_LINK_TX_BYTES);
    s.rxPackets = rtnl_link_get_stat(link, RTNL_LINK_RX_PACKETS);
    s.txPackets = rtnl_link_get_stat(link, RTNL_LINK_TX_PACKETS);
    s.rxErrors = rtnl_link_get_stat(link, RTNL_LINK_RX_ERRORS);
    s.txErrors = rtnl_link_get_stat(link, RTNL_LINK_TX_ERRORS);
    s.rxDropped = rtnl_link_get_stat(link, RTNL_LINK_RX_DROPPED);
    s.txDropped = rtnl_link_get_stat(link, RTNL_LINK_TX_DROPPED);
    s.multicast = rtnl_link_get_stat(link, RTNL_LINK_MULTICAST);
    s.rxCrcErrors = rtnl_link_get_stat(link, RTNL_LINK_RX_CRC_ERR);
    return r;
}

Ipv6Stats ParseSnmp6(const std::string &text)
{
    Ipv6Stats v;
    bool transmits = false;
    uint64_t requests = 0;
    std::istringstream in(text);
    std::string key;
    uint64_t value = 0;
    while (in >> key >> value) {
        if (key == "Ip6InReceives") {
            v.inPackets = value;
        } else if (key == "Ip6InOctets") {
            v.inBytes = value;
        } else if (key == "Ip6OutTransmits") {
            v.outPackets = value;
            transmits = true;
        } else if (key == "Ip6OutRequests") {
            requests = value;
        } else if (key == "Ip6OutOctets") {
            v.outBytes = value;
        }
    }
    if (!transmits) {
        v.outPackets = requests;
    }
    return v;
}

LinkReader::LinkReader(const std::string &netns)
{
    if (!netns.empty()) {
        EnterNamespace(netns);
    }
    sock_ = nl_socket_alloc();
    int rc = sock_ == nullptr ? -NLE_NOMEM : nl_connect(sock_, NETLINK_ROUTE);
    if (rc == 0) {
        rc = rtnl_link_alloc_cache(sock_, AF_UNSPEC, &cache_);
    }
    if (rc != 0) {
        const std::string why = nl_geterror(rc);
        if (sock_ != nullptr) {
            nl_socket_free(sock_);
        }
        throw HostError(kExitRuntime, "cannot read the links over rtnetlink: " + why);
    }
    ioctlFd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

LinkReader::~LinkReader()
{
    nl_cache_free(cache_);
    nl_socket_free(sock_);
    if (ioctlFd_ >= 0) {
        close(ioctlFd_);
    }
}

bool LinkReader::Read(std::vector<LinkRecord> &links, std::string &error)
{
    const int rc = nl_cache_refill(sock_, cache_);
    if (rc != 0) {
        error = nl_geterror(rc);
        return false;
    }
    links.clear();
    for (nl_object *o = nl_cache_get_first(cache_); o != nullptr; o = nl_cache_get_next(o)) {
        LinkRecord r = LinkFromNetlink(reinterpret_cast<rtnl_link *>(o));
        r.speed = LinkSpeed(ioctlFd_, r.name);
        r.ipv6 = ReadSnmp6(r.name);
        links.push_back(std::move(r));
    }
    std::sort(links.begin(), links.end(),
              [](const LinkRecord &a, const LinkRecord &b) { return a.ifindex < b.ifindex; });
    return true;
}

} // namespace host
