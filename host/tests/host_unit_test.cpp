// The host's parts on their own: traffic model, inventory, device store, subscriptions, decoding,
// raw records and flags.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>

#include <unistd.h>

#include "host/common.h"
#include "host/decode.h"
#include "host/device.h"
#include "host/inventory.h"
#include "host/options.h"
#include "host/output.h"
#include "host/subscriptions.h"
#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
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

// ---- Traffic model --------------------------------------------------------------------------

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

// ---- Inventory ------------------------------------------------------------------------------

TEST(HostInventory, DefaultTopOfRack)
{
    const Inventory inv = DefaultInventory(InventoryShape{}, 1);
    EXPECT_EQ(inv.boardType, 6u);
    size_t ports = 0, subifs = 0, idle = 0;
    std::vector<size_t> members;
    for (const InterfaceSpec &s : inv.interfaces) {
        ports += s.kind == IfKind::Port;
        idle += s.traffic.idle();
        if (s.kind == IfKind::Subif) {
            ++subifs;
            EXPECT_EQ(s.statType, 0x1u);
            const InterfaceSpec *parent = inv.Find(s.name.substr(0, s.name.find('.')));
            ASSERT_NE(parent, nullptr) << s.name;
            EXPECT_EQ(parent->kind, IfKind::Port);
        }
        if (s.kind == IfKind::Trunk) {
            EXPECT_EQ(s.forwardType, 8u);
            members.push_back(s.members.size());
            for (uint32_t m : inv.MemberIndexes(s)) {
                EXPECT_NE(m, 0u);
            }
        }
        if (s.kind == IfKind::Mgmt) {
            EXPECT_EQ(s.ifType, 34u);
            EXPECT_NE(s.actualIfindex, s.ifindex);
        }
    }
    EXPECT_EQ(ports, 48u);
    EXPECT_EQ(subifs, 64u);
    EXPECT_EQ(members, (std::vector<size_t>{2, 3, 4, 2}));
    EXPECT_GT(idle, 4u);
    // Trunk members keep IP statistics so that trunk sums have rows to add.
    EXPECT_EQ(inv.Find(inv.Find("Eth-Trunk1")->members[0])->statType, 0x100u);
    ErrorOf([] { DefaultInventory(InventoryShape{4, 4, 0, 0}, 1); });
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
    EXPECT_EQ(inv.Find("P1.7")->traffic.inBitRate, 100000000u);
    EXPECT_FALSE(inv.Find("R1")->statsEnabled);
    EXPECT_EQ(inv.Find("M0")->ifType, 34u);
    EXPECT_NE(inv.Find("M0")->actualIfindex, 0u);
    const std::string text = FormatInventory(inv);
    EXPECT_EQ(FormatInventory(Parse(text)), text);
    const Inventory def = DefaultInventory(InventoryShape{}, 9);
    EXPECT_EQ(FormatInventory(Parse(FormatInventory(def))), FormatInventory(def));
}

TEST(HostInventory, MalformedLinesNameTheLine)
{
    const struct {
        const char *text;
        const char *reason;
    } cases[] = {
        {"port", "needs a name"},
        {"switch S1", "unknown item 'switch'"},
        {"port P1 speed=fast", "bad speed="},
        {"port P1 colour=red", "unknown attribute 'colour'"},
        {"port P1 pkt=0", "pkt="},
        {"port P1 in=120%", "above 100"},
        {"port P1 P2", "expected key=value"},
        {"port P1\nport P1", "declared twice"},
        {"subif P1", "MAIN.N"},
        {"trunk T1", "needs members="},
        {"trunk T1 members=P9", "member P9 is not a declared port"},
        {"port P1\ntrunk T1 members=P1,P1", "more than one trunk"},
        {"port P1 ifindex=5\nport P2 ifindex=5", "already in use"},
        {"port P1 speed=0 in=5%", "needs a speed"},
        {"flow-interval 0", "at least 1"},
        {"board x", "bad board"},
    };
    for (const auto &c : cases) {
        const std::string msg = ErrorOf([&] { Parse(c.text); });
        EXPECT_NE(msg.find("inv:"), std::string::npos) << c.text << " -> " << msg;
        EXPECT_NE(msg.find(c.reason), std::string::npos) << c.text << " -> " << msg;
    }
    EXPECT_NE(ErrorOf([] { Parse("port P1\n\n  port P2 x"); }).find("inv:3:"), std::string::npos);
}

// ---- Device ---------------------------------------------------------------------------------

TEST(HostDevice, KeepsRingsRatesAndTablesLikeADevice)
{
    standin::ResetAll();
    Inventory inv = Parse("flow-interval 30\n"
                          "port P1 in=800M out=80M pkt=1000 stat=0x100\n"
                          "port P2 idle\n"
                          "trunk T1 members=P1,P2\n"
                          "mgmt M0 in=1M\n");
    Device dev(inv, 1, 0.0);
    const uint64_t t0 = 1704067200ull * 1000000;
    dev.Start(t0);
    dev.AdvanceTo(t0 + 45 * 1000000);
    const uint32_t p1 = inv.Find("P1")->ifindex;

    const standin::store::PortStatRow *port = standin::store::FindPortStat(p1);
    ASSERT_NE(port, nullptr);
    const auto &latest = port->steps[(port->interval_index + 9) % 10];
    const auto &before = port->steps[(port->interval_index + 8) % 10];
    EXPECT_EQ(latest.timestamp_coll_cur, t0 + 45 * 1000000);
    EXPECT_EQ(before.timestamp_coll_cur, t0 + 44 * 1000000);
    EXPECT_EQ(latest.in_bytes - before.in_bytes, 100000000u);
    EXPECT_EQ(latest.in_bytes, dev.CountersOf("P1")->inBytes);
    EXPECT_EQ(port->steps[10].in_bytes, 100000000000u); // bytes per second × 1000
    EXPECT_EQ(port->steps[10].in_packets, 100000000u);
    EXPECT_LT(port->steps[12].in_bytes, latest.in_bytes);
    EXPECT_EQ(port->steps[12].in_bytes, dev.BaselineOf("P1")->inBytes);

    const standin::store::IfStatRow *row = standin::store::FindIfStat(p1);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->stat_type, 0x100u);
    EXPECT_EQ(row->flow_stat_interval, 30u);
    const auto &snap = row->steps[(row->interval_index + 3) % 4];
    const auto &prev = row->steps[(row->interval_index + 2) % 4];
    EXPECT_EQ(snap.timestamp_coll_cur, t0 + 30 * 1000000); // the last flow boundary
    EXPECT_EQ(snap.in_bytes - prev.in_bytes, 30u * 100000000);
    EXPECT_EQ(row->steps[4].in_bytes, 100000000000u);
    EXPECT_EQ(row->steps[4].ipv6_in_bytes, 20000000000u); // 20 % IPv6 by default

    EXPECT_EQ(standin::store::FindIf(inv.Find("T1")->ifindex)->forwardType, 8u);
    EXPECT_EQ(standin::store::FindIf(inv.Find("T1")->ifindex)->speed, 20000000000u);
    EXPECT_NE(standin::store::FindPortStat(inv.Find("M0")->actualIfindex), nullptr);
    EXPECT_EQ(standin::store::FindPortStat(inv.Find("M0")->ifindex), nullptr);
    EXPECT_EQ(standin::store::FindIf(inv.Find("M0")->actualIfindex)->if_type, 34u);
    standin::ResetAll();
}

// ---- Subscriptions --------------------------------------------------------------------------

TEST(HostSubscriptions, TaskInfoCarriesEveryOption)
{
    const Subscription s = ParseSubscription(
        "subif 500ms encoding=json subif=GE1/0/1:100 threshold=in_octets>1000 threshold=out_unicast_pkts<=5 "
        "relation=second suppress period=1m",
        "test");
    EXPECT_EQ(s.sensor->name, std::string("ZOR_IFM_SUBIFSTAT"));
    EXPECT_EQ(s.intervalMs, 500u);
    const TlmTaskInfo cfg = BuildTaskInfo(s);
    EXPECT_EQ(cfg.encodeType, 1u);
    EXPECT_EQ(cfg.condType, 2u);
    EXPECT_STREQ(cfg.condKey, "name");
    EXPECT_EQ(cfg.condNameLen, 7u);
    EXPECT_STREQ(cfg.condName, "GE1/0/1");
    EXPECT_STREQ(cfg.condIndex, "100");
    EXPECT_EQ(cfg.thresholdNum, 2u);
    EXPECT_EQ(cfg.thresholdRelation, 2u);
    EXPECT_STREQ(cfg.threshold[0].counterName, "in_octets");
    EXPECT_EQ(cfg.threshold[0].thresholdOp, 1u); // threshold < counter
    EXPECT_EQ(cfg.threshold[0].thresholdValue, 1000u);
    EXPECT_EQ(cfg.threshold[1].thresholdOp, 4u); // threshold >= counter
    EXPECT_EQ(cfg.suppressRedundant, 1u);
    EXPECT_EQ(cfg.reportPeriod, 60u);

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
}

TEST(HostSubscriptions, SensorsByNamePathOrAlias)
{
    EXPECT_EQ(ParseSubscription("vexalo-ifm:ifm/interfaces/interface/mib-statistics 10", "t").sensor->name,
              std::string("ZOR_IFM_MIBIFSTAT"));
    EXPECT_EQ(ParseSubscription("COMMON 10", "t").sensor->name, std::string("ZOR_IFM_COMMONIFSTAT"));
    EXPECT_EQ(ParseSubscription("ZOR_IFM_IFSTAT 1m", "t").intervalMs, 60000u);
}

TEST(HostSubscriptions, BadLinesAreRefused)
{
    const struct {
        const char *line;
        const char *reason;
    } cases[] = {
        {"ZOR_IFM_IFSTAT", "expected SENSOR INTERVAL"},
        {"ZOR_IFM_NOPE 10", "unknown sensor 'ZOR_IFM_NOPE'"},
        {"vexalo-ifm:ifm/interfaces/interface/nothing 10", "unknown sensor"},
        {"ipstat ten", "bad interval"},
        {"ipstat 0", "above 0"},
        {"ipstat 10 colour=red", "unknown option 'colour'"},
        {"ipstat 10 encoding=xml", "bad encoding="},
        {"subif 10 threshold=in_octets~3", "threshold needs"},
        {"subif 10 threshold=a>1 threshold=b>1 threshold=c>1", "at most two"},
        {"subif 10 subif=GE1/0/1", "MAIN:NUMBER"},
        {"subif 10 start=20 stop=10", "stop= must come after"},
        {"ipstat 10 stray", "expected key=value"},
    };
    for (const auto &c : cases) {
        const std::string msg = ErrorOf([&] { ParseSubscription(c.line, "where"); });
        EXPECT_NE(msg.find("where: "), std::string::npos) << msg;
        EXPECT_NE(msg.find(c.reason), std::string::npos) << c.line << " -> " << msg;
    }
    ErrorOf([] { ParseSubscription("ipstat 10 name=" + std::string(103, 'x'), "w"); });
}

// ---- Decoding -------------------------------------------------------------------------------

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

TEST(HostDecode, GpbAndJsonOfTheSameSamplesAgree)
{
    zor::ifm::Ifm ifm;
    auto *itf = ifm.add_interfaces()->mutable_interface();
    itf->set_name("GE1/0/3");
    auto *common = itf->mutable_common_statistics();
    common->set_in_bit_rate(40480);
    common->set_receive_byte(18446744073709551615ull);
    common->set_in_use_rate("12.50%");
    const std::string gpb = ifm.SerializeAsString();
    const DecodedMessage g =
        DecodeMessage(SensorModel::CommonStatistics, false, reinterpret_cast<const uint8_t *>(gpb.data()), gpb.size());
    ASSERT_TRUE(g.error.empty());
    ASSERT_EQ(g.interfaces.size(), 1u);
    EXPECT_EQ(g.interfaces[0].name, "GE1/0/3");
    EXPECT_EQ(g.interfaces[0].values.size(), 19u);
    EXPECT_EQ(g.interfaces[0].values[0].key, "out-bit-rate"); // the message's own member order
    EXPECT_EQ(g.interfaces[0].Find("in-bit-rate")->number, 40480u);
    EXPECT_EQ(g.interfaces[0].Find("receive-byte")->number, 18446744073709551615ull);
    EXPECT_EQ(g.interfaces[0].Find("in-use-rate")->text, "12.50%");

    zor::oc::Interfaces oc;
    auto *o = oc.add_interface();
    o->set_name("GE1/0/1");
    auto *sub = o->mutable_subinterfaces()->add_subinterface();
    sub->set_index(100);
    sub->mutable_state()->add_index(100);
    sub->mutable_state()->add_index(100);
    sub->mutable_state()->mutable_counters()->set_in_octets(1000);
    const std::string ocGpb = oc.SerializeAsString();
    const std::string ocJson =
        R"({"interfaces":{"interface":[{"name":"GE1/0/1","subinterfaces":{"subinterface":[{"index":100,"state":)"
        R"({"index":100,"counters":{"in-octets":"1000","in-unicast-pkts":"0","in-broadcast-pkts":"0",)"
        R"("in-multicast-pkts":"0","in-discards":"0","in-errors":"0","in-unknown-protos":"0","in-fcs-errors":"0",)"
        R"("out-octets":"0","out-unicast-pkts":"0","out-broadcast-pkts":"0","out-multicast-pkts":"0",)"
        R"("out-discards":"0","out-errors":"0","carrier-transitions":"0","last-clear":"0"}}}]}}]}})";
    const SensorInfo &subif = *FindSensorByName("ZOR_IFM_SUBIFSTAT");
    const auto a = Envelope(ocGpb);
    const auto b = Envelope(ocJson);
    const EnvelopeLine la = DecodeEnvelope(subif, false, a.data(), a.size());
    const EnvelopeLine lb = DecodeEnvelope(subif, true, b.data(), b.size());
    ASSERT_TRUE(la.ok && lb.ok) << la.line << "\n" << lb.line;
    EXPECT_EQ(la.interfaces, 1u);
    const std::string tailA = la.line.substr(la.line.find("\"interfaces\""));
    const std::string tailB = lb.line.substr(lb.line.find("\"interfaces\""));
    EXPECT_EQ(tailA, tailB);
    EXPECT_NE(la.line.find(R"("task":3,"cookie":77,"encoding":"gpb","time":"2024-01-01T00:00:00.500Z")"),
              std::string::npos)
        << la.line;
    EXPECT_NE(la.line.find(R"({"name":"GE1/0/1","subinterface":100,"counters":{"in-octets":1000,)"), std::string::npos);
    EXPECT_EQ(la.line.find("warnings"), std::string::npos);
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

TEST(HostRawFile, RoundTripAndTruncation)
{
    const std::string path = ::testing::TempDir() + "/host_raw_test.bin";
    const auto env = Envelope("{\"ifm\":{\"interfaces\":{\"interface\":[]}}}", 5);
    {
        Output out(path, OutputFormat::Raw);
        out.Write(*FindSensorByName("ZOR_IFM_MIBIFSTAT"), true, env.data(), env.size());
        out.Write(*FindSensorByName("ZOR_IFM_IFSTAT"), false, env.data(), 48);
    }
    {
        RawReader in(path);
        RawRecord rec;
        ASSERT_TRUE(in.Next(rec));
        EXPECT_EQ(rec.sensor, "ZOR_IFM_MIBIFSTAT");
        EXPECT_TRUE(rec.json);
        EXPECT_EQ(rec.envelope, env);
        ASSERT_TRUE(in.Next(rec));
        EXPECT_EQ(rec.sensor, "ZOR_IFM_IFSTAT");
        EXPECT_FALSE(rec.json);
        EXPECT_EQ(rec.envelope.size(), 48u);
        EXPECT_FALSE(in.Next(rec));
    }
    FILE *f = std::fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(::ftruncate(fileno(f), 30), 0);
    std::fclose(f);
    RawReader cut(path);
    RawRecord rec;
    EXPECT_NE(ErrorOf([&] { cut.Next(rec); }).find("record 1 is cut short"), std::string::npos);

    f = std::fopen(path.c_str(), "wb");
    std::fputs("{\"not\":\"raw\"}\n", f);
    std::fclose(f);
    EXPECT_NE(ErrorOf([&] { RawReader r(path); }).find("not a raw envelope file"), std::string::npos);
    std::remove(path.c_str());
}

// ---- Flags ----------------------------------------------------------------------------------

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

    const struct {
        std::vector<std::string> args;
        const char *reason;
    } cases[] = {
        {{"--bogus"}, "unknown option '--bogus'"},
        {{"--seed"}, "--seed needs a value"},
        {{"--seed", "x1"}, "bad value for --seed"},
        {{"--duration", "0"}, "above 0"},
        {{"--format", "xml"}, "bad value for --format"},
        {{"--start", "yesterday"}, "bad value for --start"},
        {{"--quiet=1"}, "takes no value"},
        {{"launch"}, "unknown command 'launch'"},
    };
    for (const auto &c : cases) {
        const std::string msg = ErrorOf([&] { ParseOptions(c.args); });
        EXPECT_NE(msg.find(c.reason), std::string::npos) << msg;
    }
}
