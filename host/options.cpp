#include "host/options.h"

#include <ctime>
#include <functional>
#include <map>
#include <set>

#include "host/common.h"

namespace host {

namespace {

uint64_t ParseStart(const std::string &text)
{
    bool digits = !text.empty();
    for (char c : text) {
        digits = digits && c >= '0' && c <= '9';
    }
    if (digits) {
        return ParseUnsigned(text) * 1000000;
    }
    struct tm tmv = {};
    const char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &tmv);
    if (end == nullptr || !(*end == '\0' || (end[0] == 'Z' && end[1] == '\0'))) {
        throw std::invalid_argument("expected seconds since 1970 or YYYY-MM-DDTHH:MM:SSZ: " + text);
    }
    const time_t t = timegm(&tmv);
    if (t < 0) {
        throw std::invalid_argument("time before 1970: " + text);
    }
    return static_cast<uint64_t>(t) * 1000000;
}

uint32_t ParseLogLevel(const std::string &text)
{
    if (text == "none") {
        return 0;
    }
    if (text == "error") {
        return 2;
    }
    if (text == "info") {
        return 1;
    }
    return ParseUnsigned32(text);
}

} // namespace

std::string Usage()
{
    return R"(usage: zor_host [run] [options]      run the plugin on a simulated device
       zor_host decode [FILE]          print the envelopes of a raw file (default: standard input)
       zor_host dump-inventory [options]   print the device inventory and exit
       zor_host help

Plugin:
  --plugin PATH          plugin library (default: the one this build made)
  --module-id N          module identifier handed to the entry (default 1)
Device:
  --source sim|linux     the simulated device (default), or this machine's own network links, read
                         over rtnetlink once a second in real time (implies --real)
  --netns NAME           --source linux: the links of this network namespace (ip netns NAME or a path)
  --inventory FILE       device inventory file (default: a top-of-rack board, see README)
  --board N              board type the device reports (default 6, or the inventory's)
  --ports N --trunks N --subifs N --routed N
                         shape of the default inventory (48, 4, 64, 8)
  --flow-interval S      seconds between if_statistics snapshots, 1 to 3600 (default 30,
                         10 with --source linux)
  --seed N               seed of the traffic model (default 1)
  --jitter PCT           per-second traffic jitter in percent (default 2)
Subscriptions:
  --sub 'SENSOR INTERVAL [options]'   one subscription (repeatable), e.g.
                         --sub 'ZOR_IFM_IFSTAT 10s encoding=json name=Vlanif*'
  --subscriptions FILE   one subscription per line
                         (default: every registered sensor, GPB and JSON, every 10 s)
Time:
  --duration T           how long to run: simulated time (default 3m), or real time with --real
                         (default: until interrupted); T as 90, 90s, 3m, 1h
  --real                 follow the real clock instead of simulating time as fast as possible
  --start TIME           simulated start, seconds since 1970 or 2024-01-01T00:00:00Z (the default)
Output:
  --output FILE          where to write (default -: standard output)
  --format jsonl|raw     one decoded JSON line per envelope (default), or raw envelope records
  --log none|error|info  plugin log lines to standard error from this level (default error)
  --quiet                no summary on standard error
  --listen ADDR:PORT     serve the latest samples as Prometheus metrics at http://ADDR:PORT/metrics
                         (port 0 takes a free port; implies --real)
)";
}

Options ParseOptions(const std::vector<std::string> &args)
{
    Options o;
    size_t i = 0;
    if (!args.empty() && !StartsWith(args[0], "-")) {
        const std::string &cmd = args[0];
        if (cmd == "run") {
            o.command = Options::Command::Run;
        } else if (cmd == "decode") {
            o.command = Options::Command::Decode;
        } else if (cmd == "help") {
            o.command = Options::Command::Help;
        } else if (cmd == "dump-inventory") {
            o.command = Options::Command::DumpInventory;
        } else {
            throw InputError("unknown command '" + cmd + "' (run, decode, dump-inventory, help)");
        }
        ++i;
    }
    if (o.command == Options::Command::Decode && i < args.size() && !StartsWith(args[i], "--")) {
        o.decodeInput = args[i++];
    }

    using Handler = std::function<void(const std::string &)>;
    const std::map<std::string, Handler> valued = {
        {"--plugin", [&](const std::string &v) { o.plugin = v; }},
        {"--module-id", [&](const std::string &v) { o.moduleId = ParseUnsigned32(v); }},
        {"--inventory", [&](const std::string &v) { o.inventoryFile = v; }},
        {"--board",
         [&](const std::string &v) {
             o.board = ParseUnsigned32(v);
             o.boardGiven = true;
         }},
        {"--ports", [&](const std::string &v) { o.shape.ports = ParseUnsigned32(v); }},
        {"--trunks", [&](const std::string &v) { o.shape.trunks = ParseUnsigned32(v); }},
        {"--subifs", [&](const std::string &v) { o.shape.subifs = ParseUnsigned32(v); }},
        {"--routed", [&](const std::string &v) { o.shape.routed = ParseUnsigned32(v); }},
        {"--flow-interval",
         [&](const std::string &v) {
             o.flowInterval = ParseUnsigned32(v);
             if (o.flowInterval == 0 || o.flowInterval > kMaxFlowInterval) {
                 throw std::invalid_argument("must be 1 to " + std::to_string(kMaxFlowInterval));
             }
             o.flowGiven = true;
         }},
        {"--seed", [&](const std::string &v) { o.seed = ParseUnsigned(v); }},
        {"--jitter",
         [&](const std::string &v) {
             o.jitterPercent = ParseDecimal(v);
             if (o.jitterPercent > 100) {
                 throw std::invalid_argument("at most 100");
             }
         }},
        {"--sub", [&](const std::string &v) { o.subs.push_back(v); }},
        {"--subscriptions", [&](const std::string &v) { o.subFiles.push_back(v); }},
        {"--duration",
         [&](const std::string &v) {
             o.durationMs = ParseDurationMs(v);
             o.durationGiven = true;
         }},
        {"--start", [&](const std::string &v) { o.startUs = ParseStart(v); }},
        {"--output", [&](const std::string &v) { o.output = v; }},
        {"--format",
         [&](const std::string &v) {
             if (v == "jsonl" || v == "json") {
                 o.format = OutputFormat::Jsonl;
             } else if (v == "raw") {
                 o.format = OutputFormat::Raw;
             } else {
                 throw std::invalid_argument("expected jsonl or raw");
             }
         }},
        {"--log", [&](const std::string &v) { o.logLevel = ParseLogLevel(v); }},
        {"--source",
         [&](const std::string &v) {
             if (v == "sim" || v == "simulated") {
                 o.source = Options::Source::Simulated;
             } else if (v == "linux") {
                 o.source = Options::Source::Linux;
             } else {
                 throw std::invalid_argument("expected sim or linux");
             }
         }},
        {"--netns", [&](const std::string &v) { o.netns = v; }},
        {"--listen", [&](const std::string &v) { o.listen = v; }},
    };
    std::set<std::string> given;

    for (; i < args.size(); ++i) {
        std::string flag = args[i];
        std::string value;
        bool hasValue = false;
        const size_t eq = flag.find('=');
        if (StartsWith(flag, "--") && eq != std::string::npos) {
            value = flag.substr(eq + 1);
            flag = flag.substr(0, eq);
            hasValue = true;
        }
        if (flag == "--help" || flag == "-h") {
            o.command = Options::Command::Help;
            continue;
        }
        if (flag == "--real" || flag == "--quiet") {
            if (hasValue) {
                throw InputError(flag + " takes no value");
            }
            (flag == "--real" ? o.realTime : o.quiet) = true;
            continue;
        }
        auto it = valued.find(flag);
        if (it == valued.end()) {
            throw InputError("unknown option '" + args[i] + "' (see --help)");
        }
        given.insert(flag);
        if (!hasValue) {
            if (i + 1 >= args.size()) {
                throw InputError(flag + " needs a value");
            }
            value = args[++i];
        }
        try {
            it->second(value);
        } catch (const std::invalid_argument &e) {
            throw InputError("bad value for " + flag + ": " + e.what());
        }
    }
    if (o.source == Options::Source::Linux) {
        for (const char *f :
             {"--inventory", "--ports", "--trunks", "--subifs", "--routed", "--seed", "--jitter", "--start"}) {
            if (given.count(f) != 0) {
                throw InputError(std::string(f) + " belongs to the simulated device, not to --source linux");
            }
        }
        o.realTime = true;
        if (!o.flowGiven) {
            o.flowInterval = 10;
        }
    } else if (!o.netns.empty()) {
        throw InputError("--netns belongs to --source linux");
    }
    if (!o.listen.empty()) {
        o.realTime = true;
    }
    if (o.realTime && !o.durationGiven) {
        o.durationMs = 0;
    }
    if (!o.realTime && o.durationMs == 0) {
        throw InputError("--duration must be above 0 in simulated time");
    }
    return o;
}

} // namespace host
