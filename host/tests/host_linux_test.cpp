// The machine's own links as the device (zor_host --source linux):
//   - the mapping of bonds, their members and VLANs, from RTM_NEWLINK messages built as the kernel
//     sends them in a link dump and parsed by libnl, through the store and the plugin;
//   - for real, in network namespaces of the test's own: a veth pair with a known number of frames
//     across it (counters equal the kernel's as of the sample, rates within 5 % of the traffic
//     sent), links that appear, vanish and are renamed, a bond of two veths with a VLAN on it
//     where the kernel has those drivers, and --netns.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/if_link.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <sched.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "host/decode.h"
#include "host/linux_device.h"
#include "host/loader.h"
#include "host/subscriptions.h"
#include "host_test_support.h"
#include "standin/standin.h"

using namespace host;
using namespace hosttest;

namespace {

// ---- Mapping over netlink messages ------------------------------------------------------------

struct LinkMsg {
    uint32_t index;
    const char *name;
    unsigned arpType;
    const char *kind; // "" for hardware
    uint32_t master;
    uint32_t lower;
    uint16_t vlan;
    uint64_t rx; // bytes received; the other counters derive from it
};

// One RTM_NEWLINK message of a link dump, parsed by libnl's link parser.
LinkRecord Parse(const LinkMsg &l)
{
    nl_msg *m = nlmsg_alloc_simple(RTM_NEWLINK, NLM_F_MULTI);
    ifinfomsg ifi{};
    ifi.ifi_family = AF_UNSPEC;
    ifi.ifi_type = static_cast<unsigned short>(l.arpType);
    ifi.ifi_index = static_cast<int>(l.index);
    ifi.ifi_flags = IFF_UP | IFF_RUNNING | (l.master ? IFF_SLAVE : 0) | (std::strcmp(l.kind, "bond") ? 0 : IFF_MASTER);
    nlmsg_append(m, &ifi, sizeof(ifi), NLMSG_ALIGNTO);
    nla_put_string(m, IFLA_IFNAME, l.name);
    nla_put_u32(m, IFLA_MTU, 1500);
    if (l.master) {
        nla_put_u32(m, IFLA_MASTER, l.master);
    }
    if (l.lower) {
        nla_put_u32(m, IFLA_LINK, l.lower);
    }
    rtnl_link_stats64 st{};
    st.rx_bytes = l.rx;
    st.rx_packets = l.rx / 100;
    st.tx_bytes = 2 * l.rx;
    st.tx_packets = l.rx / 50;
    st.multicast = l.rx / 1000;
    st.rx_errors = 1;
    st.tx_dropped = 2;
    nla_put(m, IFLA_STATS64, sizeof(st), &st);
    if (*l.kind || l.master) {
        nlattr *info = nla_nest_start(m, IFLA_LINKINFO);
        if (*l.kind) {
            nla_put_string(m, IFLA_INFO_KIND, l.kind);
        }
        if (l.vlan) {
            nlattr *data = nla_nest_start(m, IFLA_INFO_DATA);
            nla_put_u16(m, IFLA_VLAN_ID, l.vlan);
            nla_nest_end(m, data);
        }
        if (l.master) {
            nla_put_string(m, IFLA_INFO_SLAVE_KIND, "bond");
        }
        nla_nest_end(m, info);
    }
    nlmsg_set_proto(m, NETLINK_ROUTE);
    std::vector<LinkRecord> out;
    const int rc = nl_msg_parse(
        m, [](nl_object *o, void *arg) {
            static_cast<std::vector<LinkRecord> *>(arg)->push_back(LinkFromNetlink(reinterpret_cast<rtnl_link *>(o)));
        },
        &out);
    nlmsg_free(m);
    EXPECT_EQ(rc, 0) << l.name;
    EXPECT_EQ(out.size(), 1u) << l.name;
    return out.empty() ? LinkRecord{} : out[0];
}

// One tick of a subscription on the plugin: every value by interface (full name) and member.
using Report = std::map<std::string, std::map<std::string, uint64_t>>;
Report Tick(const LoadedPlugin &plugin, const std::string &sub, uint32_t task)
{
    const Subscription s = ParseSubscription(sub, "test");
    Report got;
    standin::SetUploadHandler([&](uint32_t, const SampleData *d) -> uint32_t {
        const DecodedMessage m = DecodeMessage(s.sensor->model, s.json(), reinterpret_cast<const uint8_t *>(d + 1),
                                               d->dataLen);
        EXPECT_EQ(m.error, "");
        for (const DecodedInterface &i : m.interfaces) {
            for (const DecodedValue &v : i.values) {
                got[i.isSubif ? i.name + "." + std::to_string(i.subif) : i.name][v.key] = v.number;
            }
        }
        return 0;
    });
    TlmTaskInfo cfg = BuildTaskInfo(s);
    const Registration *reg = plugin.Find(s.sensor->name);
    EXPECT_TRUE(reg != nullptr && reg->taskProc(0xC0DE0000u + task, task, &cfg) == 0) << sub;
    standin::SetUploadHandler(nullptr);
    return got;
}

std::set<std::string> Names(const Report &r)
{
    std::set<std::string> n;
    for (const auto &i : r) {
        n.insert(i.first);
    }
    return n;
}

} // namespace

TEST(LinuxLinks, BondMembersAndVlanFromNetlinkMessagesThroughThePlugin)
{
    const LinkMsg msgs[] = {
        {1, "lo", ARPHRD_LOOPBACK, "", 0, 0, 0, 1000},
        {2, "eth0", ARPHRD_ETHER, "", 0, 0, 0, 50000},
        {3, "va1", ARPHRD_ETHER, "veth", 5, 4, 0, 300000},
        {4, "va2", ARPHRD_ETHER, "veth", 5, 3, 0, 700000},
        {5, "bond0", ARPHRD_ETHER, "bond", 0, 0, 0, 1000000},
        {6, "bond0.10", ARPHRD_ETHER, "vlan", 0, 5, 10, 200000},
        {7, "br0", ARPHRD_ETHER, "bridge", 0, 0, 0, 9000},
    };
    std::vector<LinkRecord> links;
    for (const LinkMsg &m : msgs) {
        links.push_back(Parse(m));
        links.back().speed = m.index == 5 ? 20000000000ull : m.index == 3 || m.index == 4 ? 10000000000ull : 0;
    }
    EXPECT_EQ(links[2].kind, "veth");
    EXPECT_EQ(links[2].master, 5u);
    EXPECT_EQ(links[5].vlanId, 10);
    EXPECT_EQ(links[5].lower, 5u);
    EXPECT_EQ(links[4].stats.txPackets, 20000u);
    links[4].ipv6.inBytes = 100000; // the bond carries IP; its members do not
    links[4].ipv6.inPackets = 400;

    std::vector<LinkRecord> now = links;
    LinuxDevice device(
        [&](std::vector<LinkRecord> &l, std::string &) {
            l = now;
            return true;
        },
        10);
    standin::ResetAll();
    standin::SetLogCapture(false);
    standin::SetClockUs(1800000000ull * 1000000);
    device.Start(standin::NowUs());
    const LoadedPlugin plugin = LoadPlugin(DefaultPluginPath(), 6, 1);
    ASSERT_EQ(plugin.initResult, 0u);

    // ip-statistics: the bond from its own row (its members have none: IP runs on the bond), the
    // port eth0 (0x10), loopback and the bridge (0x1000); the VLAN is a subinterface only.
    const auto ip = Tick(plugin, "ipstat 1s", 1);
    EXPECT_EQ(Names(ip), (std::set<std::string>{"bond0", "br0", "eth0", "lo"}));
    EXPECT_EQ(ip.at("bond0").at("receive-ip-byte"), 1000000u);
    EXPECT_EQ(ip.at("bond0").at("receive-ipv6-byte"), 100000u);
    EXPECT_EQ(ip.at("bond0").at("receive-ipv4-byte"), 900000u); // link minus IPv6
    EXPECT_EQ(ip.at("bond0").at("receive-ipv4-packet"), 10000u - 400);
    EXPECT_EQ(ip.at("eth0").at("send-ip-byte"), 100000u);

    // common-statistics: ports from their port rows, the trunk as the sum of its members (with the
    // 20 bytes of line overhead per packet), the VLAN (0x1), loopback and bridge (0x1000).
    const auto common = Tick(plugin, "common 1s", 2);
    EXPECT_EQ(Names(common), (std::set<std::string>{"bond0", "bond0.10", "br0", "eth0", "lo", "va1", "va2"}));
    EXPECT_EQ(common.at("bond0").at("receive-byte"), 300000u + 700000 + 20 * (3000 + 7000));
    EXPECT_EQ(common.at("va1").at("receive-multicast-packet"), 300u);
    EXPECT_EQ(common.at("va1").at("receive-unicast-packet"), 3000u - 300);
    EXPECT_EQ(common.at("bond0.10").at("receive-byte"), 200000u);
    EXPECT_EQ(common.at("lo").at("receive-error-packet"), 0u); // the if_statistics path has none

    const auto subif = Tick(plugin, "subif 1s", 3);
    EXPECT_EQ(Names(subif), (std::set<std::string>{"bond0.10"}));
    EXPECT_EQ(subif.at("bond0.10").at("in-octets"), 200000u);
    EXPECT_EQ(subif.at("bond0.10").at("out-octets"), 400000u);

    const auto mib = Tick(plugin, "mib 1s", 4);
    EXPECT_EQ(Names(mib), (std::set<std::string>{"bond0", "br0", "eth0", "lo", "va1", "va2"}));
    EXPECT_EQ(mib.at("bond0").at("send-drop-packet"), 4u);

    // A second later: va2 renamed, the bridge gone, eth0 a new link under its old index (counters
    // went back), and va1 out of the bond (now a port with its own IP row).
    now = links;
    now[3].name = "va2x";
    now.erase(now.begin() + 6);
    now[1].stats.rxBytes = 10;
    now[1].stats.rxPackets = 1;
    now[2].master = 0;
    standin::AdvanceClockUs(1000000);
    device.AdvanceTo(standin::NowUs());
    const auto after = Tick(plugin, "common 1s", 2);
    EXPECT_EQ(Names(after), (std::set<std::string>{"bond0", "bond0.10", "eth0", "lo", "va1", "va2x"}));
    EXPECT_EQ(after.at("eth0").at("receive-byte"), 10u + 20);
    EXPECT_EQ(after.at("bond0").at("receive-byte"), 700000u + 20 * 7000);
    EXPECT_EQ(Names(Tick(plugin, "ipstat 1s", 1)), (std::set<std::string>{"bond0", "eth0", "lo", "va1"}));
    EXPECT_EQ(standin::store::FindIf(7), nullptr);
    EXPECT_EQ(standin::store::FindIfStat(7), nullptr);
}

// ---- Real links in namespaces of the test's own ------------------------------------------------

namespace {

// Moves the test process into a network namespace of its own (for good: each test runs in a
// process of its own). False with the reason when that is not allowed here.
bool OwnNetworkNamespace(std::string &why)
{
    if (unshare(CLONE_NEWNET) != 0) {
        why = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno) + " (needs root)";
        return false;
    }
    return true;
}

// Runs a shell command in the test's namespace, its output to the test's log; the exit code.
int Sh(const std::string &cmd)
{
    const int st = std::system((cmd + " >>" + Quote(Tmp("commands.log")) + " 2>&1").c_str());
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

void WriteSysctl(const std::string &path, const std::string &value)
{
    std::ofstream(std::string("/proc/sys/net/") + path) << value;
}

struct KernelLink {
    std::string mac;
    uint64_t rxBytes = 0, rxPackets = 0, txBytes = 0, txPackets = 0, multicast = 0;
    bool operator==(const KernelLink &o) const
    {
        return rxBytes == o.rxBytes && rxPackets == o.rxPackets && txBytes == o.txBytes && txPackets == o.txPackets;
    }
};

// The kernel's own account of the links: `ip -s -j link`.
std::map<std::string, KernelLink> Kernel()
{
    std::string text;
    if (FILE *p = popen("ip -s -j link", "r")) {
        char buf[4096];
        size_t n;
        while ((n = fread(buf, 1, sizeof(buf), p)) > 0) {
            text.append(buf, n);
        }
        pclose(p);
    }
    std::map<std::string, KernelLink> links;
    for (const J &l : J::Parse(text).a) {
        KernelLink k;
        k.mac = l["address"].s;
        const J &s = l["stats64"];
        k.rxBytes = s["rx"]["bytes"].u();
        k.rxPackets = s["rx"]["packets"].u();
        k.multicast = s["rx"]["multicast"].u();
        k.txBytes = s["tx"]["bytes"].u();
        k.txPackets = s["tx"]["packets"].u();
        links[l["ifname"].s] = k;
    }
    return links;
}

Ipv6Stats KernelIpv6(const std::string &link)
{
    return ParseSnmp6(Slurp("/proc/net/dev_snmp6/" + link));
}

// Kernel counters of `names` that stood still for two seconds, and since when (ms since 1970).
bool Quiet(const std::vector<std::string> &names, std::map<std::string, KernelLink> &k, uint64_t &sinceMs)
{
    return WaitFor(30, [&] {
        const uint64_t t = NowMs();
        const auto a = Kernel();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        k = Kernel();
        sinceMs = t;
        for (const std::string &n : names) {
            if (!(a.at(n) == k.at(n))) {
                return false;
            }
        }
        return true;
    });
}

// ---- Traffic ----

constexpr size_t kFrame = 500; // bytes on the link, Ethernet header included
constexpr size_t kPayload4 = kFrame - 14 - 20 - 8;
constexpr size_t kPayload6 = kFrame - 14 - 40 - 8;

// The far end of a link as a next hop with a fixed MAC: datagrams to it cross the link and are
// dropped by the receiving end (not its address, no forwarding) without any answer, so only they
// count on the link. Its addresses are ADDR4.99 and ADDR6::99.
bool PermanentNeighbor(const std::string &link, const std::string &net4, const std::string &net6,
                       const std::string &mac)
{
    std::string cmd = "ip neigh replace " + net4 + ".99 lladdr " + mac + " dev " + link + " nud permanent";
    if (!net6.empty()) {
        cmd += " && ip -6 neigh replace " + net6 + "::99 lladdr " + mac + " dev " + link + " nud permanent";
    }
    return Sh(cmd) == 0;
}

// Sends UDP datagrams of kFrame bytes on the link to NET4.99 (and NET6::99, one in `v6Every`) at a
// steady pace: `perTick` every 10 ms for `ticks` ticks, late ticks catching up with the clock.
struct Sent {
    uint64_t v4 = 0, v6 = 0;
    uint64_t startMs = 0, endMs = 0;
};
Sent SendUdp(const std::string &net4, const std::string &net6, int ticks, int perTick, int v6Every)
{
    sockaddr_in to4{};
    to4.sin_family = AF_INET;
    to4.sin_port = htons(9);
    inet_pton(AF_INET, (net4 + ".99").c_str(), &to4.sin_addr);
    sockaddr_in6 to6{};
    to6.sin6_family = AF_INET6;
    to6.sin6_port = htons(9);
    inet_pton(AF_INET6, (net6 + "::99").c_str(), &to6.sin6_addr);
    const int fd4 = socket(AF_INET, SOCK_DGRAM, 0);
    const int fd6 = socket(AF_INET6, SOCK_DGRAM, 0);
    const std::vector<char> payload(kPayload4, 'z');
    Sent s;
    s.startMs = NowMs();
    const auto t0 = std::chrono::steady_clock::now();
    for (int t = 0, n = 0; t < ticks; ++t) {
        std::this_thread::sleep_until(t0 + std::chrono::milliseconds(10 * t));
        for (int k = 0; k < perTick; ++k, ++n) {
            const bool v6 = v6Every > 0 && n % v6Every == v6Every - 1;
            const ssize_t w =
                v6 ? sendto(fd6, payload.data(), kPayload6, 0, reinterpret_cast<sockaddr *>(&to6), sizeof(to6))
                   : sendto(fd4, payload.data(), kPayload4, 0, reinterpret_cast<sockaddr *>(&to4), sizeof(to4));
            EXPECT_GT(w, 0) << std::strerror(errno);
            (v6 ? s.v6 : s.v4) += w > 0 ? 1 : 0;
        }
    }
    std::this_thread::sleep_until(t0 + std::chrono::milliseconds(10 * ticks));
    s.endMs = NowMs();
    close(fd4);
    close(fd6);
    return s;
}

// ---- The host's output ----

// zor_host --source linux in the test's namespace, JSON lines into a file.
struct LinuxHost {
    std::string out = Tmp("linux.jsonl");
    Child child;
    LinuxHost(uint32_t flowInterval, const std::vector<std::string> &subs)
        : child(Args(out, flowInterval, subs), "zor_host")
    {
    }
    static std::vector<std::string> Args(const std::string &out, uint32_t flow, const std::vector<std::string> &subs)
    {
        std::vector<std::string> a = {ZOR_HOST_BINARY, "--source",    "linux",     "--flow-interval",
                                      std::to_string(flow), "--duration", "90s", "--output",
                                      out,             "--quiet"};
        for (const std::string &s : subs) {
            a.push_back("--sub");
            a.push_back(s);
        }
        return a;
    }
    std::vector<J> Lines() const { return JsonLines(Slurp(out)); }
    // Waits until a tick at or after `ms` has been written.
    bool TickAfter(uint64_t ms) const
    {
        return WaitFor(20, [&] {
            const std::vector<J> lines = Lines();
            return !lines.empty() && lines.back()["timestampMs"].u() >= ms;
        });
    }
};

struct Entry {
    uint64_t ms = 0;
    const J *node = nullptr;
};

// The entries of an interface in a task's lines whose tick time lies in [fromMs, toMs].
std::vector<Entry> EntriesOf(const std::vector<J> &lines, uint64_t task, const std::string &name, uint64_t fromMs,
                             uint64_t toMs)
{
    std::vector<Entry> r;
    for (const J &l : lines) {
        const uint64_t ms = l["timestampMs"].u();
        if (l["task"].u() != task || ms < fromMs || ms > toMs) {
            continue;
        }
        for (const J &i : l["interfaces"].a) {
            const std::string full = i["name"].s + (i["subinterface"].type == J::Num ? "." + i["subinterface"].s : "");
            if (full == name) {
                for (const auto &m : i.o) {
                    if (m.second.type == J::Obj) {
                        r.push_back({ms, &m.second});
                    }
                }
            }
        }
    }
    return r;
}

// Names a task reported in its last tick.
std::set<std::string> LastTickNames(const std::vector<J> &lines, uint64_t task)
{
    uint64_t last = 0;
    for (const J &l : lines) {
        if (l["task"].u() == task) {
            last = std::max(last, l["timestampMs"].u());
        }
    }
    std::set<std::string> names;
    for (const J &l : lines) {
        if (l["task"].u() == task && l["timestampMs"].u() + 300 >= last) {
            for (const J &i : l["interfaces"].a) {
                names.insert(i["name"].s);
            }
        }
    }
    return names;
}

// The kernel's counters as of the host's samples: counters held still over a stretch that
// includes whole host collections; the latest entry of each task is checked against them.
struct Settled {
    std::map<std::string, KernelLink> k;
    std::map<std::string, Ipv6Stats> v6;
    uint64_t fromMs = 0, toMs = 0;
};
bool Settle(const LinuxHost &host, const std::vector<std::string> &names, Settled &s)
{
    return WaitFor(40, [&] {
        if (!Quiet(names, s.k, s.fromMs)) {
            return false;
        }
        for (const std::string &n : names) {
            s.v6[n] = KernelIpv6(n);
        }
        // mib-statistics reports two seconds back, between one-second snapshots: wait for a tick
        // whose interpolation stands on collections from the quiet stretch.
        if (!host.TickAfter(s.fromMs + 4500)) {
            return false;
        }
        s.toMs = NowMs();
        const auto again = Kernel();
        for (const std::string &n : names) {
            if (!(again.at(n) == s.k.at(n)) || KernelIpv6(n).inBytes != s.v6[n].inBytes) {
                return false;
            }
        }
        return true;
    });
}

uint64_t LatestValue(const std::vector<J> &lines, uint64_t task, const std::string &name, const std::string &key,
                     const Settled &s)
{
    const auto e = EntriesOf(lines, task, name, s.fromMs + 4000, s.toMs);
    EXPECT_FALSE(e.empty()) << "task " << task << " reported no " << name << " while the counters stood still";
    return e.empty() ? 0 : (*e.back().node)[key].u();
}

} // namespace

TEST(LinuxNamespace, VethCountersEqualTheKernelAndRatesFollowTheTrafficSent)
{
    std::string why;
    if (!OwnNetworkNamespace(why)) {
        GTEST_SKIP() << why;
    }
    // Quiet links: no router solicitations, duplicate address detection or link-local addresses,
    // and fixed neighbors, so that once the links settle only the test's datagrams cross.
    WriteSysctl("ipv6/conf/default/router_solicitations", "0");
    WriteSysctl("ipv6/conf/default/accept_dad", "0");
    WriteSysctl("ipv6/conf/default/accept_ra", "0");
    ASSERT_EQ(Sh("ip link set lo up && ip link add va type veth peer name vb && ip link set va addrgenmode none && "
                 "ip link set vb addrgenmode none && ip addr add 198.18.0.1/24 dev va && "
                 "ip -6 addr add 2001:db8:16::1/64 dev va nodad && ip addr add 198.18.1.2/24 dev vb && "
                 "ip -6 addr add 2001:db8:17::2/64 dev vb nodad && ip link set va up && ip link set vb up"),
              0)
        << Slurp(Tmp("commands.log"));
    ASSERT_TRUE(PermanentNeighbor("va", "198.18.0", "2001:db8:16", Kernel().at("vb").mac));

    constexpr uint32_t kFlow = 2;
    LinuxHost host(kFlow, {"ipstat 1s", "common 1s encoding=json", "mib 1s"});
    ASSERT_TRUE(host.TickAfter(0)) << host.child.Err();
    std::map<std::string, KernelLink> before;
    uint64_t sinceMs = 0;
    ASSERT_TRUE(Quiet({"va", "vb"}, before, sinceMs));
    const Ipv6Stats v6Before = KernelIpv6("vb");

    // 7 s at 500 frames/s, one in five IPv6: 250 000 bytes/s across the pair.
    const Sent sent = SendUdp("198.18.0", "2001:db8:16", 700, 5, 5);
    const uint64_t frames = sent.v4 + sent.v6;
    ASSERT_EQ(frames, 3500u);
    Settled s;
    ASSERT_TRUE(Settle(host, {"va", "vb"}, s)) << "the links never settled";

    // The kernel saw exactly the frames sent, the IPv6 ones at vb's IP layer too.
    EXPECT_EQ(s.k["va"].txPackets - before["va"].txPackets, frames);
    EXPECT_EQ(s.k["va"].txBytes - before["va"].txBytes, frames * kFrame);
    EXPECT_EQ(s.k["vb"].rxPackets - before["vb"].rxPackets, frames);
    EXPECT_EQ(s.k["vb"].rxBytes - before["vb"].rxBytes, frames * kFrame);
    EXPECT_EQ(s.v6["vb"].inPackets - v6Before.inPackets, sent.v6);
    EXPECT_EQ(s.v6["vb"].inBytes - v6Before.inBytes, sent.v6 * (kFrame - 14));

    // Counters of both ends equal the kernel's as of the sample: ip-statistics (task 1) the link
    // counters with IPv6 from dev_snmp6 and IPv4 as the rest; common- (2) and mib-statistics (3)
    // the port counters with 20 bytes of line overhead per packet.
    const std::vector<J> lines = host.Lines();
    for (const char *end : {"va", "vb"}) {
        const KernelLink &kl = s.k[end];
        const Ipv6Stats &k6 = s.v6[end];
        const struct {
            uint64_t task;
            const char *key;
            uint64_t want;
        } checks[] = {
            {1, "receive-ip-byte", kl.rxBytes},
            {1, "receive-ip-packet", kl.rxPackets},
            {1, "send-ip-byte", kl.txBytes},
            {1, "send-ip-packet", kl.txPackets},
            {1, "receive-ipv6-byte", k6.inBytes},
            {1, "receive-ipv6-packet", k6.inPackets},
            {1, "receive-ipv4-byte", kl.rxBytes - k6.inBytes},
            {1, "send-ipv6-byte", k6.outBytes},
            {2, "receive-byte", kl.rxBytes + 20 * kl.rxPackets},
            {2, "send-byte", kl.txBytes + 20 * kl.txPackets},
            {2, "receive-packet", kl.rxPackets},
            {2, "send-packet", kl.txPackets},
            {2, "receive-multicast-packet", kl.multicast},
            {3, "receive-byte", kl.rxBytes + 20 * kl.rxPackets},
            {3, "send-packet", kl.txPackets},
        };
        for (const auto &c : checks) {
            EXPECT_EQ(LatestValue(lines, c.task, end, c.key, s), c.want) << end << " task " << c.task << " " << c.key;
        }
    }

    // Rates: ip-statistics samples whose flow interval lies within the sending.
    const double bitRate = 500.0 * kFrame * 8;
    const double v6BitRate = 100.0 * (kFrame - 14) * 8;
    int windows = 0;
    for (const char *end : {"va", "vb"}) {
        for (const Entry &e : EntriesOf(lines, 1, end, 0, UINT64_MAX)) {
            const uint64_t boundaryMs = e.ms / 1000 / kFlow * kFlow * 1000;
            if (boundaryMs - kFlow * 1000 < sent.startMs + 250 || boundaryMs > sent.endMs - 250) {
                continue;
            }
            ++windows;
            const bool rx = std::string(end) == "vb";
            const J &n = *e.node;
            EXPECT_NEAR(n[rx ? "receive-ip-bit-rate" : "send-ip-bit-rate"].u(), bitRate, bitRate * 0.05) << e.ms;
            EXPECT_NEAR(n[rx ? "receive-ip-packet-rate" : "send-ip-packet-rate"].u(), 500.0, 25.0) << e.ms;
            if (rx) {
                EXPECT_NEAR(n["receive-ipv6-bit-rate"].u(), v6BitRate, v6BitRate * 0.05) << e.ms;
            }
        }
    }
    EXPECT_GE(windows, 2) << "no flow interval fell within the sending";

    // Links that appear, vanish and are renamed while the host runs.
    ASSERT_EQ(Sh("ip link set vb down && ip link set vb name vbx && ip link add vc type veth peer name vd"), 0);
    uint64_t t = NowMs();
    ASSERT_TRUE(host.TickAfter(t + 1500));
    EXPECT_EQ(LastTickNames(host.Lines(), 2), (std::set<std::string>{"lo", "va", "vbx", "vc", "vd"}));
    ASSERT_EQ(Sh("ip link del vc"), 0);
    t = NowMs();
    ASSERT_TRUE(host.TickAfter(t + 1500));
    EXPECT_EQ(LastTickNames(host.Lines(), 2), (std::set<std::string>{"lo", "va", "vbx"}));
    EXPECT_EQ(LastTickNames(host.Lines(), 1), (std::set<std::string>{"lo", "va", "vbx"}));
    EXPECT_TRUE(host.child.Running()) << host.child.Err();
    EXPECT_EQ(host.child.Stop(), 0) << host.child.Err(); // a clean end, sanitizers included
}

TEST(LinuxNamespace, BondOfTwoVethsWithAVlanWhereTheKernelHasThem)
{
    std::string why;
    if (!OwnNetworkNamespace(why)) {
        GTEST_SKIP() << why;
    }
    WriteSysctl("ipv6/conf/default/disable_ipv6", "1");
    if (Sh("ip link add zbond type bond mode balance-xor") != 0) {
        GTEST_SKIP() << "this kernel has no bonding driver (ip link add type bond fails); the bond and VLAN "
                        "mapping is covered by LinuxLinks.BondMembersAndVlanFromNetlinkMessagesThroughThePlugin";
    }
    const bool vlan = Sh("ip link add link zbond name zbond.10 type vlan id 10") == 0;
    ASSERT_EQ(Sh("ip link add va1 type veth peer name vb1 && ip link add va2 type veth peer name vb2 && "
                 "ip link set va1 master zbond && ip link set va2 master zbond && ip link set zbond up && "
                 "ip link set vb1 up && ip link set vb2 up && ip addr add 198.18.2.1/24 dev zbond" +
                 std::string(vlan ? " && ip addr add 198.18.3.1/24 dev zbond.10 && ip link set zbond.10 up" : "")),
              0)
        << Slurp(Tmp("commands.log"));
    const std::string mac = Kernel().at("vb1").mac;
    ASSERT_TRUE(PermanentNeighbor("zbond", "198.18.2", "", mac));
    ASSERT_TRUE(!vlan || PermanentNeighbor("zbond.10", "198.18.3", "", mac));
    LinuxHost host(2, {"ipstat 1s", "common 1s", "subif 1s"});
    ASSERT_TRUE(host.TickAfter(0)) << host.child.Err();
    SendUdp("198.18.2", "", 100, 4, 0);
    if (vlan) {
        SendUdp("198.18.3", "", 100, 2, 0);
    }
    std::vector<std::string> names = {"zbond", "va1", "va2"};
    if (vlan) {
        names.push_back("zbond.10");
    }
    Settled s;
    ASSERT_TRUE(Settle(host, names, s));
    const std::vector<J> lines = host.Lines();
    // The trunk's ip-statistics are the bond's own counters; common-statistics sum its members.
    EXPECT_EQ(LatestValue(lines, 1, "zbond", "send-ip-byte", s), s.k["zbond"].txBytes);
    EXPECT_EQ(LatestValue(lines, 2, "zbond", "send-byte", s),
              s.k["va1"].txBytes + s.k["va2"].txBytes + 20 * (s.k["va1"].txPackets + s.k["va2"].txPackets));
    EXPECT_EQ(LastTickNames(lines, 1).count("va1"), 0u) << "bond members have no IP statistics";
    if (!vlan) {
        GTEST_SKIP() << "this kernel has no 802.1Q driver (ip link add type vlan fails); the VLAN part is "
                        "covered by LinuxLinks.BondMembersAndVlanFromNetlinkMessagesThroughThePlugin";
    }
    EXPECT_EQ(LatestValue(lines, 3, "zbond.10", "out-octets", s), s.k["zbond.10"].txBytes);
}

TEST(LinuxNamespace, NetnsReadsTheNamedNamespace)
{
    std::string why;
    if (!OwnNetworkNamespace(why)) {
        GTEST_SKIP() << why;
    }
    ASSERT_EQ(Sh("ip link add qa type veth peer name qb"), 0);
    // Another namespace, held by a child process and named by its path.
    const std::string ready = Tmp("peer.ready");
    Child peer({"unshare", "-n", "sh", "-c",
                "ip link add pa type veth peer name pb && touch " + ready + " && exec sleep 30"},
               "peer");
    ASSERT_TRUE(WaitFor(10, [&] { return access(ready.c_str(), F_OK) == 0; })) << peer.Err();
    const std::string netns = "/proc/" + std::to_string(peer.Pid()) + "/ns/net";
    Child dump({ZOR_HOST_BINARY, "dump-inventory", "--source", "linux", "--netns", netns}, "dump");
    ASSERT_TRUE(dump.Wait(20));
    EXPECT_EQ(dump.Status(), 0) << dump.Err();
    const std::string inv = dump.Out();
    EXPECT_NE(inv.find("port pa speed=10G"), std::string::npos) << inv;
    EXPECT_NE(inv.find("port pb "), std::string::npos) << inv;
    EXPECT_NE(inv.find("routed lo speed=0 idle"), std::string::npos) << inv;
    EXPECT_EQ(inv.find("qa"), std::string::npos) << inv;
}
