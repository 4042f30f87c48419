// Fuzz target of the host's subscription parser: the input is a subscription file. Oracles: no
// crash or sanitizer report; bad text ends with the host's input error (exit code 2) and nothing else; an accepted
// subscription names a sensor, has an interval above 0, at most two thresholds with counter names
// of 1 to 65 characters and a stop after its start; the task record built from it holds its texts
// whole within their fields, the pattern's length in condNameLen, and zeros elsewhere; and the
// subscription written out with every option explicit parses back to the same subscription.
#include <cstring>
#include <sstream>

#include "fuzz_support.h"
#include "host/common.h"
#include "host/subscriptions.h"

namespace {

// The text fills the field from its start, the rest of the field is zero.
bool FieldHolds(const char *field, size_t capacity, const std::string &text)
{
    if (text.size() > capacity || std::memcmp(field, text.data(), text.size()) != 0) {
        return false;
    }
    for (size_t i = text.size(); i < capacity; ++i) {
        if (field[i] != 0) {
            return false;
        }
    }
    return true;
}

// The subscription as one line with every option written out; empty when it cannot be written so
// (a subinterface number without a main name, a threshold counter name that fits neither form).
std::string Explicit(const host::Subscription &sub)
{
    if (!sub.condIndex.empty() && sub.condName.empty()) {
        return "";
    }
    std::string line = std::string(sub.sensor->name) + " " + host::FormatDurationMs(sub.intervalMs) +
                       " cond=" + std::to_string(sub.condType) + " encoding=" + std::to_string(sub.encodeType) +
                       " key=" + sub.condKey;
    if (!sub.condIndex.empty()) {
        line += " subif=" + sub.condName + ":" + sub.condIndex;
    } else if (!sub.condName.empty()) {
        line += " name=" + sub.condName;
    }
    static const char *const kOps[] = {"==", ">", ">=", "<", "<="};
    for (const host::ThresholdDecl &t : sub.thresholds) {
        const std::string value = std::to_string(t.value);
        if (t.counter.find(':') == std::string::npos) {
            line += " threshold=" + t.counter + ":" + std::to_string(t.op) + ":" + value;
        } else if (t.op < 5 && t.counter.find_first_of("<>=") == std::string::npos) {
            line += " threshold=" + t.counter + kOps[t.op] + value;
        } else {
            return "";
        }
    }
    line += " relation=" + std::to_string(sub.thresholdRelation) + " suppress=" + std::to_string(sub.suppressRedundant) +
            " period=" + std::to_string(sub.reportPeriod) + "s start=" + host::FormatDurationMs(sub.startMs);
    return sub.stopMs == 0 ? line : line + " stop=" + host::FormatDurationMs(sub.stopMs);
}

void CheckSubscription(const host::Subscription &sub)
{
    const std::string what = "'" + sub.text + "': ";
    fuzz::Check(sub.sensor != nullptr && sub.intervalMs > 0, what + "no sensor or a zero interval");
    fuzz::Check(sub.stopMs == 0 || sub.stopMs > sub.startMs, what + "stops before it starts");
    fuzz::Check(sub.thresholds.size() <= 2, what + "more than two thresholds");
    const TlmTaskInfo cfg = host::BuildTaskInfo(sub);
    fuzz::Check(cfg.condNameLen == sub.condName.size() && FieldHolds(cfg.condName, sizeof(cfg.condName), sub.condName),
                what + "name pattern");
    fuzz::Check(FieldHolds(cfg.condKey, sizeof(cfg.condKey), sub.condKey), what + "condition key");
    fuzz::Check(FieldHolds(cfg.condIndex, sizeof(cfg.condIndex), sub.condIndex), what + "subinterface number");
    fuzz::Check(cfg.thresholdNum == sub.thresholds.size(), what + "threshold count");
    for (size_t i = 0; i < sub.thresholds.size(); ++i) {
        const host::ThresholdDecl &t = sub.thresholds[i];
        fuzz::Check(!t.counter.empty() && FieldHolds(cfg.threshold[i].counterName, TLM_COUNTER_NAME_LEN, t.counter) &&
                        cfg.threshold[i].thresholdOp == t.op && cfg.threshold[i].thresholdValue == t.value,
                    what + "threshold " + std::to_string(i));
    }
    (void)host::DescribeSubscription(sub);

    const std::string line = Explicit(sub);
    if (line.empty()) {
        return;
    }
    host::Subscription back;
    try {
        back = host::ParseSubscription(line, "explicit");
    } catch (const host::HostError &e) {
        fuzz::Fail(what + "written out as '" + line + "' it is refused: " + e.what());
    }
    const TlmTaskInfo again = host::BuildTaskInfo(back);
    fuzz::Check(back.sensor == sub.sensor && back.intervalMs == sub.intervalMs && back.startMs == sub.startMs &&
                    back.stopMs == sub.stopMs && std::memcmp(&again, &cfg, sizeof(cfg)) == 0,
                what + "written out as '" + line + "' it parses to another subscription");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::istringstream text(std::string(reinterpret_cast<const char *>(data), size));
    try {
        for (const host::Subscription &sub : host::ParseSubscriptions(text, "input")) {
            CheckSubscription(sub);
        }
    } catch (const host::HostError &e) {
        fuzz::Check(e.exitCode() == host::kExitUsage, std::string("refused with another exit code: ") + e.what());
    }
    return 0;
}
