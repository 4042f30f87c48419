#include "host/inventory.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "host/common.h"

namespace host {

namespace {

// Interface index ranges of automatically numbered interfaces, by kind.
constexpr uint32_t kPortBase = 0x1000;
constexpr uint32_t kTrunkBase = 0x2000;
constexpr uint32_t kSubifBase = 0x3000;
constexpr uint32_t kRoutedBase = 0x4000;
constexpr uint32_t kMgmtBase = 0x5000;
constexpr uint32_t kMgmtActualOffset = 0x100;

constexpr uint32_t kMaxTrunkMembers = 256;
constexpr size_t kMaxNameLength = 63;

constexpr uint64_t kGbit = 1000000000ull;
constexpr uint64_t kMbit = 1000000ull;

struct KindDefaults {
    const char *name;
    uint32_t base;
    uint32_t ifType;
    uint32_t forwardType;
    uint64_t speed;
    uint32_t statType;
};

// In IfKind order.
const KindDefaults kKinds[] = {
    {"port", kPortBase, 1, 1, 10 * kGbit, 0},
    {"trunk", kTrunkBase, 2, 8, 0, 0},
    {"subif", kSubifBase, 3, 1, 0, 0x1},
    {"routed", kRoutedBase, 4, 1, kGbit, 0x10},
    {"mgmt", kMgmtBase, 34, 1, kGbit, 0},
};

const KindDefaults &DefaultsOf(IfKind kind)
{
    return kKinds[static_cast<size_t>(kind)];
}

bool ParseKind(const std::string &word, IfKind &kind)
{
    for (size_t i = 0; i < std::size(kKinds); ++i) {
        if (word == kKinds[i].name) {
            kind = static_cast<IfKind>(i);
            return true;
        }
    }
    return false;
}


// The main interface's name of a subinterface name, or "" when it is not of the form MAIN.N.
std::string SubifParent(const std::string &name)
{
    const size_t dot = name.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 >= name.size()) {
        return "";
    }
    for (size_t i = dot + 1; i < name.size(); ++i) {
        if (name[i] < '0' || name[i] > '9') {
            return "";
        }
    }
    return name.substr(0, dot);
}

struct PendingRates {
    double inPercent = -1;
    double outPercent = -1;
    bool speedGiven = false;
    bool statGiven = false;
};

// Rates given as a percentage of the speed, resolved once all speeds are known.
uint64_t PercentOf(uint64_t speed, double percent)
{
    return static_cast<uint64_t>(static_cast<double>(speed) * percent / 100.0 + 0.5);
}

class Parser {
public:
    explicit Parser(const std::string &source) : source_(source) {}

    void Line(const std::string &raw, size_t lineNo)
    {
        line_ = lineNo;
        const std::vector<std::string> words = Words(raw.substr(0, raw.find('#')));
        if (words.empty()) {
            return;
        }
        const std::string &head = words[0];
        if (head == "board" || head == "flow-interval") {
            if (words.size() != 2) {
                Fail(head + " takes one number");
            }
            const uint32_t v = Number32(words[1], head);
            if (head == "board") {
                inv_.boardType = v;
            } else {
                if (v == 0 || v > kMaxFlowInterval) {
                    Fail("flow-interval must be 1 to " + std::to_string(kMaxFlowInterval) + " seconds");
                }
                inv_.flowInterval = v;
            }
            return;
        }
        IfKind kind;
        if (!ParseKind(head, kind)) {
            Fail("unknown item '" + head + "' (expected board, flow-interval, port, trunk, subif, routed or mgmt)");
        }
        if (words.size() < 2) {
            Fail(head + " needs a name");
        }
        Interface(kind, words);
    }

    Inventory Finish()
    {
        Resolve();
        return inv_;
    }

private:
    [[noreturn]] void Fail(const std::string &message) const
    {
        throw InputError(source_ + ":" + std::to_string(line_) + ": " + message);
    }

    uint32_t Number32(const std::string &text, const std::string &what) const
    {
        try {
            return ParseUnsigned32(text);
        } catch (const std::invalid_argument &e) {
            Fail("bad " + what + ": " + e.what());
        }
    }

    void Interface(IfKind kind, const std::vector<std::string> &words)
    {
        InterfaceDecl decl = Declare(kind, words[1]);
        PendingRates pending;
        if (decl.name.size() > kMaxNameLength) {
            Fail("name longer than 63 characters: " + decl.name);
        }
        if (names_.count(decl.name) != 0) {
            Fail("interface " + decl.name + " is declared twice");
        }
        if (kind == IfKind::Subif && SubifParent(decl.name).empty()) {
            Fail("subinterface name must be MAIN.N with a decimal N: " + decl.name);
        }
        for (size_t i = 2; i < words.size(); ++i) {
            Attribute(decl, pending, words[i]);
        }
        if (kind == IfKind::Trunk && decl.members.empty()) {
            Fail("trunk " + decl.name + " needs members=PORT,PORT,...");
        }
        if (kind != IfKind::Trunk && !decl.members.empty()) {
            Fail("members= belongs to trunks only");
        }
        if (kind != IfKind::Mgmt && decl.actualIfindex != 0) {
            Fail("actual= belongs to management ports only");
        }
        names_.insert(decl.name);
        lines_.push_back(line_);
        pending_.push_back(pending);
        inv_.interfaces.push_back(decl);
    }

    void Attribute(InterfaceDecl &decl, PendingRates &pending, const std::string &word)
    {
        if (word == "idle") {
            decl.traffic.inBitRate = decl.traffic.outBitRate = 0;
            pending.inPercent = pending.outPercent = -1;
            return;
        }
        if (word == "nostats") {
            decl.statsEnabled = false;
            return;
        }
        const size_t eq = word.find('=');
        if (eq == std::string::npos || eq == 0) {
            Fail("expected key=value, got '" + word + "'");
        }
        const std::string key = word.substr(0, eq);
        const std::string value = word.substr(eq + 1);
        try {
            if (key == "speed") {
                decl.speed = ParseBitRate(value);
                pending.speedGiven = true;
            } else if (key == "in" || key == "out") {
                double &pct = key == "in" ? pending.inPercent : pending.outPercent;
                uint64_t &rate = key == "in" ? decl.traffic.inBitRate : decl.traffic.outBitRate;
                if (!value.empty() && value.back() == '%') {
                    pct = ParseDecimal(value.substr(0, value.size() - 1));
                    if (pct > 100) {
                        Fail(key + "= percentage above 100: " + value);
                    }
                    rate = 0;
                } else {
                    rate = ParseBitRate(value);
                    pct = -1;
                }
            } else if (key == "pkt") {
                decl.traffic.packetSize = ParseUnsigned32(value);
                if (decl.traffic.packetSize < 1 || decl.traffic.packetSize > 65535) {
                    Fail("pkt= must be 1 to 65535 bytes");
                }
            } else if (key == "v6") {
                decl.traffic.ipv6Percent = ParseUnsigned32(value);
                if (decl.traffic.ipv6Percent > 100) {
                    Fail("v6= must be a percentage 0 to 100");
                }
            } else if (key == "stat") {
                decl.statType = ParseUnsigned32(value);
                pending.statGiven = true;
            } else if (key == "if_type") {
                decl.ifType = ParseUnsigned32(value);
            } else if (key == "fwd") {
                decl.forwardType = ParseUnsigned32(value);
            } else if (key == "ifindex") {
                decl.ifindex = ParseUnsigned32(value);
                if (decl.ifindex == 0) {
                    Fail("ifindex= must not be 0");
                }
            } else if (key == "actual") {
                decl.actualIfindex = ParseUnsigned32(value);
                if (decl.actualIfindex == 0) {
                    Fail("actual= must not be 0");
                }
            } else if (key == "members") {
                decl.members.clear();
                for (const std::string &m : Split(value, ',')) {
                    if (m.empty()) {
                        Fail("empty member name in members=");
                    }
                    decl.members.push_back(m);
                }
            } else {
                Fail("unknown attribute '" + key + "'");
            }
        } catch (const std::invalid_argument &e) {
            Fail("bad " + key + "=: " + e.what());
        }
    }

    void Resolve()
    {
        std::map<std::string, size_t> byName;
        for (size_t i = 0; i < inv_.interfaces.size(); ++i) {
            byName[inv_.interfaces[i].name] = i;
        }
        std::map<IfKind, uint32_t> next;
        std::set<uint32_t> used;
        for (const InterfaceDecl &s : inv_.interfaces) {
            if (s.ifindex != 0) {
                used.insert(s.ifindex);
            }
            if (s.actualIfindex != 0) {
                used.insert(s.actualIfindex);
            }
        }
        std::set<uint32_t> seen;
        std::set<std::string> memberOf;
        for (size_t i = 0; i < inv_.interfaces.size(); ++i) {
            InterfaceDecl &s = inv_.interfaces[i];
            PendingRates &p = pending_[i];
            line_ = lines_[i];
            if (s.ifindex == 0) {
                uint32_t &n = next[s.kind];
                do {
                    s.ifindex = DefaultsOf(s.kind).base + ++n;
                } while (used.count(s.ifindex) != 0);
                used.insert(s.ifindex);
            }
            if (s.kind == IfKind::Mgmt && s.actualIfindex == 0) {
                s.actualIfindex = s.ifindex + kMgmtActualOffset;
                while (used.count(s.actualIfindex) != 0) {
                    ++s.actualIfindex;
                }
                used.insert(s.actualIfindex);
            }
            for (uint32_t idx : {s.ifindex, s.actualIfindex}) {
                if (idx != 0 && !seen.insert(idx).second) {
                    Fail("interface index " + std::to_string(idx) + " of " + s.name + " is already in use");
                }
            }
            if (s.kind == IfKind::Subif && !p.speedGiven) {
                auto it = byName.find(SubifParent(s.name));
                if (it != byName.end()) {
                    s.speed = inv_.interfaces[it->second].speed;
                }
            }
            if (s.kind == IfKind::Trunk) {
                if (s.members.size() > kMaxTrunkMembers) {
                    Fail("trunk " + s.name + " has more than 256 members");
                }
                uint64_t sum = 0;
                for (const std::string &m : s.members) {
                    auto it = byName.find(m);
                    if (it == byName.end() || inv_.interfaces[it->second].kind != IfKind::Port) {
                        Fail("trunk " + s.name + ": member " + m + " is not a declared port");
                    }
                    if (!memberOf.insert(m).second) {
                        Fail("port " + m + " is a member of more than one trunk, or listed twice");
                    }
                    sum += inv_.interfaces[it->second].speed;
                }
                if (!p.speedGiven) {
                    s.speed = sum;
                }
            }
            if (p.inPercent >= 0 || p.outPercent >= 0) {
                if (s.speed == 0) {
                    Fail(s.name + ": a rate in percent needs a speed");
                }
                if (p.inPercent >= 0) {
                    s.traffic.inBitRate = PercentOf(s.speed, p.inPercent);
                }
                if (p.outPercent >= 0) {
                    s.traffic.outBitRate = PercentOf(s.speed, p.outPercent);
                }
            }
        }
    }

    std::string source_;
    size_t line_ = 0;
    Inventory inv_;
    std::set<std::string> names_;
    std::vector<size_t> lines_;
    std::vector<PendingRates> pending_;
};

const uint32_t kPacketSizes[] = {128, 256, 512, 1024, 1500};

TrafficProfile Drawn(uint64_t seed, uint64_t key, uint64_t speed, uint32_t minPct, uint32_t maxPct)
{
    TrafficProfile t;
    const uint64_t a = Mix(seed, key);
    const uint64_t b = Mix(a, 1);
    const uint64_t span = maxPct - minPct + 1;
    t.inBitRate = speed / 100 * (minPct + a % span);
    t.outBitRate = speed / 100 * (minPct + b % span);
    t.packetSize = kPacketSizes[(a >> 20) % 5];
    t.ipv6Percent = 10 + 5 * static_cast<uint32_t>((b >> 20) % 7);
    return t;
}

} // namespace

InterfaceDecl Declare(IfKind kind, const std::string &name, uint32_t ifindex)
{
    const KindDefaults &d = DefaultsOf(kind);
    InterfaceDecl decl;
    decl.kind = kind;
    decl.name = name;
    decl.ifindex = ifindex;
    decl.ifType = d.ifType;
    decl.forwardType = d.forwardType;
    decl.speed = d.speed;
    decl.statType = d.statType;
    return decl;
}

const char *KindName(IfKind kind)
{
    return DefaultsOf(kind).name;
}

const InterfaceDecl *Inventory::Find(const std::string &name) const
{
    for (const InterfaceDecl &s : interfaces) {
        if (s.name == name) {
            return &s;
        }
    }
    return nullptr;
}

std::vector<uint32_t> Inventory::MemberIndexes(const InterfaceDecl &trunk) const
{
    std::vector<uint32_t> out;
    for (const std::string &m : trunk.members) {
        if (const InterfaceDecl *p = Find(m)) {
            out.push_back(p->ifindex);
        }
    }
    return out;
}

// The default device:
//  - ports GE1/0/1..N: the last N/6 (at most 8) are 100G uplinks, the others 10G; every 12th port
//    is idle, the others receive and send 5 to 60 % of their speed;
//  - trunks Eth-Trunk1..T of 2, 3, 4, 2, 3, ... members, taken from the ports just before the
//    uplinks; member ports keep IP statistics (row type 0x100) and each trunk has its own row of
//    type 0x100000 with no traffic of its own, so the trunk's IP figures are its members' sums;
//  - subinterfaces GE1/0/P.100 to .400, four per port from GE1/0/1 on, 1 to 5 % of the port's speed,
//    every 8th idle;
//  - routed interfaces Vlanif10 onwards (row type 0x10) at 10 to 500 Mbit/s, LoopBack0 (row type
//    0x1000, idle) and Tunnel0/0/1 (row type 0x10000, 20 Mbit/s each way);
//  - management port MEth0/0/0, 1G, 2 Mbit/s in and 1 Mbit/s out.
Inventory DefaultInventory(const InventoryShape &shape, uint64_t seed)
{
    Inventory inv;
    const uint32_t uplinks = shape.ports >= 12 ? std::min<uint32_t>(8, shape.ports / 6) : 0;
    std::vector<uint32_t> memberCount;
    uint32_t totalMembers = 0;
    for (uint32_t t = 0; t < shape.trunks; ++t) {
        memberCount.push_back(2 + t % 3);
        totalMembers += memberCount.back();
    }
    if (totalMembers + uplinks > shape.ports) {
        throw InputError("--trunks " + std::to_string(shape.trunks) + " needs " + std::to_string(totalMembers + uplinks) +
                         " ports, --ports is " + std::to_string(shape.ports));
    }
    const uint32_t firstMember = shape.ports - uplinks - totalMembers + 1;

    for (uint32_t n = 1; n <= shape.ports; ++n) {
        InterfaceDecl p = Declare(IfKind::Port, "GE1/0/" + std::to_string(n), kPortBase + n);
        p.speed = n > shape.ports - uplinks ? 100 * kGbit : 10 * kGbit;
        if (n % 12 != 0) {
            p.traffic = Drawn(seed, n, p.speed, 5, 60);
        }
        if (n >= firstMember && n < firstMember + totalMembers) {
            p.statType = 0x100;
        }
        inv.interfaces.push_back(p);
    }
    uint32_t member = firstMember;
    for (uint32_t t = 1; t <= shape.trunks; ++t) {
        InterfaceDecl tr = Declare(IfKind::Trunk, "Eth-Trunk" + std::to_string(t), kTrunkBase + t);
        tr.statType = 0x100000;
        for (uint32_t m = 0; m < memberCount[t - 1]; ++m, ++member) {
            tr.members.push_back("GE1/0/" + std::to_string(member));
            tr.speed += inv.interfaces[member - 1].speed;
        }
        inv.interfaces.push_back(tr);
    }
    for (uint32_t k = 0; k < shape.subifs; ++k) {
        const uint32_t parent = shape.ports == 0 ? 1 : (k / 4) % shape.ports + 1;
        const uint32_t number = 100 * (k % 4 + 1) + 1000 * (k / 4 / std::max<uint32_t>(shape.ports, 1));
        InterfaceDecl s = Declare(IfKind::Subif, "GE1/0/" + std::to_string(parent) + "." + std::to_string(number),
                                  kSubifBase + k + 1);
        s.speed = shape.ports == 0 ? 10 * kGbit : inv.interfaces[parent - 1].speed;
        if ((k + 1) % 8 != 0) {
            s.traffic = Drawn(seed, 0x10000 + k, s.speed, 1, 5);
        }
        inv.interfaces.push_back(s);
    }
    for (uint32_t r = 0; r < shape.routed; ++r) {
        InterfaceDecl v = Declare(IfKind::Routed, "Vlanif" + std::to_string(10 + r), kRoutedBase + r + 1);
        v.traffic = Drawn(seed, 0x20000 + r, kGbit, 1, 50);
        inv.interfaces.push_back(v);
    }
    InterfaceDecl lo = Declare(IfKind::Routed, "LoopBack0", kRoutedBase + 0x100);
    lo.ifType = 5;
    lo.speed = 0;
    lo.statType = 0x1000;
    inv.interfaces.push_back(lo);
    InterfaceDecl tun = Declare(IfKind::Routed, "Tunnel0/0/1", kRoutedBase + 0x101);
    tun.ifType = 6;
    tun.statType = 0x10000;
    tun.traffic.inBitRate = tun.traffic.outBitRate = 20 * kMbit;
    tun.traffic.packetSize = 1024;
    inv.interfaces.push_back(tun);
    InterfaceDecl meth = Declare(IfKind::Mgmt, "MEth0/0/0", kMgmtBase + 1);
    meth.actualIfindex = kMgmtBase + 1 + kMgmtActualOffset;
    meth.traffic.inBitRate = 2 * kMbit;
    meth.traffic.outBitRate = kMbit;
    meth.traffic.packetSize = 256;
    inv.interfaces.push_back(meth);
    return inv;
}

Inventory ParseInventory(std::istream &in, const std::string &source)
{
    Parser parser(source);
    std::string line;
    size_t n = 0;
    while (std::getline(in, line)) {
        parser.Line(line, ++n);
    }
    return parser.Finish();
}

Inventory LoadInventoryFile(const std::string &path)
{
    std::ifstream in(path);
    if (!in) {
        throw InputError("cannot read inventory file " + path);
    }
    return ParseInventory(in, path);
}

std::string FormatInventory(const Inventory &inv)
{
    std::ostringstream out;
    out << "board " << inv.boardType << "\n";
    out << "flow-interval " << inv.flowInterval << "\n";
    for (const InterfaceDecl &s : inv.interfaces) {
        out << KindName(s.kind) << " " << s.name;
        if (s.kind == IfKind::Trunk) {
            out << " members=";
            for (size_t i = 0; i < s.members.size(); ++i) {
                out << (i ? "," : "") << s.members[i];
            }
        }
        out << " speed=" << FormatBitRate(s.speed);
        if (s.traffic.idle()) {
            out << " idle";
        } else {
            out << " in=" << FormatBitRate(s.traffic.inBitRate) << " out=" << FormatBitRate(s.traffic.outBitRate);
        }
        out << " pkt=" << s.traffic.packetSize << " v6=" << s.traffic.ipv6Percent;
        char stat[16];
        std::snprintf(stat, sizeof(stat), "0x%x", s.statType);
        out << " stat=" << stat << " if_type=" << s.ifType << " fwd=" << s.forwardType << " ifindex=" << s.ifindex;
        if (s.kind == IfKind::Mgmt) {
            out << " actual=" << s.actualIfindex;
        }
        if (!s.statsEnabled) {
            out << " nostats";
        }
        out << "\n";
    }
    return out.str();
}

} // namespace host
