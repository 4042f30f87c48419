// The host's parts on their own: traffic model, inventory, device store, subscriptions, decoding
// and flags.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <map>
#include <sstream>

#include "host/common.h"
#include "host/decode.h"
#include "host/inventory.h"
#include "host/linux_links.h"
#include "host/metrics.h"
#include "host/options.h"
#include "host/output.h"
#include "host/subscriptions.h"
#include "ifm.pb.h"
#include "standin/standin.h"

using namespace host;

namespace {

Inventory Parse(const std::string &text)
{
    std::istringstream in(text);
    return ParseInventory(in, "inv");
}

// Runs `f` and returns the HostError message; fails the test when nothing or something else is thrown.
template <typename F>
std::string ErrorOf(F f, int expectedCode = kExitUsage)
{
    try {
        f();
    } catch (const HostError &e) {
        EXPECT_EQ(e.exitCode(), expectedCode) << e.what();
        return e.what();
    }
    ADD_FAILURE() << "no error";
    return "";
}

} // namespace

TEST(HostTraffic, SteadyRateIsExactAndSplitsAddUp)
{
    TrafficProfile p;
    p.inBitRate = 80000000; // 10 MB/s
    p.outBitRate = 8000004; // not a multiple of 8 bits per byte
    p.packetSize = 1000;
    p.ipv6Percent = 25;
    TrafficSource src(p, 1, 7, 0.0);
    for (int i = 0; i < 30; ++i) {
        src.Step();
    }
    const Counters &c = src.counters();
    EXPECT_EQ(c.inBytes, 30u * 10000000);
    EXPECT_EQ(c.outBytes, 30u * 8000004 / 8); // carried remainders: no drift
    EXPECT_EQ(c.v6InBytes, c.inBytes / 4);
    EXPECT_EQ(c.v4InBytes + c.v6InBytes, c.inBytes);
    EXPECT_EQ(c.inPackets, 300000u);
    EXPECT_EQ(c.v4InPackets + c.v6InPackets, c.inPackets);
    EXPECT_EQ(c.inUcast + c.inMcast + c.inBcast, c.inPackets);
    EXPECT_EQ(c.inMcast, c.inPackets * 3 / 100);
    EXPECT_EQ(c.inCrcErrors, c.inErrors);

    TrafficSource steady(p, 1, 7, 0.0);
    steady.AdvanceSteady(30);
    EXPECT_EQ(steady.counters().inBytes, c.inBytes);
    EXPECT_EQ(steady.counters().outPackets, c.outPackets);
}

TEST(HostTraffic, JitterIsBoundedAndReproducible)
{
    TrafficProfile p;
    p.inBitRate = 800000000;
    p.outBitRate = 0;
    TrafficSource a(p, 42, 1, 5.0);
    TrafficSource b(p, 42, 1, 5.0);
    TrafficSource other(p, 43, 1, 5.0);
    uint64_t last = 0;
    bool varied = false;
    for (int i = 0; i < 200; ++i) {
        a.Step();
        b.Step();
        other.Step();
        const uint64_t second = a.counters().inBytes - last;
        last = a.counters().inBytes;
        EXPECT_GE(second, 95000000u);
        EXPECT_LE(second, 105000000u);
        varied = varied || second != 100000000u;
    }
    EXPECT_TRUE(varied);
    EXPECT_EQ(a.counters().inBytes, b.counters().inBytes);
    EXPECT_NE(a.counters().inBytes, other.counters().inBytes);
    EXPECT_EQ(a.counters().outBytes, 0u); // idle direction stays still
}

TEST(HostInventory, DefaultTopOfRack)
{
    const Inventory inv = DefaultInventory(InventoryShape{}, 1);
    EXPECT_EQ(inv.boardType, 6u);
    std::map<IfKind, size_t> kinds;
    std::vector<size_t> members;
    size_t idle = 0;
    for (const InterfaceDecl &s : inv.interfaces) {
        ++kinds[s.kind];
        idle += s.traffic.idle();
        if (s.kind == IfKind::Subif) {
            const InterfaceDecl *parent = inv.Find(s.name.substr(0, s.name.find('.')));
            ASSERT_NE(parent, nullptr) << s.name;
            EXPECT_EQ(parent->kind, IfKind::Port);
        }
        if (s.kind == IfKind::Trunk) {
            members.push_back(s.members.size());
        }
    }
    EXPECT_EQ(kinds[IfKind::Port], 48u);
    EXPECT_EQ(kinds[IfKind::Subif], 64u);
    EXPECT_EQ(members, (std::vector<size_t>{2, 3, 4, 2}));
    EXPECT_GT(idle, 4u);
    // Trunk members keep IP statistics so that trunk sums have rows to add.
    EXPECT_EQ(inv.Find(inv.Find("Eth-Trunk1")->members[0])->statType, 0x100u);
}

TEST(HostInventory, TextRoundTripAndResolution)
{
    const Inventory inv = Parse("board 1\nflow-interval 10\n"
                                "port P1 speed=10G in=25% out=1.5G pkt=256 v6=10   # comment\n"
                                "port P2 speed=40G idle\n"
                                "trunk T1 members=P1,P2 stat=0x100000\n"
                                "subif P1.7 in=1%\n"
                                "routed R1 stat=0x1000 if_type=5 nostats\n"
                                "mgmt M0 in=1M out=1M\n");
    EXPECT_EQ(inv.boardType, 1u);
    EXPECT_EQ(inv.flowInterval, 10u);
    EXPECT_EQ(inv.Find("P1")->traffic.inBitRate, 2500000000u);
    EXPECT_EQ(inv.Find("P1")->traffic.outBitRate, 1500000000u);
    EXPECT_EQ(inv.Find("T1")->speed, 50000000000u);
    EXPECT_EQ(inv.Find("P1.7")->speed, 10000000000u); // inherits the port's speed
    EXPECT_FALSE(inv.Find("R1")->statsEnabled);
    EXPECT_EQ(inv.Find("M0")->ifType, 34u);
    const std::string text = FormatInventory(inv);
    EXPECT_EQ(FormatInventory(Parse(text)), text);
    const Inventory def = DefaultInventory(InventoryShape{}, 9);
    EXPECT_EQ(FormatInventory(Parse(FormatInventory(def))), FormatInventory(def));
}

TEST(HostSubscriptions, LinesBecomeTaskInfo)
{
    const Subscription s = ParseSubscription(
        "subif 500ms encoding=json subif=GE1/0/1:100 threshold=in_octets>1000 threshold=out_unicast_pkts<=5 "
        "relation=second suppress period=1m",
        "test");
    // Names, thresholds, suppression and periods reach the plugin in the host run tests.
    EXPECT_EQ(s.intervalMs, 500u);
    const TlmTaskInfo cfg = BuildTaskInfo(s);
    EXPECT_STREQ(cfg.condKey, "name");
    EXPECT_EQ(cfg.thresholdRelation, 2u);
    EXPECT_EQ(cfg.threshold[0].thresholdOp, 1u); // threshold < counter
    EXPECT_EQ(cfg.threshold[1].thresholdOp, 4u); // threshold >= counter

    // Comparison codes as the plugin reads them: counter OP value.
    const struct {
        const char *op;
        uint8_t code;
    } ops[] = {{">", 1}, {">=", 2}, {"<", 3}, {"<=", 4}, {"==", 0}, {":7:", 7}};
    for (const auto &o : ops) {
        const Subscription t = ParseSubscription(std::string("subif 1 threshold=in_octets") + o.op + "9", "t");
        EXPECT_EQ(t.thresholds[0].op, o.code) << o.op;
        EXPECT_EQ(t.thresholds[0].value, 9u) << o.op;
    }

    // Everything not set stays zero; a full-width name has no terminator.
    const Subscription full = ParseSubscription("ipstat 10 name=" + std::string(102, 'A'), "t");
    const TlmTaskInfo wide = BuildTaskInfo(full);
    EXPECT_EQ(wide.condNameLen, 102u);
    EXPECT_EQ(std::memcmp(wide.condName, std::string(102, 'A').data(), 102), 0);
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&wide);
    for (size_t i = offsetof(TlmTaskInfo, condIndex); i < sizeof(TlmTaskInfo); ++i) {
        ASSERT_EQ(bytes[i], 0u) << "byte " << i;
    }

    // Sensors by path, alias or name.
    EXPECT_EQ(ParseSubscription("vexalo-ifm:ifm/interfaces/interface/mib-statistics 10", "t").sensor->name,
              std::string("ZOR_IFM_MIBIFSTAT"));
    EXPECT_EQ(ParseSubscription("COMMON 10", "t").sensor->name, std::string("ZOR_IFM_COMMONIFSTAT"));
    EXPECT_EQ(ParseSubscription("ZOR_IFM_IFSTAT 1m", "t").intervalMs, 60000u);
}


namespace {

std::vector<uint8_t> Envelope(const std::string &msg, uint32_t taskId = 3, uint64_t ts = 1704067200500)
{
    SampleData head;
    std::memset(&head, 0, sizeof(head));
    head.frmCookie = 77;
    head.taskId = taskId;
    head.timestampMs = head.timestampMs2 = ts;
    head.timeSpendUs = 12;
    head.dataLen = static_cast<uint32_t>(msg.size());
    std::vector<uint8_t> env(sizeof(head) + msg.size());
    std::memcpy(env.data(), &head, sizeof(head));
    std::memcpy(env.data() + sizeof(head), msg.data(), msg.size());
    return env;
}

} // namespace

TEST(HostDecode, ValuesInMessageOrderAndTheHeaderLine)
{
    zor::ifm::Ifm ifm;
    auto *itf = ifm.add_interfaces()->mutable_interface();
    itf->set_name("GE1/0/3");
    auto *common = itf->mutable_common_statistics();
    common->set_in_bit_rate(40480);
    common->set_receive_byte(18446744073709551615ull);
    common->set_in_use_rate("12.50%");
    const std::string gpb = ifm.SerializeAsString();
    const auto env = Envelope(gpb);
    const EnvelopeLine l = DecodeEnvelope(*FindSensorByName("ZOR_IFM_COMMONIFSTAT"), false, env.data(), env.size());
    ASSERT_TRUE(l.ok) << l.line;
    EXPECT_EQ(l.interfaces, 1u);
    EXPECT_NE(l.line.find(R"("task":3,"cookie":77,"encoding":"gpb","time":"2024-01-01T00:00:00.500Z")"),
              std::string::npos)
        << l.line;
    // Every member of the node, unset ones as 0, in the message's own order; counters as numbers.
    EXPECT_NE(l.line.find(R"({"name":"GE1/0/3","common-statistics":{"out-bit-rate":0,"in-bit-rate":40480,)"
                          R"("send-byte":0,"receive-byte":18446744073709551615,)"),
              std::string::npos)
        << l.line;
    EXPECT_NE(l.line.find(R"("in-use-rate":"12.50%","out-use-rate":"")"), std::string::npos) << l.line;
    EXPECT_EQ(l.line.find("warnings"), std::string::npos);
}

TEST(HostDecode, BrokenEnvelopesAreReportedNotHidden)
{
    const SensorInfo &ip = *FindSensorByName("ZOR_IFM_IFSTAT");
    auto env = Envelope("\x12\x05garbage");
    EnvelopeLine r = DecodeEnvelope(ip, false, env.data(), env.size());
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.line.find("\"error\":"), std::string::npos);

    env = Envelope("{\"ifm\":{}}");
    r = DecodeEnvelope(ip, true, env.data(), env.size());
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.line.find("no ifm.interfaces.interface array"), std::string::npos);

    env = Envelope("");
    env[16] = 1; // timestampMs2 differs
    env[40] = 9; // reserved byte
    env.push_back(0); // one byte more than dataLen says
    r = DecodeEnvelope(ip, false, env.data(), env.size());
    EXPECT_TRUE(r.ok);
    EXPECT_NE(r.line.find("timestamps differ"), std::string::npos);
    EXPECT_NE(r.line.find("reserved header bytes"), std::string::npos);
    EXPECT_NE(r.line.find("header says 48"), std::string::npos);

    r = DecodeEnvelope(ip, false, env.data(), 20);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.line.find("shorter than its header"), std::string::npos);
}

TEST(HostOptions, FlagsAndTheirErrors)
{
    const Options o = ParseOptions({"run", "--duration=90s", "--sub", "ipstat 10", "--sub", "mib 5", "--board", "1",
                                    "--format", "raw", "--log", "info", "--start", "2024-02-01T00:00:00Z", "--quiet"});
    EXPECT_EQ(o.durationMs, 90000u);
    EXPECT_EQ(o.subs.size(), 2u);
    EXPECT_TRUE(o.boardGiven);
    EXPECT_EQ(o.board, 1u);
    EXPECT_EQ(o.format, OutputFormat::Raw);
    EXPECT_EQ(o.logLevel, 1u);
    EXPECT_EQ(o.startUs, 1706745600ull * 1000000);
    EXPECT_TRUE(o.quiet);
    EXPECT_EQ(ParseOptions({"decode", "f.bin"}).decodeInput, "f.bin");
    EXPECT_EQ(ParseOptions({"--real"}).durationMs, 0u); // real time runs until interrupted
}

// Every refusal names its place: "inv:LINE:" for inventory text, "inv: " for a subscription line.
// That bad inventories and subscriptions are refused with exit code 2 and nothing else, and what an
// accepted one holds, is the fuzz targets' (fuzz/inventory_fuzz.cpp, fuzz/subscriptions_fuzz.cpp).
TEST(HostInput, BadInputIsRefusedWithItsReason)
{
    const struct {
        char kind; // 'i' inventory text, 's' subscription line, 'o' flags separated by spaces
        std::string text;
        const char *reason;
    } cases[] = {
        {'i', "port", "inv:1: port needs a name"},
        {'i', "port P1\nport P1", "inv:2: interface P1 is declared twice"},
        {'i', "port P1\n\n  port P2 x", "inv:3:"},
        {'s', "ZOR_IFM_IFSTAT", "inv: expected SENSOR INTERVAL"},
        {'o', "--seed", "--seed needs a value"},
        {'o', "--seed x1", "bad value for --seed"},
        {'o', "--duration 0", "above 0"},
        {'o', "--flow-interval 0", "must be 1 to 3600"},
        {'o', "--flow-interval 3601", "must be 1 to 3600"},
        {'o', "--format xml", "bad value for --format"},
        {'o', "--start yesterday", "bad value for --start"},
        {'o', "--quiet=1", "takes no value"},
        {'o', "launch", "unknown command 'launch'"},
        {'o', "--source linux --seed 3", "--seed belongs to the simulated device"},
        {'o', "--netns n1", "--netns belongs to --source linux"},
        {'o', "--source bsd", "bad value for --source"},
    };
    for (const auto &c : cases) {
        const std::string msg = ErrorOf([&] {
            if (c.kind == 'i') {
                Parse(c.text);
            } else if (c.kind == 's') {
                ParseSubscription(c.text, "inv");
            } else {
                std::istringstream words(c.text);
                ParseOptions({std::istream_iterator<std::string>(words), {}});
            }
        });
        EXPECT_NE(msg.find(c.reason), std::string::npos) << c.text << " -> " << msg;
    }
    ErrorOf([] { DefaultInventory(InventoryShape{4, 4, 0, 0}, 1); });
}

TEST(HostMetrics, ExpositionOfSamplesAndTheirRemoval)
{
    MetricsRegistry reg;
    const SensorInfo &common = *FindSensorByName("ZOR_IFM_COMMONIFSTAT");
    const SensorInfo &subif = *FindSensorByName("ZOR_IFM_SUBIFSTAT");
    DecodedMessage m;
    m.interfaces.push_back({"GE1/0/1", false, 0, {{"in-bit-rate", false, 1004, ""}, {"in-use-rate", true, 0, "41.68%"},
                                                  {"receive-drop-packet", false, 7, ""}}});
    m.interfaces.push_back({"a\\\"b", false, 0, {{"send-byte", false, 5, ""}}});
    reg.Update(1, common, m);
    DecodedMessage s;
    s.interfaces.push_back({"GE1/0/1", true, 100, {{"in-octets", false, 9, ""}, {"last-clear", false, 1500000000, ""}}});
    reg.Update(2, subif, s);
    const std::string text = reg.Render();
    for (const char *line : {
             "# TYPE zor_ifm_receive_bytes_per_second gauge\n"
             "zor_ifm_receive_bytes_per_second{sensor=\"ZOR_IFM_COMMONIFSTAT\",interface=\"GE1/0/1\",task=\"1\"} 125.5\n",
             "zor_ifm_receive_utilization_ratio{sensor=\"ZOR_IFM_COMMONIFSTAT\",interface=\"GE1/0/1\",task=\"1\"} 0.4168\n",
             "# TYPE zor_ifm_receive_drops_total counter\n",
             "zor_ifm_transmit_bytes_total{sensor=\"ZOR_IFM_COMMONIFSTAT\",interface=\"a\\\\\\\"b\",task=\"1\"} 5\n",
             "# HELP zor_ifm_receive_bytes_total Latest sample of the plugin's in-octets.\n",
             "zor_ifm_receive_bytes_total{sensor=\"ZOR_IFM_SUBIFSTAT\",interface=\"GE1/0/1.100\",task=\"2\"} 9\n",
             "zor_ifm_last_clear_timestamp_seconds{sensor=\"ZOR_IFM_SUBIFSTAT\",interface=\"GE1/0/1.100\",task=\"2\"} 1.5\n",
         }) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\nin\n" << text;
    }
    reg.Retain({"GE1/0/1", "GE1/0/1.100"});
    EXPECT_EQ(reg.Render().find("a\\\\"), std::string::npos);
    reg.ForgetTask(1);
    EXPECT_EQ(reg.Render().find("ZOR_IFM_COMMONIFSTAT"), std::string::npos);
    EXPECT_NE(reg.Render().find("ZOR_IFM_SUBIFSTAT"), std::string::npos);
    EXPECT_EQ(MetricOf("receive-ipv6-packet-rate")->name, std::string("zor_ifm_ipv6_receive_packets_per_second"));
    EXPECT_EQ(MetricOf("timestamp"), nullptr);
}

TEST(HostLinux, Snmp6CountersOfNewerAndOlderKernels)
{
    const Ipv6Stats v = ParseSnmp6("ifIndex 4\nIp6InReceives 12\nIp6OutRequests 3\nIp6InOctets 1200\n"
                                   "Ip6OutOctets 640\nIp6OutTransmits 5\n");
    EXPECT_EQ(v.inPackets, 12u);
    EXPECT_EQ(v.inBytes, 1200u);
    EXPECT_EQ(v.outPackets, 5u); // transmitted, forwarded included
    EXPECT_EQ(v.outBytes, 640u);
    EXPECT_EQ(ParseSnmp6("Ip6OutRequests 3\n").outPackets, 3u);
}
