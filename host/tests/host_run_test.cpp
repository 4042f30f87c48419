// Whole runs of the host binary in simulated time: what a collector receives, per sensor and
// interval, compared with the traffic model; and the host's refusals of bad input.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "host/device.h"
#include "host/inventory.h"
#include "host_test_support.h"
#include "standin/standin.h"

using namespace hosttest;

namespace {

struct HostResult {
    int code = -1;
    std::string out;
    std::string err;
    std::vector<J> lines;

    std::vector<const J *> Of(const std::string &sensor, uint64_t task = 0) const
    {
        std::vector<const J *> r;
        for (const J &l : lines) {
            if (l["sensor"].s == sensor && (task == 0 || l["task"].u() == task)) {
                r.push_back(&l);
            }
        }
        return r;
    }
    // Every reported interface (or subinterface) entry of a task, with the tick time it belongs to.
    std::vector<std::pair<uint64_t, const J *>> Entries(uint64_t task, const std::string &name = "") const
    {
        std::vector<std::pair<uint64_t, const J *>> r;
        for (const J &l : lines) {
            for (const J &i : l["interfaces"].a) {
                if (l["task"].u() == task && (name.empty() || FullName(i) == name)) {
                    r.emplace_back(l["timestampMs"].u(), &i);
                }
            }
        }
        return r;
    }
    std::set<std::string> Names(uint64_t task) const
    {
        std::set<std::string> n;
        for (const auto &e : Entries(task)) {
            n.insert(FullName(*e.second));
        }
        return n;
    }
    static std::string FullName(const J &i)
    {
        return i["name"].s + (i["subinterface"].type == J::Num ? "." + i["subinterface"].s : "");
    }
};

HostResult Host(const std::vector<std::string> &args)
{
    const std::string out = Tmp("stdout");
    const std::string err = Tmp("stderr");
    std::string cmd = std::string(ZOR_HOST_LAUNCHER " ") + Quote(ZOR_HOST_BINARY);
    for (const std::string &a : args) {
        cmd += " " + Quote(a);
    }
    cmd += " >" + Quote(out) + " 2>" + Quote(err);
    HostResult r;
    const int status = std::system(cmd.c_str());
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = Slurp(out);
    r.err = Slurp(err);
    r.lines = JsonLines(r.out);
    return r;
}

// A small device whose traffic the tests know exactly (run with --jitter 0).
const char *kInventory = R"(board 6
flow-interval 10
port GE1/0/1 speed=10G in=1G out=400M pkt=500
port GE1/0/2 speed=10G idle
port GE1/0/3 speed=10G in=2G out=2G pkt=1000 stat=0x100
port GE1/0/4 speed=10G in=400M out=800M pkt=250 stat=0x100
trunk Eth-Trunk1 members=GE1/0/3,GE1/0/4 stat=0x100000
subif GE1/0/1.100 in=80M out=40M pkt=1000
subif GE1/0/1.200 idle
subif GE1/0/2.100 in=8M out=8M pkt=100
routed Vlanif10 in=80M out=40M pkt=1000 v6=25
routed LoopBack0 stat=0x1000 idle
mgmt MEth0/0/0 in=2M out=1M pkt=250
)";

constexpr uint64_t kStartMs = 1704067200000ull;

std::vector<std::string> Args(std::vector<std::string> subs, const std::string &duration = "60s",
                              const std::string &jitter = "0")
{
    std::vector<std::string> a = {"--inventory", WriteFile("inventory.txt", kInventory), "--jitter", jitter,
                                  "--duration", duration, "--quiet"};
    for (const std::string &s : subs) {
        a.push_back("--sub");
        a.push_back(s);
    }
    return a;
}

uint64_t Val(const J &entry, const std::string &node, const std::string &key)
{
    const J &v = entry[node][key];
    EXPECT_EQ(v.type, J::Num) << node << "." << key;
    return v.type == J::Num ? v.u() : 0;
}

} // namespace

TEST(HostRun, MessagesPerSensorAndInterval)
{
    const HostResult r = Host(Args({"ipstat 10s", "common 5s encoding=json", "subif 20s", "mib 10s stop=35s"}));
    ASSERT_EQ(r.code, 0) << r.err;
    // Rows per statistics type give one envelope each: ipstat 0x10, 0x100, 0x1000, 0x100000;
    // common ports, 0x100, 0x1, 0x1000, trunks; mib 0x100, 0x1000, ports, trunks.
    EXPECT_EQ(r.Of("ZOR_IFM_IFSTAT", 1).size(), 6u * 4);
    EXPECT_EQ(r.Of("ZOR_IFM_COMMONIFSTAT", 2).size(), 12u * 5);
    EXPECT_EQ(r.Of("ZOR_IFM_SUBIFSTAT", 3).size(), 3u);
    EXPECT_EQ(r.Of("ZOR_IFM_MIBIFSTAT", 4).size(), 4u * 4); // stopped before its fifth tick
    std::set<uint64_t> ticks;
    for (const J *l : r.Of("ZOR_IFM_COMMONIFSTAT")) {
        ticks.insert((*l)["timestampMs"].u());
        EXPECT_EQ((*l)["encoding"].s, "json");
        EXPECT_EQ((*l)["warnings"].type, J::Null) << "decoded with warnings";
    }
    EXPECT_EQ(ticks.size(), 12u);
    EXPECT_EQ(*ticks.begin(), kStartMs + 500);
    EXPECT_EQ(*ticks.rbegin(), kStartMs + 500 + 5000 * 11);
    const auto subifs = r.Of("ZOR_IFM_SUBIFSTAT");
    ASSERT_FALSE(subifs.empty());
    EXPECT_EQ((*subifs[0])["interfaces"].a.size(), 3u);
}

TEST(HostRun, DefaultRunCoversEverySensorTheBoardRegisters)
{
    const HostResult r = Host({"--duration", "30s"});
    ASSERT_EQ(r.code, 0) << r.err;
    std::map<std::string, std::set<std::string>> encodings;
    for (const J &l : r.lines) {
        encodings[l["sensor"].s].insert(l["encoding"].s);
    }
    for (const char *s : {"ZOR_IFM_SUBIFSTAT", "ZOR_IFM_IFSTAT", "ZOR_IFM_MIBIFSTAT", "ZOR_IFM_COMMONIFSTAT"}) {
        EXPECT_EQ(encodings[s], (std::set<std::string>{"gpb", "json"})) << s;
    }
    EXPECT_NE(r.err.find("4 sensors registered, 8 tasks"), std::string::npos) << r.err;
    // 64 subinterfaces in chunks of 50: two envelopes per tick.
    EXPECT_EQ(r.Of("ZOR_IFM_SUBIFSTAT", 1).size(), 3u * 2);

    const HostResult lpu = Host({"--board", "2", "--duration", "10s", "--quiet"});
    ASSERT_EQ(lpu.code, 0) << lpu.err;
    EXPECT_FALSE(lpu.lines.empty());
    for (const J &l : lpu.lines) {
        EXPECT_EQ(l["sensor"].s, "ZOR_IFM_SUBIFSTAT");
    }
}

TEST(HostRun, RatesFollowTheTrafficModel)
{
    const HostResult r = Host(Args({"ipstat 10s", "common 10s"}, "30s"));
    ASSERT_EQ(r.code, 0) << r.err;
    // Common port rates carry 20 bytes of line overhead per packet; trunks sum their members
    // (ipstat: the trunk's own idle row plus the members' rows) over the trunk's speed (2 × 10G).
    const struct {
        uint64_t task;
        const char *name;
        const char *key;
        std::string value;
    } rows[] = {
        {1, "Vlanif10", "receive-ip-bit-rate", "80000000"},
        {1, "Vlanif10", "send-ip-bit-rate", "40000000"},
        {1, "Vlanif10", "receive-ip-packet-rate", "10000"},
        {1, "Vlanif10", "receive-ipv6-bit-rate", "20000000"}, // v6=25
        {1, "Vlanif10", "receive-ipv4-bit-rate", "60000000"},
        {1, "Vlanif10", "receive-ipv6-packet-rate", "2500"},
        {1, "Eth-Trunk1", "receive-ip-bit-rate", "2400000000"},
        {1, "Eth-Trunk1", "receive-ip-packet-rate", "450000"},
        {1, "Eth-Trunk1", "send-ip-bit-rate", "2800000000"},
        {2, "GE1/0/1", "in-packet-rate", "250000"},
        {2, "GE1/0/1", "in-bit-rate", std::to_string((125000000u + 20 * 250000) * 8)},
        {2, "GE1/0/1", "out-bit-rate", std::to_string((50000000u + 20 * 100000) * 8)},
        {2, "GE1/0/1", "in-use-rate", "10.40%"},
        {2, "GE1/0/1", "out-use-rate", "4.16%"},
        {2, "MEth0/0/0", "in-packet-rate", "1000"}, // named by its logical index
        {2, "Eth-Trunk1", "in-bit-rate", std::to_string((300000000u + 20 * 450000) * 8)},
        {2, "Eth-Trunk1", "in-use-rate", "12.36%"},
    };
    for (const auto &row : rows) {
        const auto entries = r.Entries(row.task, row.name);
        EXPECT_EQ(entries.size(), 3u) << row.name;
        for (const auto &e : entries) {
            const J &node = (*e.second)[row.task == 1 ? "ip-statistics" : "common-statistics"];
            EXPECT_EQ(node[row.key].s, row.value) << row.name << " " << row.key;
        }
    }
    // Counters advance by one flow interval of traffic between ticks 10 s apart.
    const auto vlanif = r.Entries(1, "Vlanif10");
    ASSERT_EQ(vlanif.size(), 3u);
    EXPECT_EQ(Val(*vlanif[1].second, "ip-statistics", "receive-ip-byte") -
                  Val(*vlanif[0].second, "ip-statistics", "receive-ip-byte"),
              10u * 10000000);
}

TEST(HostRun, MibAndSubifCountersMatchTheDevice)
{
    const HostResult r = Host(Args({"mib 10s", "subif 10s"}, "40s"));
    ASSERT_EQ(r.code, 0) << r.err;
    // The same device in this process gives the expected absolute counters: mib counters are
    // interpolated half-way between the snapshots 2 and 1 s before the tick's second, less the
    // baseline the device keeps.
    std::istringstream text(kInventory);
    const host::Inventory inv = host::ParseInventory(text, "inventory");
    standin::ResetAll();
    host::Device dev(inv, 1, 0.0);
    const uint64_t t0 = kStartMs * 1000;
    dev.Start(t0);
    const auto mib = r.Entries(1, "GE1/0/1");
    const auto subif = r.Entries(2, "GE1/0/1.100");
    ASSERT_EQ(mib.size() + subif.size(), 8u);
    const host::Counters base = *dev.BaselineOf("GE1/0/1");
    const uint32_t port = inv.Find("GE1/0/1")->ifindex;
    for (size_t k = 0; k < 4; ++k) {
        const uint64_t tick = t0 + 500000 + k * 10000000;
        dev.AdvanceTo(tick);
        const standin::store::PortStatRow *row = standin::store::FindPortStat(port);
        ASSERT_NE(row, nullptr);
        const auto &pre2s = row->steps[(row->interval_index + 7) % 10];
        const auto &pre1s = row->steps[(row->interval_index + 8) % 10];
        ASSERT_EQ(pre2s.timestamp_coll_cur + 2500000, tick);
        const uint64_t pkts = (pre2s.in_packets + pre1s.in_packets) / 2 - base.inPackets;
        const uint64_t bytes = (pre2s.in_bytes + pre1s.in_bytes) / 2 - base.inBytes;
        EXPECT_EQ(Val(*mib[k].second, "mib-statistics", "receive-packet"), pkts) << "tick " << k;
        EXPECT_EQ(Val(*mib[k].second, "mib-statistics", "receive-byte"), bytes + 20 * pkts) << "tick " << k;
        // Subinterface counters are the latest flow-interval snapshot, without a baseline.
        EXPECT_EQ(Val(*subif[k].second, "counters", "in-octets"), dev.CountersOf("GE1/0/1.100")->inBytes);
    }
    standin::ResetAll();
}

TEST(HostRun, GpbAndJsonCarryTheSameSamples)
{
    const HostResult r = Host(Args({"common 10s encoding=gpb", "common 10s encoding=json", "subif 10s encoding=gpb",
                             "subif 10s encoding=json", "ipstat 10s", "ipstat 10s encoding=json"},
                            "20s", "2"));
    ASSERT_EQ(r.code, 0) << r.err;
    for (uint64_t task : {1, 3, 5}) {
        std::vector<std::string> gpb, json;
        for (const J &l : r.lines) {
            if (l["task"].u() == task || l["task"].u() == task + 1) {
                std::ostringstream names;
                for (const J &i : l["interfaces"].a) {
                    for (const auto &node : i.o) {
                        for (const auto &kv : node.second.o) {
                            names << i["name"].s << i["subinterface"].s << kv.first << "=" << kv.second.s << ";";
                        }
                    }
                }
                (l["task"].u() == task ? gpb : json).push_back(names.str());
            }
        }
        ASSERT_FALSE(gpb.empty());
        EXPECT_EQ(gpb, json) << "task " << task;
    }
}

TEST(HostRun, SuppressionConditionsAndThresholdsSelectWhatIsSent)
{
    const HostResult r = Host(Args({"common 10s", "common 10s suppress", "common 10s suppress period=20s",
                                    "subif 10s suppress", "ipstat 10s name=vlanif*", "subif 10s subif=GE1/0/1:200",
                                    "subif 10s threshold=in_octets>0", "subif 10s threshold=in_octets==0",
                                    "mib 10s name=GE1/0/1"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.Entries(1, "GE1/0/2").size(), 6u);     // no suppression: every tick
    EXPECT_EQ(r.Entries(2, "GE1/0/2").size(), 1u);     // idle: reported once
    EXPECT_EQ(r.Entries(2, "GE1/0/1").size(), 6u);     // busy: changes every tick
    EXPECT_EQ(r.Entries(2, "GE1/0/1.200").size(), 1u); // idle subinterface row (type 0x1)
    EXPECT_EQ(r.Entries(3, "GE1/0/2").size(), 3u);     // again every 20 s: ticks 0, 20, 40
    EXPECT_EQ(r.Entries(4, "GE1/0/1.200").size(), 1u);
    EXPECT_EQ(r.Entries(4, "GE1/0/1.100").size(), 6u);
    EXPECT_LT(r.Entries(2).size(), r.Entries(1).size());
    EXPECT_EQ(r.Names(5), (std::set<std::string>{"Vlanif10"}));
    EXPECT_EQ(r.Names(6), (std::set<std::string>{"GE1/0/1.200"}));
    EXPECT_EQ(r.Names(7), (std::set<std::string>{"GE1/0/1.100", "GE1/0/2.100"}));
    EXPECT_EQ(r.Names(8), (std::set<std::string>{"GE1/0/1.200"}));
    EXPECT_EQ(r.Names(9), (std::set<std::string>{"GE1/0/1"}));
}

TEST(HostRun, RawRecordsDecodeToTheSameLines)
{
    const std::vector<std::string> subs = {"subif 10s", "mib 10s encoding=json", "common 10s"};
    const HostResult jsonl = Host(Args(subs, "20s"));
    std::vector<std::string> raw = Args(subs, "20s");
    const std::string bin = Tmp("envelopes.bin");
    raw.insert(raw.end(), {"--format", "raw", "--output", bin});
    const HostResult wrote = Host(raw);
    ASSERT_EQ(wrote.code, 0) << wrote.err;
    EXPECT_TRUE(wrote.out.empty());
    const HostResult decoded = Host({"decode", bin});
    ASSERT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_FALSE(jsonl.out.empty());
    EXPECT_EQ(decoded.out, jsonl.out);
}

TEST(HostRun, RealTimeFollowsTheClock)
{
    const auto before = std::chrono::system_clock::now();
    const HostResult r = Host({"--real", "--duration", "1500ms", "--sub", "ipstat 1s", "--quiet"});
    const auto after = std::chrono::system_clock::now();
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_GE(after - before, std::chrono::milliseconds(1400));
    const auto lines = r.Of("ZOR_IFM_IFSTAT");
    ASSERT_FALSE(lines.empty());
    const uint64_t nowMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(before.time_since_epoch()).count();
    for (const J *l : lines) {
        EXPECT_GE((*l)["timestampMs"].u() + 1000, nowMs);
        EXPECT_LE((*l)["timestampMs"].u(), nowMs + 10000);
    }
}

// The reasons themselves are HostInput's; here: exit codes and the files named in messages.
TEST(HostRun, BadInputExitsNonZeroWithItsMessage)
{
    const std::string badInv = WriteFile("bad_inventory.txt", "board 6\nport GE1/0/1 speed=fast\n");
    const std::string badSubs = WriteFile("bad.subs", "ipstat 10s\nipstat every-now-and-then\n");
    const std::string notRaw = WriteFile("not_raw.jsonl", "{\"sensor\":\"x\"}\n");
    const struct {
        std::vector<std::string> args;
        int code;
        std::string message;
    } cases[] = {
        {{"--bogus"}, 2, "unknown option '--bogus'"},
        {{"--inventory", Tmp("missing.txt")}, 2, "cannot read inventory file"},
        {{"--inventory", badInv}, 2, badInv + ":2: bad speed="},
        {{"--subscriptions", badSubs}, 2, badSubs + ":2: bad interval"},
        {{"--plugin", Tmp("no-such-plugin.so")}, 1, "cannot load plugin library"},
        {{"--plugin", badInv}, 1, "cannot load plugin library"},
        {{"--plugin", ZOR_STANDIN_LIBRARY}, 1, "has no entry IFMPlugin_MDTLM_Init"},
        {{"--board", "9"}, 1, "the plugin registered no sensor on board type 9"},
        {{"--board", "1", "--sub", "subif 10s"}, 2,
         "sensor ZOR_IFM_SUBIFSTAT is not registered by the plugin on board type 1"},
        {{"--start", "1000"}, 2, "--start is too early"},
        {{"--output", Tmp("no-such-dir/out.jsonl")}, 2, "cannot write"},
        {{"decode", notRaw}, 2, "not a raw envelope file"},
        {{"decode", Tmp("missing.bin")}, 2, "cannot read"},
    };
    for (const auto &c : cases) {
        std::vector<std::string> args = c.args;
        if (args[0] != "decode") {
            args.insert(args.end(), {"--duration", "1s"});
        }
        const HostResult r = Host(args);
        EXPECT_EQ(r.code, c.code) << c.args[0] << " " << (c.args.size() > 1 ? c.args[1] : "") << "\n" << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << "expected '" << c.message << "' in: " << r.err;
        EXPECT_TRUE(r.lines.empty());
    }
    const HostResult help = Host({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("usage: zor_host"), std::string::npos);
}
