// Fuzz target of the plugin's task callbacks, entered through the registered sensors of a top-of-
// rack board (all four sensors). The input is:
//   - a whole 3464-byte task record, exactly as the framework hands it over (missing bytes are 0);
//   - a small device for the stand-in store: up to 12 interfaces of any kind with any names (up to
//     71 characters, NUL anywhere), attributes, row types, intervals, ring positions and counters,
//     trunks of 0 to 300 members, management rows, the system flow interval and the start time;
//   - a failing store call (function, code, position, once or from then on) and/or a failing
//     allocation, and up to two rows that vanish just before an input-chosen store call;
//   - a script of ticks (sensor, task, encoding, time step, counters moving on) and task stops.
// Every task still running is stopped at the end. Oracles: no crash or sanitizer report; callbacks
// return 0 or 2; no store object open after a tick; every envelope is as long as its buffer, its
// header holds the task, the cookie and two equal timestamps; every message parses strictly (GPB
// against the descriptors of proto/, no unknown or repeated singular field, JSON as exactly one
// value) and decodes without a warning; every reported name belongs to an interface of the device;
// use rates are percent texts of at most 100.00%;
// after the stops no framework buffer, cache node or store object is left. The whole scenario runs
// a second time with every tick's encoding swapped and every reserved byte of the record flipped,
// and (unless an allocation failed on purpose, which strikes different calls in the two encodings)
// each envelope must carry the same interfaces and values.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "host/decode.h"
#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
#include "runtime/runtime.h"
#include "standin/standin.h"
#include "store/store.h"

namespace {

namespace pb = google::protobuf;
namespace st = standin::store;

constexpr uint32_t kSensors = 4; // in the order of host::KnownSensors()
constexpr uint32_t kMaxInterfaces = 12;
constexpr uint32_t kMaxTicks = 8;
constexpr uint32_t kMaxTrunkMembers = 300;
constexpr uint32_t kMaxNameBytes = 71;
constexpr uint32_t kIndexPool = 0x100; // small indexes 0x100..0x1FE, so that rows meet each other
constexpr uint64_t kUsPerSec = 1000000;

std::map<std::string, TlmSensorReg> g_registered;

// ---- Device ------------------------------------------------------------------------------

// Counter values of the steps of one row, from three input fields.
struct CounterGen {
    uint8_t mode;
    uint64_t base;
    uint64_t delta;

    static uint64_t Mix(uint64_t x)
    {
        x += 0x9E3779B97F4A7C15ull;
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
        return x ^ (x >> 31);
    }
    // Counter `field` of a step `age` entries older than the latest one.
    uint64_t At(uint32_t field, uint32_t step, uint32_t age) const
    {
        switch (mode % 5) {
        case 0: // a device that counts up: older entries hold less
            return base + delta * (16 - age) + field;
        case 1:
            return base + delta * step + field;
        case 2: // counters that went down (cleared, wrapped)
            return base - delta * step - field;
        case 3:
            return Mix(base ^ (static_cast<uint64_t>(field) << 8 | step) ^ delta);
        default: {
            static const uint64_t kSpecial[] = {0, 1, UINT64_MAX, 1ull << 63};
            return kSpecial[(field + step + delta) & 3];
        }
        }
    }
    // Collection time of a step: a plausible clock reading unless the mode asks for counter-like
    // values there too.
    uint64_t Stamp(uint64_t nowUs, uint64_t ageUs, uint32_t step) const
    {
        return (mode & 8) != 0 ? At(99, step, 0) : nowUs - ageUs;
    }
};

CounterGen ReadGen(fuzz::ByteReader &in)
{
    CounterGen g;
    g.mode = in.U8();
    g.base = in.U64();
    g.delta = in.U64();
    return g;
}

// Ring positions: `ring` snapshot entries, interval_index naming the entry after the latest.
uint32_t AgeOf(uint32_t step, uint32_t intervalIndex, uint32_t ring)
{
    const uint32_t latest = (intervalIndex + ring - 1) % ring;
    return (latest + ring - step) % ring;
}

void FillIfStatSteps(st::IfStatRow &row, const CounterGen &g, uint64_t nowUs)
{
    const uint32_t ring = DB_IF_STATISTICS_STEP_COUNT - 1;
    const uint64_t interval = row.flow_stat_interval == 0 ? 30 : row.flow_stat_interval;
    for (uint32_t s = 0; s < DB_IF_STATISTICS_STEP_COUNT; ++s) {
        st::IfStatStep &step = row.steps[s];
        const uint32_t age = s < ring ? AgeOf(s, row.interval_index, ring) : 0;
        uint32_t field = 0;
#define FUZZ_SET_FIELD(f) step.f = s < ring ? g.At(field++, s, age) : g.delta * 1000 / interval + field++;
        DB_IF_STATISTICS_STEP_FIELDS(FUZZ_SET_FIELD)
#undef FUZZ_SET_FIELD
        step.timestamp_coll_cur = g.Stamp(nowUs, age * interval * kUsPerSec, s);
    }
}

void FillPortSteps(st::PortStatRow &row, const CounterGen &g, uint64_t nowUs)
{
    const uint32_t ring = 10;
    for (uint32_t s = 0; s < DB_PORT_STATISTICS_STEP_COUNT; ++s) {
        st::PortStatStep &step = row.steps[s];
        const uint32_t age = s < ring ? AgeOf(s, row.interval_index, ring) : (s == 12 ? 15 : 0);
        uint32_t field = 0;
#define FUZZ_SET_FIELD(f) step.f = s == 10 ? g.delta * 1000 + field++ : g.At(field++, s, age);
        DB_PORT_STATISTICS_STEP_FIELDS(FUZZ_SET_FIELD)
#undef FUZZ_SET_FIELD
        step.timestamp_coll_cur = g.Stamp(nowUs, (s == 12 ? 3600 : age) * kUsPerSec, s);
    }
}

enum Kind : uint32_t { kPort, kTrunk, kSubif, kRouted, kMgmt, kBare, kKinds };

// Rows an interface has, as flag bits; the input flips the defaults of its kind.
enum Rows : uint32_t { kIfRow = 1, kIfStatRow = 2, kPortRow = 4, kTrunkRows = 8, kMgmtRow = 16, kStatsOff = 32 };

struct KindDefaults {
    uint32_t rows;
    uint32_t fwd;
    uint32_t ifType;
    uint64_t speed;
    uint32_t statType;
};

const KindDefaults kDefaults[kKinds] = {
    {kIfRow | kPortRow, 1, 1, 10000000000ull, 0x100},
    {kIfRow | kIfStatRow | kTrunkRows, 8, 2, 20000000000ull, 0x100000},
    {kIfRow | kIfStatRow, 1, 3, 10000000000ull, 0x1},
    {kIfRow | kIfStatRow, 1, 4, 1000000000ull, 0x10},
    {kIfRow | kPortRow | kMgmtRow, 1, 34, 1000000000ull, 0x1000},
    {kIfRow, 1, 1, 0, 0x10000},
};

// What the oracles need to know about the device.
struct Device {
    std::vector<uint32_t> indexes;        // every index that has some row
    std::set<std::string> names;          // names as the plugin sees them (up to the first NUL)
    bool longName = false;                // some name does not fit the plugin's 64-byte buffer
    std::map<uint32_t, CounterGen> moves; // how each row's counters move on at a tick
};

uint32_t ReadIndex(fuzz::ByteReader &in)
{
    const uint8_t b = in.U8();
    return b == 0xFF ? in.U32() : kIndexPool + b;
}

void ReadInterface(fuzz::ByteReader &in, uint64_t nowUs, Device &dev)
{
    const Kind kind = static_cast<Kind>(in.U8() % kKinds);
    const KindDefaults &d = kDefaults[kind];
    const uint32_t ifindex = ReadIndex(in);
    std::string name(in.U8() % (kMaxNameBytes + 1), '\0');
    for (char &c : name) {
        c = static_cast<char>(in.U8() & 0x7F); // any ASCII byte, NUL included
    }
    const uint32_t rows = d.rows ^ in.U8();
    const uint8_t attrs = in.U8();
    const uint32_t fwdChoice[] = {d.fwd, 1, IFM_FWD_TYPE_TRUNK, 0};
    const uint32_t typeChoice[] = {d.ifType, 1, 34, 0};
    const uint64_t speedChoice[] = {d.speed, 0, UINT64_MAX, 0};

    if (rows & kIfRow) {
        st::IfRow row{ifindex, fwdChoice[attrs & 3], typeChoice[(attrs >> 2) & 3], speedChoice[(attrs >> 4) & 3], name};
        row.forwardType = (attrs & 3) == 3 ? in.U32() : row.forwardType;
        row.if_type = ((attrs >> 2) & 3) == 3 ? in.U32() : row.if_type;
        row.speed = ((attrs >> 4) & 3) == 3 ? in.U64() : row.speed;
        st::PutIf(row);
        dev.names.insert(name.c_str());
        dev.longName = dev.longName || name.size() + 1 > IFM_IF_NAME_LEN;
    }
    if (rows & kIfStatRow) {
        const uint8_t b = in.U8();
        const uint32_t statTypes[] = {d.statType, 0x1, 0x10, 0x100, 0x1000, 0x10000, 0x100000, 0};
        const uint32_t intervals[] = {30, 0, UINT32_MAX, 0};
        st::IfStatRow row{};
        row.ifindex = ifindex;
        row.stat_type = (b & 7) == 7 ? in.U32() : statTypes[b & 7];
        row.flow_stat_interval = ((b >> 3) & 3) == 3 ? in.U32() : intervals[(b >> 3) & 3];
        const uint8_t ring = in.U8();
        row.interval_index = ring < 200 ? ring % 4 : ring;
        row.vlanid = static_cast<uint16_t>(ifindex);
        row.statistics_enable = (rows & kStatsOff) ? 0 : ((b >> 5) == 7 ? 2 : 1);
        const CounterGen g = ReadGen(in);
        FillIfStatSteps(row, g, nowUs);
        st::PutIfStat(row);
        dev.moves[ifindex] = g;
    }
    if (rows & kPortRow) {
        st::PortStatRow row{};
        row.ifindex = ifindex;
        const uint8_t ring = in.U8();
        row.interval_index = ring < 200 ? ring % 10 : ring;
        const CounterGen g = ReadGen(in);
        uint32_t key = ifindex;
        if (rows & kMgmtRow) { // the port row of a management port sits under its actual index
            key = ReadIndex(in);
            st::AddIfMgnt({ifindex, key, in.U32()});
            if (rows & kIfRow) {
                st::IfRow actual{key, 1, 34, speedChoice[0], name};
                st::PutIf(actual);
            }
            dev.indexes.push_back(key);
        }
        row.ifindex = key;
        FillPortSteps(row, g, nowUs);
        st::PutPortStat(row);
        dev.moves[key] = g;
    }
    if (rows & kTrunkRows) {
        const uint32_t count = in.U16() % (kMaxTrunkMembers + 1);
        const uint8_t start = in.U8();
        const uint8_t stride = in.U8();
        std::vector<uint32_t> members;
        for (uint32_t j = 0; j < count; ++j) {
            members.push_back(kIndexPool + static_cast<uint8_t>(start + j * stride));
        }
        st::AddTrunk(ifindex);
        st::SetTrunkMembers(ifindex, members);
    }
    dev.indexes.push_back(ifindex);
}

// Counters move on by their delta; ring positions advance.
void MoveCounters(const Device &dev, uint64_t nowUs)
{
    for (const auto &m : dev.moves) {
        CounterGen g = m.second;
        g.base += g.delta;
        if (st::IfStatRow *row = st::FindIfStat(m.first)) {
            row->interval_index = (row->interval_index + 1) % 4;
            FillIfStatSteps(*row, g, nowUs);
        }
        if (st::PortStatRow *row = st::FindPortStat(m.first)) {
            row->interval_index = (row->interval_index + 1) % 10;
            FillPortSteps(*row, g, nowUs);
        }
    }
}

void RemoveEverything(uint32_t ifindex)
{
    (void)st::RemoveIf(ifindex);
    (void)st::RemoveIfStat(ifindex);
    (void)st::RemovePortStat(ifindex);
    (void)st::RemoveTrunk(ifindex);
    (void)st::RemoveTrunkMembers(ifindex);
}

// ---- Faults ------------------------------------------------------------------------------

struct Faults {
    bool alloc = false;       // an allocation fails on purpose
    bool nameAbsent = false;  // db_get_if_name may answer "value absent" (the name stays empty)
};

const std::string &StoreFunction(fuzz::ByteReader &in)
{
    const std::vector<std::string> &names = st::FunctionNames();
    return names[in.U8() % names.size()];
}

Faults ArmFaults(fuzz::ByteReader &in, const Device &dev)
{
    Faults f;
    const uint8_t what = in.U8();
    if (what & 1) {
        const std::string &fn = StoreFunction(in);
        const uint32_t codes[] = {99, DB_VALUE_ABSENT, DB_NO_RECORD, DB_END_OF_ROWS, DB_OK, 0};
        uint32_t code = codes[(what >> 2) % 6];
        code = (what >> 2) % 6 == 5 ? in.U32() : code;
        st::InjectFault(fn, code, in.U16() + 1u, (what & 2) != 0);
        f.nameAbsent = fn == "db_get_if_name" && IFM_DbOk(code);
    }
    if (what & 0x80) {
        const uint64_t nth = in.U16() % 1024 + 1;
        (what & 0x40) ? standin::FailAllocFrom(nth) : standin::FailAllocAt(nth);
        f.alloc = true;
    }
    // Rows that vanish, and clock reads that fail, in the middle of a tick.
    for (uint8_t n = in.U8() % 4; n > 0; --n) {
        const std::string &fn = StoreFunction(in);
        const uint64_t nth = in.U16() + 1u;
        const uint8_t victim = in.U8();
        if (victim == 0xFF) {
            st::AtCall(fn, nth, [] { standin::FailGettimeofday(1); });
        } else if (!dev.indexes.empty()) {
            const uint32_t ifindex = dev.indexes[victim % dev.indexes.size()];
            st::AtCall(fn, nth, [ifindex] { RemoveEverything(ifindex); });
        }
    }
    return f;
}

// ---- Messages ----------------------------------------------------------------------------

// Walks the wire format of a message against its descriptor: every field known, of its wire type,
// singular fields at most once, strings valid UTF-8, nested messages alike.
bool StrictGpb(const pb::Descriptor *d, const std::string &bytes, std::string &why)
{
    pb::UnknownFieldSet fields;
    if (!fields.ParseFromString(bytes)) {
        why = std::string(d->name()) + " does not parse";
        return false;
    }
    std::map<int, int> seen;
    for (int i = 0; i < fields.field_count(); ++i) {
        const pb::UnknownField &u = fields.field(i);
        const pb::FieldDescriptor *f = d->FindFieldByNumber(u.number());
        const std::string where = std::string(d->name()) + " field " + std::to_string(u.number());
        if (f == nullptr) {
            why = where + " is not in the model";
            return false;
        }
        if (!f->is_repeated() && ++seen[u.number()] > 1) {
            why = where + " occurs twice";
            return false;
        }
        const bool delimited = f->type() == pb::FieldDescriptor::TYPE_STRING ||
                               f->type() == pb::FieldDescriptor::TYPE_MESSAGE;
        if (u.type() != (delimited ? pb::UnknownField::TYPE_LENGTH_DELIMITED : pb::UnknownField::TYPE_VARINT)) {
            why = where + " has the wrong wire type";
            return false;
        }
        if (f->type() == pb::FieldDescriptor::TYPE_MESSAGE && !StrictGpb(f->message_type(), u.length_delimited(), why)) {
            return false;
        }
        if (f->type() == pb::FieldDescriptor::TYPE_STRING) {
            zor::ifm::Interface probe; // a proto3 string field checks UTF-8 when parsed
            pb::UnknownFieldSet one;
            one.AddLengthDelimited(1, u.length_delimited());
            std::string wire;
            if (!one.SerializeToString(&wire) || !probe.ParseFromString(wire)) {
                why = where + " is not UTF-8";
                return false;
            }
        }
    }
    return true;
}

// A use rate: percent with two decimals, at most 100.00%.
bool PercentText(const std::string &t)
{
    const size_t dot = t.find('.');
    if (dot == std::string::npos || dot == 0 || t.size() != dot + 4 || t.back() != '%') {
        return false;
    }
    for (size_t i = 0; i + 1 < t.size(); ++i) {
        if (i != dot && (t[i] < '0' || t[i] > '9')) {
            return false;
        }
    }
    return std::strtod(t.c_str(), nullptr) <= 100.0;
}

struct Upload {
    uint32_t sensor;
    SampleData header;
    std::string data;
};

struct Tick {
    uint32_t sensor;
    uint32_t taskId;
    uint32_t cookie;
    std::vector<Upload> uploads;
};

// The interfaces of one envelope; fails the run on anything malformed.
std::vector<host::DecodedInterface> CheckEnvelope(const Tick &t, const Upload &u, const Device &dev,
                                                  const Faults &faults)
{
    const host::SensorInfo &sensor = host::KnownSensors()[t.sensor];
    const std::string what = std::string(sensor.name) + " task " + std::to_string(t.taskId);
    fuzz::Check(u.header.taskId == t.taskId && u.header.frmCookie == t.cookie, what + ": envelope of another task");
    fuzz::Check(u.header.timestampMs == u.header.timestampMs2, what + ": the two timestamps differ");
    for (uint8_t b : u.header.reserved) {
        fuzz::Check(b == 0, what + ": reserved header bytes are not zero");
    }
    const bool json = !u.data.empty() && u.data[0] == '{';
    if (json) {
        fuzz::Check(fuzz::ParseStrictJson(u.data.data(), u.data.size()) != nullptr, what + ": JSON message is not exactly one value: " + u.data);
    } else {
        const pb::Descriptor *root = sensor.model == host::SensorModel::SubifCounters
                                         ? zor::oc::Interfaces::descriptor()
                                         : zor::ifm::Ifm::descriptor();
        std::string why;
        fuzz::Check(StrictGpb(root, u.data, why), what + ": " + why);
    }
    host::DecodedMessage msg =
        host::DecodeMessage(sensor.model, json, reinterpret_cast<const uint8_t *>(u.data.data()), u.data.size());
    fuzz::Check(msg.error.empty(), what + ": " + msg.error);
    fuzz::Check(msg.warnings.empty(), what + ": " + (msg.warnings.empty() ? "" : msg.warnings[0]));
    fuzz::Check(!msg.interfaces.empty(), what + ": an envelope without interfaces");
    for (const host::DecodedInterface &di : msg.interfaces) {
        bool known = di.name.empty() && (dev.longName || faults.nameAbsent);
        for (const std::string &n : dev.names) {
            if (!di.isSubif) {
                known = known || n == di.name;
                continue;
            }
            // A subinterface is reported under its main name and the number after the first dot.
            const size_t dot = n.find('.');
            char *end = nullptr;
            const long number = dot == std::string::npos ? 0 : std::strtol(n.c_str() + dot + 1, &end, 10);
            known = known || (dot != std::string::npos && n.compare(0, dot, di.name) == 0 && dot == di.name.size() &&
                              *end == '\0' && end != n.c_str() + dot + 1 && static_cast<uint32_t>(number) == di.subif);
        }
        fuzz::Check(known, what + ": reported interface '" + di.name + "' is not one of the device");
        for (const host::DecodedValue &v : di.values) {
            fuzz::Check(!v.isText || PercentText(v.text), what + ": " + v.key + " of " + di.name + " is " + v.text);
        }
    }
    return msg.interfaces;
}

bool SameValues(const host::DecodedInterface &a, const host::DecodedInterface &b)
{
    if (a.name != b.name || a.isSubif != b.isSubif || a.subif != b.subif || a.values.size() != b.values.size()) {
        return false;
    }
    for (size_t i = 0; i < a.values.size(); ++i) {
        const host::DecodedValue &x = a.values[i];
        const host::DecodedValue &y = b.values[i];
        if (x.key != y.key || x.isText != y.isText || x.number != y.number || x.text != y.text) {
            return false;
        }
    }
    return true;
}

// ---- One run -----------------------------------------------------------------------------

struct Run {
    std::vector<Tick> ticks;
    std::vector<std::vector<std::vector<host::DecodedInterface>>> decoded; // tick, envelope, interface
    bool allocFault = false;
};

// The bytes of a task record that are never interpreted take other values in the second run, so
// that reading them (beyond a text's capacity, say) shows as a difference between the runs.
void FlipReservedBytes(TlmTaskInfo &record)
{
    const auto flip = [](uint8_t *bytes, size_t n) {
        for (size_t i = 0; i < n; ++i) {
            bytes[i] ^= 0xFF;
        }
    };
    flip(record.reserved0, sizeof(record.reserved0));
    flip(record.reserved1, sizeof(record.reserved1));
    flip(record.reserved2, sizeof(record.reserved2));
    flip(record.reserved3, sizeof(record.reserved3));
    for (TlmThreshold &t : record.threshold) {
        flip(t.reserved0, sizeof(t.reserved0));
    }
}

void StartPlugin()
{
    standin::SetRegHandler([](uint32_t, const char *, const TlmSensorReg *reg) {
        g_registered[reg->sensorName] = *reg;
        return 0u;
    });
    standin::SetBoardType(6);
    fuzz::Check(IFMPlugin_MDTLM_Init(1) == 0 && g_registered.size() == kSensors, "start-up on board 6");
}

Run RunScenario(const uint8_t *data, size_t size, bool swapEncodings)
{
    standin::ResetAll();
    Run run;
    standin::SetUploadHandler([&run](uint32_t, const SampleData *s) {
        fuzz::Check(standin::BufferSize(s) == sizeof(SampleData) + s->dataLen, "envelope longer than its buffer");
        Tick &t = run.ticks.back();
        t.uploads.push_back({t.sensor, *s, std::string(reinterpret_cast<const char *>(s + 1), s->dataLen)});
        return 0u;
    });
    const uint64_t baseBuffers = standin::Alloc().outstandingBuffers;

    fuzz::ByteReader in(data, size);
    TlmTaskInfo record;
    in.Bytes(&record, sizeof(record));
    if (swapEncodings) {
        FlipReservedBytes(record);
    }

    const uint8_t clock = in.U8();
    const uint64_t starts[] = {1704067200, 0, 4294967290ull, 0};
    uint64_t nowUs = ((clock & 3) == 3 ? in.U32() : starts[clock & 3]) * kUsPerSec;
    standin::SetClockUs(nowUs);
    const uint32_t flows[] = {30, 0, UINT32_MAX, 1};
    if ((clock & 0x10) == 0) {
        st::SetSysFlowInterval(flows[(clock >> 2) & 3]);
    }
    Device dev;
    for (uint32_t n = in.U8() % (kMaxInterfaces + 1); n > 0; --n) {
        ReadInterface(in, nowUs, dev);
    }
    const Faults faults = ArmFaults(in, dev);
    run.allocFault = faults.alloc;

    std::map<uint32_t, TlmTaskInfo> configs; // the framework's record of each task
    const uint32_t ticks = in.U8() % kMaxTicks + 1;
    for (uint32_t k = 0; k < ticks; ++k) {
        const uint8_t op = in.U8();
        const uint8_t enc = in.U8();
        const uint8_t step = in.U8();
        const uint32_t sensor = op & 3;
        // One sensor per task, as the framework keeps it; task 0 is refused.
        const uint32_t taskId = ((op >> 3) & 3) == 3 ? 0 : 1 + sensor * 2 + ((op >> 2) & 1);
        const uint64_t steps[] = {10, 0, 1, 0};
        nowUs += ((step & 3) == 3 ? in.U32() : steps[step & 3]) * kUsPerSec;
        standin::SetClockUs(nowUs);
        if (step & 4) {
            MoveCounters(dev, nowUs);
        }
        if ((op & 0xE0) == 0xE0) {
            const bool running = taskId != 0 && IFMPLUGIN_MDTLM_IsTaskIdExist(taskId) != 0;
            fuzz::Check(g_registered.begin()->second.stopProc(0, taskId) == (running ? 0u : 1u), "stop callback result");
            continue;
        }
        TlmTaskInfo &cfg = configs.emplace(taskId, record).first->second;
        const uint32_t encodings[] = {record.encodeType, 0, 1, enc};
        cfg.encodeType = encodings[enc & 3];
        if (swapEncodings) {
            cfg.encodeType = (cfg.encodeType & 0xFF) == 0 ? cfg.encodeType | 1 : cfg.encodeType & ~0xFFu;
        }
        run.ticks.push_back({sensor, taskId, 0xC0DE0000u + k, {}});
        const TlmSensorReg &reg = g_registered.at(host::KnownSensors()[sensor].name);
        const uint32_t rc = reg.taskProc(0xC0DE0000u + k, taskId, &cfg);
        fuzz::Check(rc == 0 || rc == IFM_TASK_REFUSED, "task callback returned " + std::to_string(rc));
        fuzz::Check(taskId != 0 || rc == IFM_TASK_REFUSED, "task 0 was not refused");
        fuzz::Check(faults.alloc || taskId == 0 || rc == 0, "task callback refused without a fault");
        fuzz::Check(st::LiveObjects() == 0, "a store object is left open after a tick");
        run.decoded.emplace_back();
        for (const Upload &u : run.ticks.back().uploads) {
            run.decoded.back().push_back(CheckEnvelope(run.ticks.back(), u, dev, faults));
        }
    }

    // The framework stops every task when its subscription ends.
    st::ClearFaults();
    standin::ClearAllocFaults();
    for (const IfmPluginTask &task : g_ifmpluginTaskArr) {
        if (task.taskId != 0) {
            fuzz::Check(configs.count(task.taskId) != 0, "the task table holds a task that never ticked");
            fuzz::Check(g_registered.begin()->second.stopProc(0, task.taskId) == 0, "stop of a running task failed");
        }
    }
    fuzz::Check(standin::Alloc().outstandingBuffers == baseBuffers, "framework buffers left after every task stopped");
    fuzz::Check(standin::LiveHashElements() == 0, "cache nodes left after every task stopped");
    fuzz::Check(st::LiveObjects() == 0, "store objects left open");
    return run;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (g_registered.empty()) {
        StartPlugin();
    }
    const Run plain = RunScenario(data, size, false);
    const Run swapped = RunScenario(data, size, true);
    if (plain.allocFault) {
        return 0;
    }
    fuzz::Check(plain.decoded.size() == swapped.decoded.size(), "the runs in GPB and JSON ticked differently");
    for (size_t k = 0; k < plain.decoded.size(); ++k) {
        fuzz::Check(plain.decoded[k].size() == swapped.decoded[k].size(),
                    "tick " + std::to_string(k) + ": GPB and JSON made a different number of envelopes");
        for (size_t e = 0; e < plain.decoded[k].size(); ++e) {
            const auto &a = plain.decoded[k][e];
            const auto &b = swapped.decoded[k][e];
            fuzz::Check(a.size() == b.size(), "tick " + std::to_string(k) + ": GPB and JSON hold different interfaces");
            for (size_t i = 0; i < a.size(); ++i) {
                fuzz::Check(SameValues(a[i], b[i]),
                            "tick " + std::to_string(k) + ": GPB and JSON differ for interface '" + a[i].name + "'");
            }
        }
    }
    return 0;
}
