#include "host/metrics.h"

#include <httplib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "host/common.h"

namespace host {

namespace {

constexpr char kPrefix[] = "zor_ifm_";

enum class Scale { None, BitsToBytes, PercentToRatio, NanosToSeconds };

struct Rule {
    const char *what;   // member name after its direction and family
    const char *metric; // metric name after zor_ifm_[family_]direction_
    bool counter;
    Scale scale;
};

// Members by what they count: the ip-, mib- and common-statistics nodes (receive-ip-byte,
// in-bit-rate, send-broad-packet, ...) and the subinterface counters (in-octets, out-discards, ...).
const Rule kRules[] = {
    {"byte", "bytes_total", true, Scale::None},
    {"octets", "bytes_total", true, Scale::None},
    {"packet", "packets_total", true, Scale::None},
    {"unicast-packet", "unicast_packets_total", true, Scale::None},
    {"unicast-pkts", "unicast_packets_total", true, Scale::None},
    {"multicast-packet", "multicast_packets_total", true, Scale::None},
    {"multicast-pkts", "multicast_packets_total", true, Scale::None},
    {"broad-packet", "broadcast_packets_total", true, Scale::None},
    {"broadcast-pkts", "broadcast_packets_total", true, Scale::None},
    {"error-packet", "errors_total", true, Scale::None},
    {"errors", "errors_total", true, Scale::None},
    {"drop-packet", "drops_total", true, Scale::None},
    {"discards", "drops_total", true, Scale::None},
    {"unknown-protos", "unknown_protocol_packets_total", true, Scale::None},
    {"fcs-errors", "fcs_errors_total", true, Scale::None},
    {"bit-rate", "bytes_per_second", false, Scale::BitsToBytes},
    {"packet-rate", "packets_per_second", false, Scale::None},
    {"use-rate", "utilization_ratio", false, Scale::PercentToRatio},
};

struct Metric {
    MetricInfo info;
    std::string name;
    Scale scale;
};

bool Strip(std::string &text, const std::string &prefix)
{
    if (!StartsWith(text, prefix)) {
        return false;
    }
    text = text.substr(prefix.size());
    return true;
}

// The metric of a member, worked out from its name; a name that fits no rule gives none.
bool Translate(const std::string &member, Metric &m)
{
    m.info.counter = false;
    m.scale = Scale::None;
    if (member == "carrier-transitions") {
        m.name = std::string(kPrefix) + "carrier_transitions_total";
        m.info.counter = true;
        return true;
    }
    if (member == "last-clear") {
        m.name = std::string(kPrefix) + "last_clear_timestamp_seconds";
        m.scale = Scale::NanosToSeconds;
        return true;
    }
    std::string rest = member;
    std::string direction;
    if (Strip(rest, "receive-") || Strip(rest, "in-")) {
        direction = "receive_";
    } else if (Strip(rest, "send-") || Strip(rest, "out-")) {
        direction = "transmit_";
    } else {
        return false;
    }
    std::string family;
    for (const char *f : {"ipv4", "ipv6", "ip"}) {
        if (Strip(rest, std::string(f) + "-")) {
            family = std::string(f) + "_";
            break;
        }
    }
    for (const Rule &r : kRules) {
        if (rest == r.what) {
            m.name = kPrefix + family + direction + r.metric;
            m.info.counter = r.counter;
            m.scale = r.scale;
            return true;
        }
    }
    return false;
}

const Metric *Lookup(const std::string &member)
{
    static std::mutex mutex;
    static std::map<std::string, std::unique_ptr<Metric>> cache;
    std::lock_guard<std::mutex> lock(mutex);
    auto it = cache.find(member);
    if (it == cache.end()) {
        std::unique_ptr<Metric> m(new Metric);
        if (!Translate(member, *m)) {
            m.reset();
        } else {
            m->info.name = m->name.c_str();
        }
        it = cache.emplace(member, std::move(m)).first;
    }
    return it->second.get();
}

// Exact decimal text of value ÷ divisor for a power-of-ten or power-of-two divisor.
std::string Divided(uint64_t value, uint64_t divisor, int decimals)
{
    std::string text = std::to_string(value / divisor);
    uint64_t rest = value % divisor;
    if (rest == 0) {
        return text;
    }
    text += '.';
    for (int i = 0; i < decimals && rest != 0; ++i) {
        rest *= 10;
        text += static_cast<char>('0' + rest / divisor);
        rest %= divisor;
    }
    return text;
}

bool ValueText(const Metric &m, const DecodedValue &v, std::string &out)
{
    switch (m.scale) {
    case Scale::PercentToRatio: {
        // "41.68%": the text of a use rate; a plain number would be a percentage too.
        const std::string &t = v.isText ? v.text : std::to_string(v.number);
        char *end = nullptr;
        const double percent = std::strtod(t.c_str(), &end);
        if (end == t.c_str() || !(*end == '\0' || (*end == '%' && end[1] == '\0'))) {
            return false;
        }
        char buf[32];
        std::snprintf(buf, sizeof(buf), "%.10g", percent / 100.0);
        out = buf;
        return true;
    }
    case Scale::BitsToBytes:
        out = Divided(v.number, 8, 3);
        return !v.isText;
    case Scale::NanosToSeconds:
        out = Divided(v.number, 1000000000, 9);
        return !v.isText;
    case Scale::None:
        break;
    }
    out = std::to_string(v.number);
    return !v.isText;
}

std::string Escaped(const std::string &text, bool quotes)
{
    std::string out;
    for (char c : text) {
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '"' && quotes) {
            out += "\\\"";
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

const MetricInfo *MetricOf(const std::string &member)
{
    const Metric *m = Lookup(member);
    return m == nullptr ? nullptr : &m->info;
}

void MetricsRegistry::Update(uint32_t task, const SensorInfo &sensor, const DecodedMessage &message)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const DecodedInterface &i : message.interfaces) {
        const std::string name = i.isSubif ? i.name + "." + std::to_string(i.subif) : i.name;
        samples_[{task, name}] = Sample{sensor.name, i.values};
    }
}

void MetricsRegistry::ForgetTask(uint32_t task)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = samples_.begin(); it != samples_.end();) {
        it = it->first.first == task ? samples_.erase(it) : std::next(it);
    }
}

void MetricsRegistry::Retain(const std::vector<std::string> &names)
{
    const std::set<std::string> keep(names.begin(), names.end());
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = samples_.begin(); it != samples_.end();) {
        it = keep.count(it->first.second) == 0 ? samples_.erase(it) : std::next(it);
    }
}

std::string MetricsRegistry::Render() const
{
    struct Family {
        const Metric *metric = nullptr;
        std::set<std::string> members;
        std::vector<std::string> lines;
    };
    std::map<std::string, Family> families;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto &s : samples_) {
            const std::string labels = "{sensor=\"" + Escaped(s.second.sensor, true) + "\",interface=\"" +
                                       Escaped(s.first.second, true) + "\",task=\"" + std::to_string(s.first.first) +
                                       "\"} ";
            for (const DecodedValue &v : s.second.values) {
                const Metric *m = Lookup(v.key);
                std::string value;
                if (m == nullptr || !ValueText(*m, v, value)) {
                    continue;
                }
                Family &f = families[m->name];
                f.metric = m;
                f.members.insert(v.key);
                f.lines.push_back(m->name + labels + value);
            }
        }
    }
    std::string out;
    for (const auto &entry : families) {
        const Family &f = entry.second;
        std::string members;
        for (const std::string &m : f.members) {
            members += (members.empty() ? "" : ", ") + m;
        }
        out += "# HELP " + entry.first + " Latest sample of the plugin's " + Escaped(members, false) + ".\n";
        out += "# TYPE " + entry.first + (f.metric->info.counter ? " counter\n" : " gauge\n");
        for (const std::string &line : f.lines) {
            out += line + "\n";
        }
    }
    return out;
}

MetricsServer::MetricsServer(const MetricsRegistry &registry, const std::string &listen)
    : server_(new httplib::Server)
{
    const size_t colon = listen.rfind(':');
    std::string host = colon == std::string::npos ? "" : listen.substr(0, colon);
    uint32_t port = 0;
    try {
        port = colon == std::string::npos ? 0 : ParseUnsigned32(listen.substr(colon + 1));
    } catch (const std::invalid_argument &) {
        host.clear();
    }
    if (host.empty() || port > 65535) {
        throw InputError("--listen takes ADDR:PORT (e.g. 127.0.0.1:9464), got '" + listen + "'");
    }
    const std::string shown = host;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    server_->new_task_queue = [] { return new httplib::ThreadPool(1); };
    server_->Get("/metrics", [&registry](const httplib::Request &, httplib::Response &res) {
        res.set_content(registry.Render(), "text/plain; version=0.0.4; charset=utf-8");
    });
    const int bound = port == 0 ? server_->bind_to_any_port(host)
                                : (server_->bind_to_port(host, static_cast<int>(port)) ? static_cast<int>(port) : -1);
    if (bound <= 0) {
        throw InputError("cannot listen on " + listen);
    }
    address_ = shown + ":" + std::to_string(bound);
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // Stopping a server that has not started its loop yet would leave the loop running.
    for (int i = 0; i < 500 && !server_->is_running(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

MetricsServer::~MetricsServer()
{
    server_->stop();
    thread_.join();
}

} // namespace host
