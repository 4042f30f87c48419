#include "host/runner.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <thread>

#include "host/common.h"
#include "host/device.h"
#include "host/linux_device.h"
#include "host/loader.h"
#include "host/metrics.h"
#include "host/subscriptions.h"
#include "standin/standin.h"

namespace host {

namespace {

constexpr uint64_t kUs = 1000000;
constexpr uint64_t kTickPhaseUs = 500000; // task ticks fall half-way between device collections
constexpr uint64_t kDefaultIntervalMs = 10000;
constexpr uint32_t kCookieBase = 0xC0DE0000u;
constexpr uint64_t kNever = UINT64_MAX;

std::atomic<bool> g_interrupted{false};

extern "C" void OnSignal(int)
{
    g_interrupted = true;
}

struct Task {
    Subscription sub;
    const Registration *reg = nullptr;
    uint32_t taskId = 0;
    uint32_t cookie = 0;
    uint64_t nextUs = 0;
    uint64_t stopUs = kNever;
    bool stopped = false;
    // Statistics for the summary.
    uint64_t ticks = 0;
    uint64_t refused = 0;
    uint64_t envelopes = 0;
    uint64_t interfaces = 0;
    uint64_t bytes = 0;
    uint64_t decodeErrors = 0;
};

// The machine's links: the reader enters the namespace (--netns) and stays there.
std::unique_ptr<LinuxDevice> LinuxSource(const Options &o)
{
    auto reader = std::make_shared<LinkReader>(o.netns);
    return std::make_unique<LinuxDevice>(
        [reader](std::vector<LinkRecord> &links, std::string &error) { return reader->Read(links, error); },
        o.flowInterval);
}

Inventory BuildInventory(const Options &o)
{
    if (o.source == Options::Source::Linux) {
        Inventory inv; // the links are read when the run starts
        inv.boardType = o.board;
        inv.flowInterval = o.flowInterval;
        return inv;
    }
    Inventory inv = o.inventoryFile.empty() ? DefaultInventory(o.shape, o.seed) : LoadInventoryFile(o.inventoryFile);
    if (o.boardGiven) {
        inv.boardType = o.board;
    }
    if (o.flowGiven) {
        inv.flowInterval = o.flowInterval;
    }
    return inv;
}

std::vector<Subscription> BuildSubscriptions(const Options &o)
{
    std::vector<Subscription> subs;
    for (const std::string &file : o.subFiles) {
        const std::vector<Subscription> more = LoadSubscriptionFile(file);
        subs.insert(subs.end(), more.begin(), more.end());
    }
    for (size_t i = 0; i < o.subs.size(); ++i) {
        subs.push_back(ParseSubscription(o.subs[i], "--sub '" + o.subs[i] + "'"));
    }
    return subs;
}

void ConfigureLog(uint32_t level)
{
    standin::SetLogCapture(false);
    if (level == 0) {
        standin::SetLogLevel(UINT32_MAX);
        standin::SetLogEcho(0);
    } else {
        standin::SetLogLevel(level);
        standin::SetLogEcho(level);
    }
}

std::string Pad(const std::string &s, size_t width)
{
    return s.size() >= width ? s + " " : s + std::string(width - s.size(), ' ');
}

void PrintSummary(const Inventory &inv, size_t interfaces, const LoadedPlugin &plugin, const std::vector<Task> &tasks,
                  bool realTime, uint64_t t0, uint64_t tEnd, uint64_t strayEnvelopes)
{
    std::cerr << "zor_host: plugin " << plugin.path << "\n";
    std::cerr << "zor_host: board " << inv.boardType << ", " << interfaces << " interfaces, "
              << plugin.registrations.size() << " sensors registered, " << tasks.size() << " tasks, "
              << (tEnd - t0) / kUs << " s " << (realTime ? "real" : "simulated") << " time from " << FormatUtc(t0)
              << "\n";
    std::cerr << Pad("task", 6) << Pad("sensor", 22) << Pad("subscription", 28) << Pad("ticks", 7)
              << Pad("envelopes", 11) << Pad("interfaces", 12) << "bytes\n";
    for (const Task &t : tasks) {
        std::cerr << Pad(std::to_string(t.taskId), 6) << Pad(t.reg->name, 22) << Pad(DescribeSubscription(t.sub), 28)
                  << Pad(std::to_string(t.ticks), 7) << Pad(std::to_string(t.envelopes), 11)
                  << Pad(std::to_string(t.interfaces), 12) << t.bytes;
        if (t.refused) {
            std::cerr << "  (" << t.refused << " ticks refused)";
        }
        if (t.decodeErrors) {
            std::cerr << "  (" << t.decodeErrors << " envelopes did not decode)";
        }
        std::cerr << "\n";
    }
    if (strayEnvelopes) {
        std::cerr << "zor_host: " << strayEnvelopes << " envelopes named no running task\n";
    }
}

} // namespace

int DumpInventory(const Options &options)
{
    if (options.source == Options::Source::Linux) {
        std::unique_ptr<LinuxDevice> device = LinuxSource(options);
        device->Start(standin::NowUs());
        std::cout << FormatInventory(device->AsInventory(options.board));
    } else {
        std::cout << FormatInventory(BuildInventory(options));
    }
    return kExitOk;
}

int RunHost(const Options &o)
{
    // Everything the user wrote is checked before anything runs.
    const Inventory inv = BuildInventory(o);
    std::vector<Subscription> subs = BuildSubscriptions(o);

    standin::ResetAll();
    ConfigureLog(o.logLevel);
    uint64_t t0;
    if (o.realTime) {
        standin::UseRealClock();
        t0 = standin::NowUs();
    } else {
        t0 = o.startUs / kUs * kUs;
        const uint64_t history = 4ull * inv.flowInterval + 10 + 86400;
        if (t0 / kUs <= history) {
            throw InputError("--start is too early: the simulated device needs " + std::to_string(history) +
                             " s of history before it");
        }
        standin::SetClockUs(t0);
    }
    const uint64_t tEnd = o.durationMs == 0 ? kNever : t0 + o.durationMs * 1000;

    // The listener is bound before the Linux source enters another namespace, so that it stays
    // reachable where the host was started.
    MetricsRegistry metrics;
    std::unique_ptr<MetricsServer> server;
    if (!o.listen.empty()) {
        server = std::make_unique<MetricsServer>(metrics, o.listen);
        std::cerr << "zor_host: Prometheus metrics at http://" << server->Address() << "/metrics" << std::endl;
    }
    std::unique_ptr<DeviceSource> device;
    if (o.source == Options::Source::Linux) {
        device = LinuxSource(o);
    } else {
        device = std::make_unique<Device>(inv, o.seed, o.jitterPercent);
    }
    device->Start(t0);

    const std::string pluginPath = o.plugin.empty() ? DefaultPluginPath() : o.plugin;
    LoadedPlugin plugin = LoadPlugin(pluginPath, inv.boardType, o.moduleId);
    if (plugin.initResult != 0) {
        throw HostError(kExitRuntime, "plugin entry " + std::string(kPluginEntry) + " returned " +
                                          std::to_string(plugin.initResult) + " on board type " +
                                          std::to_string(inv.boardType));
    }
    if (plugin.registrations.empty()) {
        throw HostError(kExitRuntime, "the plugin registered no sensor on board type " + std::to_string(inv.boardType));
    }
    std::string registered;
    for (const Registration &r : plugin.registrations) {
        registered += (registered.empty() ? "" : ", ") + r.name;
        if (r.moduleId != o.moduleId || r.regValue1 != 1000 || r.regValue2 != 10) {
            std::cerr << "zor_host: registration of " << r.name << " carries module " << r.moduleId << " and values "
                      << r.regValue1 << ", " << r.regValue2 << " (expected " << o.moduleId << ", 1000, 10)\n";
        }
    }

    if (subs.empty()) {
        for (const Registration &r : plugin.registrations) {
            for (const char *enc : {"gpb", "json"}) {
                subs.push_back(ParseSubscription(r.name + " " + FormatDurationMs(kDefaultIntervalMs) + " encoding=" + enc,
                                                 "default subscription"));
            }
        }
    }

    std::vector<Task> tasks;
    for (const Subscription &s : subs) {
        Task t;
        t.sub = s;
        t.reg = plugin.Find(s.sensor->name);
        if (t.reg == nullptr) {
            throw InputError("sensor " + std::string(s.sensor->name) + " is not registered by the plugin on board type " +
                             std::to_string(inv.boardType) + " (registered: " + registered + ")");
        }
        if (t.reg->taskProc == nullptr) {
            throw HostError(kExitRuntime, "sensor " + t.reg->name + " was registered without a task callback");
        }
        t.taskId = static_cast<uint32_t>(tasks.size() + 1);
        t.cookie = kCookieBase + t.taskId;
        const uint64_t phase = o.realTime ? 0 : kTickPhaseUs;
        t.nextUs = t0 + phase + s.startMs * 1000;
        if (s.stopMs != 0) {
            t.stopUs = t0 + phase + s.stopMs * 1000;
        }
        tasks.push_back(t);
    }

    Output out(o.output, o.format);
    uint64_t strayEnvelopes = 0;
    bool warnedModule = false;
    standin::SetUploadHandler([&](uint32_t moduleId, const SampleData *sample) -> uint32_t {
        if (sample == nullptr) {
            return 1;
        }
        if (moduleId != o.moduleId && !warnedModule) {
            warnedModule = true;
            std::cerr << "zor_host: upload under module " << moduleId << ", expected " << o.moduleId << "\n";
        }
        Task *task = nullptr;
        for (Task &t : tasks) {
            if (t.taskId == sample->taskId && t.cookie == sample->frmCookie) {
                task = &t;
            }
        }
        if (task == nullptr) {
            ++strayEnvelopes;
            return 1;
        }
        const EnvelopeLine r = out.Write(*task->sub.sensor, task->sub.json(), reinterpret_cast<const uint8_t *>(sample),
                                         sizeof(SampleData) + sample->dataLen);
        ++task->envelopes;
        task->bytes += sample->dataLen;
        task->interfaces += r.interfaces;
        task->decodeErrors += r.ok ? 0 : 1;
        if (server) {
            const DecodedMessage m = DecodeMessage(task->sub.sensor->model, task->sub.json(),
                                                   reinterpret_cast<const uint8_t *>(sample) + sizeof(SampleData),
                                                   sample->dataLen);
            if (m.error.empty()) {
                metrics.Update(task->taskId, *task->sub.sensor, m);
            }
        }
        if (o.realTime) {
            out.Flush();
        }
        return 0;
    });

    if (o.realTime) {
        std::signal(SIGINT, OnSignal);
        std::signal(SIGTERM, OnSignal);
    }

    auto stopTask = [&](Task &t) {
        t.stopped = true;
        metrics.ForgetTask(t.taskId);
        if (t.reg->stopProc == nullptr) {
            return;
        }
        const uint32_t rc = t.reg->stopProc(t.cookie, t.taskId);
        if (rc != 0) {
            std::cerr << "zor_host: stop callback of task " << t.taskId << " (" << t.reg->name << ") returned " << rc
                      << "\n";
        }
    };

    auto waitUntil = [](uint64_t when) {
        while (!g_interrupted && standin::NowUs() < when) {
            const uint64_t wait = std::min<uint64_t>(when - standin::NowUs(), 200000);
            std::this_thread::sleep_for(std::chrono::microseconds(wait));
        }
    };

    uint64_t now = t0;
    while (!g_interrupted) {
        // The next event: a device collection, a task's stop, or a task's tick (in that order at
        // equal times).
        uint64_t next = (device->LastSecond() + 1) * kUs;
        for (const Task &t : tasks) {
            if (!t.stopped) {
                next = std::min({next, t.nextUs, t.stopUs});
            }
        }
        if (next >= tEnd) {
            if (o.realTime) {
                waitUntil(tEnd);
            }
            break;
        }
        if (o.realTime) {
            waitUntil(next);
            if (g_interrupted) {
                break;
            }
        } else {
            standin::SetClockUs(next);
        }
        now = next;
        device->AdvanceTo(now);
        if (server) {
            metrics.Retain(device->InterfaceNames());
        }
        for (Task &t : tasks) {
            if (!t.stopped && t.stopUs <= now) {
                stopTask(t);
            }
        }
        for (Task &t : tasks) {
            if (t.stopped || t.nextUs > now) {
                continue;
            }
            TlmTaskInfo cfg = BuildTaskInfo(t.sub);
            const uint32_t rc = t.reg->taskProc(t.cookie, t.taskId, &cfg);
            ++t.ticks;
            if (rc != 0) {
                if (t.refused++ == 0) {
                    std::cerr << "zor_host: task " << t.taskId << " (" << t.reg->name << ") refused a tick, result "
                              << rc << "\n";
                }
            }
            t.nextUs += t.sub.intervalMs * 1000;
            if (o.realTime && t.nextUs < now) {
                t.nextUs = now + t.sub.intervalMs * 1000; // fell behind: skip missed ticks
            }
        }
    }
    if (!o.realTime && tEnd != kNever) {
        standin::SetClockUs(tEnd);
        now = tEnd;
    } else if (o.realTime) {
        now = standin::NowUs();
    }
    for (Task &t : tasks) {
        if (!t.stopped) {
            stopTask(t);
        }
    }
    standin::SetUploadHandler(nullptr);
    out.Flush();

    bool decodeErrors = false;
    for (const Task &t : tasks) {
        decodeErrors = decodeErrors || t.decodeErrors != 0;
    }
    if (!o.quiet) {
        PrintSummary(inv, device->InterfaceNames().size(), plugin, tasks, o.realTime, t0, now, strayEnvelopes);
    }
    return decodeErrors ? kExitDecode : kExitOk;
}

} // namespace host
