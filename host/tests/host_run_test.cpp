// Whole runs of the host binary in simulated time: what a collector receives, per sensor and
// interval, compared with the traffic model; and the host's refusals of bad input.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "host/device.h"
#include "host/inventory.h"
#include "standin/standin.h"

namespace {

// ---- A small JSON reader that keeps 64-bit numbers exact --------------------------------------

struct J {
    enum Type { Null, Bool, Num, Str, Arr, Obj } type = Null;
    std::string s; // text of a string or number
    std::vector<J> a;
    std::vector<std::pair<std::string, J>> o;

    const J &operator[](const std::string &key) const
    {
        static const J none;
        for (const auto &m : o) {
            if (m.first == key) {
                return m.second;
            }
        }
        return none;
    }
    bool has(const std::string &key) const
    {
        for (const auto &m : o) {
            if (m.first == key) {
                return true;
            }
        }
        return false;
    }
    uint64_t u() const { return std::stoull(s); }
};

class Reader {
public:
    explicit Reader(const std::string &t) : t_(t) {}
    J Value()
    {
        Ws();
        J v;
        const char c = t_.at(p_);
        if (c == '{') {
            v.type = J::Obj;
            ++p_;
            while (Ws(), t_.at(p_) != '}') {
                J key = Value();
                Ws();
                ++p_; // ':'
                v.o.emplace_back(key.s, Value());
                Ws();
                if (t_.at(p_) == ',') {
                    ++p_;
                }
            }
            ++p_;
        } else if (c == '[') {
            v.type = J::Arr;
            ++p_;
            while (Ws(), t_.at(p_) != ']') {
                v.a.push_back(Value());
                Ws();
                if (t_.at(p_) == ',') {
                    ++p_;
                }
            }
            ++p_;
        } else if (c == '"') {
            v.type = J::Str;
            for (++p_; t_.at(p_) != '"'; ++p_) {
                if (t_[p_] == '\\') {
                    ++p_;
                    if (t_[p_] == 'u') {
                        v.s += static_cast<char>(std::stoi(t_.substr(p_ + 1, 4), nullptr, 16));
                        p_ += 4;
                        continue;
                    }
                    v.s += t_[p_] == 'n' ? '\n' : t_[p_] == 't' ? '\t' : t_[p_];
                } else {
                    v.s += t_[p_];
                }
            }
            ++p_;
        } else if (c == 't' || c == 'f' || c == 'n') {
            v.type = c == 'n' ? J::Null : J::Bool;
            v.s = c == 't' ? "true" : "false";
            p_ += c == 'f' ? 5 : 4;
        } else {
            v.type = J::Num;
            while (p_ < t_.size() && std::string("-+.eE0123456789").find(t_[p_]) != std::string::npos) {
                v.s += t_[p_++];
            }
        }
        return v;
    }

private:
    void Ws()
    {
        while (p_ < t_.size() && std::isspace(static_cast<unsigned char>(t_[p_]))) {
            ++p_;
        }
    }
    const std::string &t_;
    size_t p_ = 0;
};

// ---- Running the host -------------------------------------------------------------------------

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
    std::vector<std::pair<uint64_t, const J *>> Entries(uint64_t task, const std::string &name) const
    {
        std::vector<std::pair<uint64_t, const J *>> r;
        for (const J &l : lines) {
            if (l["task"].u() != task) {
                continue;
            }
            for (const J &i : l["interfaces"].a) {
                std::string full = i["name"].s;
                if (i["subinterface"].type == J::Num) {
                    full += "." + i["subinterface"].s;
                }
                if (full == name) {
                    r.emplace_back(l["timestampMs"].u(), &i);
                }
            }
        }
        return r;
    }
};

std::string Quote(const std::string &s)
{
    std::string q = "'";
    for (char c : s) {
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return q + "'";
}

std::string Slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Files of this process live in a directory of their own (tests run in parallel under CTest).
class TmpDir {
public:
    TmpDir()
    {
        std::string pattern = ::testing::TempDir() + "/host_run_XXXXXX";
        path_ = ::mkdtemp(&pattern[0]) ? pattern : ::testing::TempDir();
    }
    ~TmpDir()
    {
        if (std::system(("rm -rf '" + path_ + "'").c_str()) != 0) {
            std::fprintf(stderr, "could not remove %s\n", path_.c_str());
        }
    }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

std::string Tmp(const std::string &name)
{
    static TmpDir dir;
    return dir.path() + "/" + name;
}

HostResult Host(const std::vector<std::string> &args)
{
    const std::string out = Tmp("stdout");
    const std::string err = Tmp("stderr");
    std::string cmd = Quote(ZOR_HOST_BINARY);
    for (const std::string &a : args) {
        cmd += " " + Quote(a);
    }
    cmd += " >" + Quote(out) + " 2>" + Quote(err);
    HostResult r;
    const int status = std::system(cmd.c_str());
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = Slurp(out);
    r.err = Slurp(err);
    std::istringstream lines(r.out);
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line[0] == '{') {
            r.lines.push_back(Reader(line).Value());
        }
    }
    return r;
}

std::string WriteFile(const std::string &name, const std::string &text)
{
    const std::string path = Tmp(name);
    std::ofstream(path) << text;
    return path;
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

// ---- Messages per sensor and interval ---------------------------------------------------------

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
        EXPECT_FALSE(l->has("warnings")) << "decoded with warnings";
    }
    std::set<uint64_t> want;
    for (uint64_t k = 0; k < 12; ++k) {
        want.insert(kStartMs + 500 + 5000 * k);
    }
    EXPECT_EQ(ticks, want);
    const auto subifs = r.Of("ZOR_IFM_SUBIFSTAT");
    ASSERT_FALSE(subifs.empty());
    EXPECT_EQ((*subifs[0])["interfaces"].a.size(), 3u);
}

TEST(HostRun, DefaultRunCoversEverySensorInBothEncodings)
{
    const HostResult r = Host({"--duration", "30s"});
    ASSERT_EQ(r.code, 0) << r.err;
    std::map<std::string, std::set<std::string>> encodings;
    for (const J &l : r.lines) {
        encodings[l["sensor"].s].insert(l["encoding"].s);
        EXPECT_EQ(l["interfaces"].type, J::Arr);
    }
    for (const char *s : {"ZOR_IFM_SUBIFSTAT", "ZOR_IFM_IFSTAT", "ZOR_IFM_MIBIFSTAT", "ZOR_IFM_COMMONIFSTAT"}) {
        EXPECT_EQ(encodings[s], (std::set<std::string>{"gpb", "json"})) << s;
    }
    EXPECT_NE(r.err.find("4 sensors registered, 8 tasks"), std::string::npos) << r.err;
    // 64 subinterfaces in chunks of 50: two envelopes per tick.
    EXPECT_EQ(r.Of("ZOR_IFM_SUBIFSTAT", 1).size(), 3u * 2);
}

// ---- Values follow the traffic model ----------------------------------------------------------

TEST(HostRun, IpStatisticsRatesMatchConfiguredTraffic)
{
    const HostResult r = Host(Args({"ipstat 10s"}, "30s"));
    ASSERT_EQ(r.code, 0) << r.err;
    const auto vlanif = r.Entries(1, "Vlanif10");
    ASSERT_EQ(vlanif.size(), 3u);
    for (const auto &e : vlanif) {
        const J &v = *e.second;
        EXPECT_EQ(Val(v, "ip-statistics", "receive-ip-bit-rate"), 80000000u);
        EXPECT_EQ(Val(v, "ip-statistics", "send-ip-bit-rate"), 40000000u);
        EXPECT_EQ(Val(v, "ip-statistics", "receive-ip-packet-rate"), 10000u);
        EXPECT_EQ(Val(v, "ip-statistics", "receive-ipv6-bit-rate"), 20000000u); // v6=25
        EXPECT_EQ(Val(v, "ip-statistics", "receive-ipv4-bit-rate"), 60000000u);
        EXPECT_EQ(Val(v, "ip-statistics", "receive-ipv6-packet-rate"), 2500u);
    }
    // Counters advance by one flow interval of traffic between ticks 10 s apart.
    EXPECT_EQ(Val(*vlanif[1].second, "ip-statistics", "receive-ip-byte") -
                  Val(*vlanif[0].second, "ip-statistics", "receive-ip-byte"),
              10u * 10000000);
    // The trunk reports its own (idle) row plus its members' rows.
    for (const auto &e : r.Entries(1, "Eth-Trunk1")) {
        EXPECT_EQ(Val(*e.second, "ip-statistics", "receive-ip-bit-rate"), 2400000000u);
        EXPECT_EQ(Val(*e.second, "ip-statistics", "receive-ip-packet-rate"), 450000u);
        EXPECT_EQ(Val(*e.second, "ip-statistics", "send-ip-bit-rate"), 2800000000u);
    }
}

TEST(HostRun, CommonAndMibFiguresMatchTheDevice)
{
    const HostResult r = Host(Args({"common 10s", "mib 10s", "subif 10s"}, "40s"));
    ASSERT_EQ(r.code, 0) << r.err;
    // Port rates over 300 s from the rate step, 20 bytes of line overhead per packet.
    const auto ge1 = r.Entries(1, "GE1/0/1");
    ASSERT_EQ(ge1.size(), 4u);
    for (const auto &e : ge1) {
        EXPECT_EQ(Val(*e.second, "common-statistics", "in-packet-rate"), 250000u);
        EXPECT_EQ(Val(*e.second, "common-statistics", "in-bit-rate"), (125000000u + 20 * 250000) * 8);
        EXPECT_EQ(Val(*e.second, "common-statistics", "out-bit-rate"), (50000000u + 20 * 100000) * 8);
        EXPECT_EQ((*e.second)["common-statistics"]["in-use-rate"].s, "10.40%");
        EXPECT_EQ((*e.second)["common-statistics"]["out-use-rate"].s, "4.16%");
    }
    const auto meth = r.Entries(1, "MEth0/0/0"); // named by its logical index
    ASSERT_EQ(meth.size(), 4u);
    EXPECT_EQ(Val(*meth[0].second, "common-statistics", "in-packet-rate"), 1000u);
    // Trunk: the members' sums over the trunk's speed (2 × 10G).
    for (const auto &e : r.Entries(1, "Eth-Trunk1")) {
        EXPECT_EQ(Val(*e.second, "common-statistics", "in-bit-rate"), (300000000u + 20 * 450000) * 8);
        EXPECT_EQ((*e.second)["common-statistics"]["in-use-rate"].s, "12.36%");
    }

    // The same device in this process gives the expected absolute counters: mib counters are
    // interpolated half-way between the snapshots 2 and 1 s before the tick's second, less the
    // baseline the device keeps.
    host::Inventory inv;
    {
        std::istringstream in(kInventory);
        inv = host::ParseInventory(in, "inventory");
    }
    standin::ResetAll();
    host::Device dev(inv, 1, 0.0);
    const uint64_t t0 = kStartMs * 1000;
    dev.Start(t0);
    const auto mib = r.Entries(2, "GE1/0/1");
    const auto subif = r.Entries(3, "GE1/0/1.100");
    ASSERT_EQ(mib.size(), 4u);
    ASSERT_EQ(subif.size(), 4u);
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
        EXPECT_EQ(Val(*mib[k].second, "mib-statistics", "receive-multicast-packet"),
                  (pre2s.in_mcast_packets + pre1s.in_mcast_packets) / 2 - base.inMcast);
        // Subinterface counters are the latest flow-interval snapshot, without a baseline.
        EXPECT_EQ(Val(*subif[k].second, "counters", "in-octets"), dev.CountersOf("GE1/0/1.100")->inBytes);
        EXPECT_EQ(Val(*subif[k].second, "counters", "out-unicast-pkts"), dev.CountersOf("GE1/0/1.100")->outPackets);
    }
    standin::ResetAll();
}

TEST(HostRun, JitteredRatesStayWithinTheJitter)
{
    const HostResult r = Host(Args({"ipstat 10s", "common 10s"}, "60s", "2"));
    ASSERT_EQ(r.code, 0) << r.err;
    bool varied = false;
    for (const auto &e : r.Entries(1, "Vlanif10")) {
        const uint64_t rate = Val(*e.second, "ip-statistics", "receive-ip-bit-rate");
        EXPECT_NEAR(static_cast<double>(rate), 80e6, 80e6 * 0.02);
        varied = varied || rate != 80000000u;
    }
    EXPECT_TRUE(varied);
    for (const auto &e : r.Entries(2, "GE1/0/3")) {
        EXPECT_NEAR(static_cast<double>(Val(*e.second, "common-statistics", "in-packet-rate")), 250000.0, 5000.0);
    }
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

// ---- Selection: suppression, names, thresholds -------------------------------------------------

TEST(HostRun, SuppressionCutsIdleInterfaces)
{
    const HostResult r = Host(Args({"common 10s", "common 10s suppress", "common 10s suppress period=20s", "subif 10s suppress"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.Entries(1, "GE1/0/2").size(), 6u);    // no suppression: every tick
    EXPECT_EQ(r.Entries(2, "GE1/0/2").size(), 1u);    // idle: reported once
    EXPECT_EQ(r.Entries(2, "GE1/0/1").size(), 6u);    // busy: changes every tick
    EXPECT_EQ(r.Entries(2, "GE1/0/1.200").size(), 1u); // idle subinterface row (type 0x1)
    EXPECT_EQ(r.Entries(3, "GE1/0/2").size(), 3u);    // again every 20 s: ticks 0, 20, 40
    EXPECT_EQ(r.Entries(4, "GE1/0/1.200").size(), 1u);
    EXPECT_EQ(r.Entries(4, "GE1/0/1.100").size(), 6u);
    size_t lines1 = 0, lines2 = 0;
    for (const J &l : r.lines) {
        lines1 += l["task"].u() == 1 ? l["interfaces"].a.size() : 0;
        lines2 += l["task"].u() == 2 ? l["interfaces"].a.size() : 0;
    }
    EXPECT_LT(lines2, lines1);
}

TEST(HostRun, NameConditionsAndThresholdsSelectInterfaces)
{
    const HostResult r = Host(Args({"ipstat 10s name=vlanif*", "subif 10s subif=GE1/0/1:200", "subif 10s threshold=in_octets>0",
                             "subif 10s threshold=in_octets==0", "mib 10s name=GE1/0/1"},
                            "10s"));
    ASSERT_EQ(r.code, 0) << r.err;
    auto names = [&](uint64_t task) {
        std::set<std::string> n;
        for (const J &l : r.lines) {
            if (l["task"].u() == task) {
                for (const J &i : l["interfaces"].a) {
                    n.insert(i["name"].s + (i["subinterface"].type == J::Num ? "." + i["subinterface"].s : ""));
                }
            }
        }
        return n;
    };
    EXPECT_EQ(names(1), (std::set<std::string>{"Vlanif10"}));
    EXPECT_EQ(names(2), (std::set<std::string>{"GE1/0/1.200"}));
    EXPECT_EQ(names(3), (std::set<std::string>{"GE1/0/1.100", "GE1/0/2.100"}));
    EXPECT_EQ(names(4), (std::set<std::string>{"GE1/0/1.200"}));
    EXPECT_EQ(names(5), (std::set<std::string>{"GE1/0/1"}));
}

// ---- Output formats, boards and time ----------------------------------------------------------

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

TEST(HostRun, BoardTypeDecidesTheSensors)
{
    const HostResult lpu = Host({"--board", "2", "--duration", "10s", "--quiet"});
    ASSERT_EQ(lpu.code, 0) << lpu.err;
    std::set<std::string> sensors;
    for (const J &l : lpu.lines) {
        sensors.insert(l["sensor"].s);
    }
    EXPECT_EQ(sensors, (std::set<std::string>{"ZOR_IFM_SUBIFSTAT"}));

    const HostResult mpu = Host({"--board", "1", "--duration", "10s", "--sub", "subif 10s"});
    EXPECT_EQ(mpu.code, 2);
    EXPECT_NE(mpu.err.find("sensor ZOR_IFM_SUBIFSTAT is not registered by the plugin on board type 1"),
              std::string::npos)
        << mpu.err;
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

// ---- Bad input ----------------------------------------------------------------------------------

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
        {{"--duration"}, 2, "--duration needs a value"},
        {{"--sub", "ZOR_IFM_NOPE 10"}, 2, "unknown sensor 'ZOR_IFM_NOPE'"},
        {{"--sub", "vexalo-ifm:ifm/interfaces/interface/no-such-statistics 10"}, 2, "unknown sensor"},
        {{"--sub", "ipstat 10 encoding=xml"}, 2, "bad encoding="},
        {{"--inventory", Tmp("missing.txt")}, 2, "cannot read inventory file"},
        {{"--inventory", badInv}, 2, badInv + ":2: bad speed="},
        {{"--subscriptions", badSubs}, 2, badSubs + ":2: bad interval"},
        {{"--plugin", Tmp("no-such-plugin.so")}, 1, "cannot load plugin library"},
        {{"--plugin", badInv}, 1, "cannot load plugin library"},
        {{"--plugin", ZOR_STANDIN_LIBRARY}, 1, "has no entry IFMPlugin_MDTLM_Init"},
        {{"--board", "9"}, 1, "the plugin registered no sensor on board type 9"},
        {{"--start", "1000"}, 2, "--start is too early"},
        {{"--output", Tmp("no-such-dir/out.jsonl")}, 2, "cannot write"},
        {{"decode", notRaw}, 2, "not a raw envelope file"},
        {{"decode", Tmp("missing.bin")}, 2, "cannot read"},
    };
    for (const auto &c : cases) {
        std::vector<std::string> args = c.args;
        if (args[0] != "decode") {
            args.insert(args.end(), {"--duration", "1s"});
            if (c.args[0] == "--duration") {
                args = c.args;
            }
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
