#include "host/subscriptions.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "host/common.h"

namespace host {

namespace {

[[noreturn]] void Fail(const std::string &where, const std::string &message)
{
    throw InputError(where + ": " + message);
}

ThresholdDecl ParseThreshold(const std::string &text, const std::string &where)
{
    ThresholdDecl t;
    const std::vector<std::string> raw = Split(text, ':');
    try {
        if (raw.size() == 3) {
            t.counter = raw[0];
            const uint32_t op = ParseUnsigned32(raw[1]);
            if (op > 255) {
                Fail(where, "threshold code above 255: " + text);
            }
            t.op = static_cast<uint8_t>(op);
            t.value = ParseUnsigned(raw[2]);
        } else {
            // The plugin compares the threshold t with the counter v: code 1 holds when t < v, 2 when
            // t <= v, 3 when t > v, 4 when t >= v, 0 when equal. Written here from the counter's side.
            static const struct {
                const char *text;
                uint8_t code;
            } ops[] = {{">=", 2}, {"<=", 4}, {"==", 0}, {">", 1}, {"<", 3}, {"=", 0}};
            size_t pos = std::string::npos;
            for (const auto &o : ops) {
                pos = text.find(o.text);
                if (pos != std::string::npos) {
                    t.counter = text.substr(0, pos);
                    t.op = o.code;
                    t.value = ParseUnsigned(text.substr(pos + std::strlen(o.text)));
                    break;
                }
            }
            if (pos == std::string::npos) {
                Fail(where, "threshold needs COUNTER>VALUE (or >=, <, <=, ==) or COUNTER:CODE:VALUE: " + text);
            }
        }
    } catch (const std::invalid_argument &e) {
        Fail(where, "bad threshold value in '" + text + "': " + e.what());
    }
    if (t.counter.empty() || t.counter.size() > TLM_COUNTER_NAME_LEN) {
        Fail(where, "threshold counter name must have 1 to 65 characters: " + text);
    }
    return t;
}

void CopyField(char *dest, size_t capacity, const std::string &text)
{
    std::memcpy(dest, text.data(), std::min(capacity, text.size()));
}

} // namespace

Subscription ParseSubscription(const std::string &line, const std::string &where)
{
    Subscription sub;
    sub.text = Trim(line);
    const std::vector<std::string> words = Words(line);
    if (words.size() < 2) {
        Fail(where, "expected SENSOR INTERVAL [options], got '" + sub.text + "'");
    }
    sub.sensor = FindSensor(words[0]);
    if (sub.sensor == nullptr) {
        Fail(where, "unknown sensor '" + words[0] +
                        "' (known: ZOR_IFM_SUBIFSTAT, ZOR_IFM_IFSTAT, ZOR_IFM_MIBIFSTAT, ZOR_IFM_COMMONIFSTAT, their paths, "
                        "or subif, ipstat, mib, common)");
    }
    try {
        sub.intervalMs = ParseDurationMs(words[1]);
    } catch (const std::invalid_argument &e) {
        Fail(where, std::string("bad interval: ") + e.what());
    }
    if (sub.intervalMs == 0) {
        Fail(where, "the interval must be above 0");
    }
    bool keyGiven = false;
    bool condGiven = false;
    bool relationGiven = false;
    for (size_t i = 2; i < words.size(); ++i) {
        const std::string &w = words[i];
        if (w == "suppress") {
            sub.suppressRedundant = 1;
            continue;
        }
        const size_t eq = w.find('=');
        if (eq == std::string::npos || eq == 0) {
            Fail(where, "expected key=value or 'suppress', got '" + w + "'");
        }
        const std::string key = w.substr(0, eq);
        const std::string value = w.substr(eq + 1);
        try {
            if (key == "encoding") {
                if (value == "gpb") {
                    sub.encodeType = 0;
                } else if (value == "json") {
                    sub.encodeType = 1;
                } else {
                    sub.encodeType = ParseUnsigned32(value);
                }
            } else if (key == "name") {
                if (!condGiven) {
                    sub.condType = 1;
                }
                sub.condName = value;
            } else if (key == "subif") {
                const size_t colon = value.rfind(':');
                if (colon == std::string::npos || colon == 0 || colon + 1 == value.size()) {
                    Fail(where, "subif= needs MAIN:NUMBER, got '" + value + "'");
                }
                if (!condGiven) {
                    sub.condType = 2;
                }
                sub.condName = value.substr(0, colon);
                sub.condIndex = value.substr(colon + 1);
            } else if (key == "key") {
                sub.condKey = value;
                keyGiven = true;
            } else if (key == "cond") {
                sub.condType = ParseUnsigned32(value);
                condGiven = true;
            } else if (key == "threshold") {
                if (sub.thresholds.size() == 2) {
                    Fail(where, "at most two thresholds");
                }
                sub.thresholds.push_back(ParseThreshold(value, where));
            } else if (key == "relation") {
                sub.thresholdRelation = value == "and" ? 1 : value == "second" ? 2 : ParseUnsigned32(value);
                relationGiven = true;
            } else if (key == "suppress") {
                sub.suppressRedundant = ParseUnsigned32(value);
            } else if (key == "period") {
                sub.reportPeriod = static_cast<uint32_t>(ParseDurationMs(value) / 1000);
            } else if (key == "start") {
                sub.startMs = ParseDurationMs(value);
            } else if (key == "stop") {
                sub.stopMs = ParseDurationMs(value);
            } else {
                Fail(where, "unknown option '" + key + "'");
            }
        } catch (const std::invalid_argument &e) {
            Fail(where, "bad " + key + "=: " + e.what());
        }
    }
    if (!relationGiven && sub.thresholds.size() == 2) {
        sub.thresholdRelation = 1;
    }
    if (!keyGiven && !sub.condName.empty()) {
        sub.condKey = "name";
    }
    if (sub.condName.size() > TLM_COND_NAME_LEN) {
        Fail(where, "name condition longer than 102 characters");
    }
    if (sub.condKey.size() > TLM_COND_KEY_LEN) {
        Fail(where, "key longer than 66 characters");
    }
    if (sub.condIndex.size() > TLM_COND_INDEX_LEN) {
        Fail(where, "subinterface number longer than 32 characters");
    }
    if (sub.stopMs != 0 && sub.stopMs <= sub.startMs) {
        Fail(where, "stop= must come after start=");
    }
    return sub;
}

std::vector<Subscription> ParseSubscriptions(std::istream &in, const std::string &source)
{
    std::vector<Subscription> subs;
    std::string line;
    size_t n = 0;
    while (std::getline(in, line)) {
        ++n;
        line = line.substr(0, line.find('#'));
        if (Trim(line).empty()) {
            continue;
        }
        subs.push_back(ParseSubscription(line, source + ":" + std::to_string(n)));
    }
    return subs;
}

std::vector<Subscription> LoadSubscriptionFile(const std::string &path)
{
    std::ifstream in(path);
    if (!in) {
        throw InputError("cannot read subscription file " + path);
    }
    return ParseSubscriptions(in, path);
}

TlmTaskInfo BuildTaskInfo(const Subscription &sub)
{
    TlmTaskInfo cfg;
    std::memset(&cfg, 0, sizeof(cfg));
    cfg.encodeType = sub.encodeType;
    cfg.condType = sub.condType;
    CopyField(cfg.condKey, sizeof(cfg.condKey), sub.condKey);
    cfg.condNameLen = static_cast<uint16_t>(sub.condName.size());
    CopyField(cfg.condName, sizeof(cfg.condName), sub.condName);
    CopyField(cfg.condIndex, sizeof(cfg.condIndex), sub.condIndex);
    cfg.thresholdNum = static_cast<uint32_t>(sub.thresholds.size());
    cfg.thresholdRelation = sub.thresholdRelation;
    for (size_t i = 0; i < sub.thresholds.size() && i < 2; ++i) {
        CopyField(cfg.threshold[i].counterName, sizeof(cfg.threshold[i].counterName), sub.thresholds[i].counter);
        cfg.threshold[i].thresholdOp = sub.thresholds[i].op;
        cfg.threshold[i].thresholdValue = sub.thresholds[i].value;
    }
    cfg.suppressRedundant = sub.suppressRedundant;
    cfg.reportPeriod = sub.reportPeriod;
    return cfg;
}

std::string DescribeSubscription(const Subscription &sub)
{
    std::string d = FormatDurationMs(sub.intervalMs) + " " +
                    (sub.encodeType == 0 ? "gpb" : sub.encodeType == 1 ? "json" : "enc=" + std::to_string(sub.encodeType));
    if (sub.condType == 1) {
        d += " name=" + sub.condName;
    } else if (sub.condType != 0) {
        d += " subif=" + sub.condName + ":" + sub.condIndex;
    }
    for (const ThresholdDecl &t : sub.thresholds) {
        d += " threshold=" + t.counter + ":" + std::to_string(t.op) + ":" + std::to_string(t.value);
    }
    if (sub.suppressRedundant) {
        d += " suppress";
        if (sub.reportPeriod) {
            d += " period=" + std::to_string(sub.reportPeriod) + "s";
        }
    }
    return d;
}

} // namespace host
