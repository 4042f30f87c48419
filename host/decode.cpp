#include "host/decode.h"

#include <cjson/cJSON.h>

#include <cstring>

#include "host/common.h"
#include "host/json_writer.h"
#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
#include "platform/mdtlm_frm.h"

namespace host {

namespace {

namespace pb = google::protobuf;

constexpr size_t kHeader = sizeof(SampleData);

// Member names of each statistics node, in the order the plugin's JSON writes them.
const std::vector<std::string> &IpKeys()
{
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> k;
        for (const char *fam : {"ip", "ipv4", "ipv6"}) {
            const std::string f = fam;
            for (const char *what : {"byte", "packet", "bit-rate", "packet-rate"}) {
                k.push_back("receive-" + f + "-" + what);
                k.push_back("send-" + f + "-" + what);
            }
        }
        return k;
    }();
    return keys;
}

const std::vector<std::string> &MibKeys()
{
    static const std::vector<std::string> keys = {
        "receive-byte",          "send-byte",           "receive-packet",         "send-packet",
        "receive-unicast-packet", "receive-multicast-packet", "receive-broad-packet", "send-unicast-packet",
        "send-multicast-packet", "send-broad-packet",   "receive-error-packet",   "receive-drop-packet",
        "send-error-packet",     "send-drop-packet"};
    return keys;
}

const std::vector<std::string> &CommonKeys()
{
    static const std::vector<std::string> keys = {
        "out-bit-rate",          "in-bit-rate",          "send-byte",          "receive-byte",
        "receive-packet",        "send-packet",          "in-packet-rate",     "out-packet-rate",
        "receive-multicast-packet", "send-multicast-packet", "receive-broad-packet", "send-broad-packet",
        "receive-unicast-packet", "send-unicast-packet", "send-drop-packet",   "receive-error-packet",
        "receive-drop-packet",   "in-use-rate",          "out-use-rate"};
    return keys;
}

const std::vector<std::string> &CounterKeys()
{
    static const std::vector<std::string> keys = {
        "in-octets",  "in-unicast-pkts",  "in-broadcast-pkts",  "in-multicast-pkts",  "in-discards",
        "in-errors",  "in-unknown-protos", "in-fcs-errors",     "out-octets",         "out-unicast-pkts",
        "out-broadcast-pkts", "out-multicast-pkts", "out-discards", "out-errors",     "carrier-transitions",
        "last-clear"};
    return keys;
}

const std::vector<std::string> &KeysOf(SensorModel model)
{
    switch (model) {
    case SensorModel::IpStatistics:
        return IpKeys();
    case SensorModel::MibStatistics:
        return MibKeys();
    case SensorModel::CommonStatistics:
        return CommonKeys();
    case SensorModel::SubifCounters:
        break;
    }
    return CounterKeys();
}

const char *NodeOf(SensorModel model)
{
    for (const SensorInfo &s : KnownSensors()) {
        if (s.model == model) {
            return s.node;
        }
    }
    return "";
}

std::string FieldName(const std::string &key)
{
    std::string f = key;
    for (char &c : f) {
        if (c == '-') {
            c = '_';
        }
    }
    return f;
}

int UnknownFields(const pb::Message &m)
{
    return m.GetReflection()->GetUnknownFields(m).field_count();
}

// The values of a statistics message in the model's order, through reflection.
std::vector<DecodedValue> GpbValues(const pb::Message &node, SensorModel model, std::vector<std::string> &warnings)
{
    std::vector<DecodedValue> values;
    const pb::Descriptor *d = node.GetDescriptor();
    const pb::Reflection *r = node.GetReflection();
    for (const std::string &key : KeysOf(model)) {
        const pb::FieldDescriptor *f = d->FindFieldByName(FieldName(key));
        DecodedValue v;
        v.key = key;
        if (f == nullptr) {
            warnings.push_back("message type has no field for " + key);
            continue;
        }
        if (f->cpp_type() == pb::FieldDescriptor::CPPTYPE_STRING) {
            v.isText = true;
            v.text = r->GetString(node, f);
        } else {
            v.number = r->GetUInt64(node, f);
        }
        values.push_back(v);
    }
    if (UnknownFields(node) != 0) {
        warnings.push_back(std::string(NodeOf(model)) + " holds fields the model does not know");
    }
    return values;
}

void DecodeIfmGpb(SensorModel model, const uint8_t *data, size_t length, DecodedMessage &out)
{
    zor::ifm::Ifm msg;
    if (!msg.ParseFromArray(data, static_cast<int>(length))) {
        out.error = "GPB message does not parse as ifm";
        return;
    }
    if (UnknownFields(msg) != 0) {
        out.warnings.push_back("ifm holds fields the model does not know");
    }
    for (const zor::ifm::Interfaces &ifs : msg.interfaces()) {
        if (!ifs.has_interface()) {
            out.warnings.push_back("an interfaces element holds no interface");
            continue;
        }
        const zor::ifm::Interface &itf = ifs.interface();
        DecodedInterface di;
        di.name = itf.name();
        const pb::Message *node = nullptr;
        int nodes = itf.has_ip_statistics() + itf.has_mib_statistics() + itf.has_common_statistics();
        switch (model) {
        case SensorModel::IpStatistics:
            node = itf.has_ip_statistics() ? &itf.ip_statistics() : nullptr;
            break;
        case SensorModel::MibStatistics:
            node = itf.has_mib_statistics() ? &itf.mib_statistics() : nullptr;
            break;
        case SensorModel::CommonStatistics:
            node = itf.has_common_statistics() ? &itf.common_statistics() : nullptr;
            break;
        case SensorModel::SubifCounters:
            break;
        }
        if (node == nullptr) {
            out.warnings.push_back("interface " + di.name + " has no " + NodeOf(model) + " node");
        } else {
            di.values = GpbValues(*node, model, out.warnings);
        }
        if (nodes > 1) {
            out.warnings.push_back("interface " + di.name + " holds more than one statistics node");
        }
        out.interfaces.push_back(std::move(di));
    }
}

void DecodeSubifGpb(const uint8_t *data, size_t length, DecodedMessage &out)
{
    zor::oc::Interfaces msg;
    if (!msg.ParseFromArray(data, static_cast<int>(length))) {
        out.error = "GPB message does not parse as openconfig interfaces";
        return;
    }
    for (const zor::oc::Interface &itf : msg.interface()) {
        if (itf.subinterfaces().subinterface_size() == 0) {
            out.warnings.push_back("interface " + itf.name() + " has no subinterface");
        }
        for (const zor::oc::Subinterface &sub : itf.subinterfaces().subinterface()) {
            DecodedInterface di;
            di.name = itf.name();
            di.isSubif = true;
            di.subif = sub.index();
            const zor::oc::State &state = sub.state();
            for (uint64_t idx : state.index()) {
                if (idx != sub.index()) {
                    out.warnings.push_back("state index " + std::to_string(idx) + " differs from subinterface " +
                                           std::to_string(sub.index()));
                }
            }
            di.values = GpbValues(state.counters(), SensorModel::SubifCounters, out.warnings);
            out.interfaces.push_back(std::move(di));
        }
    }
}

// ---- JSON ----------------------------------------------------------------------------------

struct JsonDoc {
    explicit JsonDoc(cJSON *r) : root(r) {}
    ~JsonDoc() { cJSON_Delete(root); }
    JsonDoc(const JsonDoc &) = delete;
    JsonDoc &operator=(const JsonDoc &) = delete;
    cJSON *root;
};

bool AllDigits(const char *s)
{
    if (*s == '\0') {
        return false;
    }
    for (; *s; ++s) {
        if (*s < '0' || *s > '9') {
            return false;
        }
    }
    return true;
}

std::vector<DecodedValue> JsonValues(const cJSON *node, SensorModel model, std::vector<std::string> &warnings)
{
    std::vector<DecodedValue> values;
    const std::vector<std::string> &keys = KeysOf(model);
    size_t pos = 0;
    bool ordered = true;
    for (const cJSON *m = node->child; m != nullptr; m = m->next, ++pos) {
        const std::string name = m->string ? m->string : "";
        if (pos >= keys.size() || keys[pos] != name) {
            ordered = false;
        }
    }
    if (!ordered || pos != keys.size()) {
        warnings.push_back(std::string(NodeOf(model)) + " members differ from the model's list or order");
    }
    for (const std::string &key : keys) {
        const cJSON *m = cJSON_GetObjectItemCaseSensitive(node, key.c_str());
        if (m == nullptr) {
            continue;
        }
        DecodedValue v;
        v.key = key;
        if (cJSON_IsString(m) && AllDigits(m->valuestring)) {
            try {
                v.number = ParseUnsigned(m->valuestring);
            } catch (const std::invalid_argument &) {
                v.isText = true;
                v.text = m->valuestring;
            }
        } else if (cJSON_IsString(m)) {
            v.isText = true;
            v.text = m->valuestring;
        } else if (cJSON_IsNumber(m) && m->valuedouble >= 0) {
            v.number = static_cast<uint64_t>(m->valuedouble);
        } else {
            warnings.push_back(key + " is neither a number nor a text");
            continue;
        }
        values.push_back(v);
    }
    return values;
}

const cJSON *Member(const cJSON *obj, const char *name)
{
    return obj == nullptr ? nullptr : cJSON_GetObjectItemCaseSensitive(obj, name);
}

void DecodeIfmJson(SensorModel model, const cJSON *root, DecodedMessage &out)
{
    const cJSON *list = Member(Member(Member(root, "ifm"), "interfaces"), "interface");
    if (!cJSON_IsArray(list)) {
        out.error = "JSON message has no ifm.interfaces.interface array";
        return;
    }
    for (const cJSON *itf = list->child; itf != nullptr; itf = itf->next) {
        DecodedInterface di;
        const cJSON *name = Member(itf, "name");
        di.name = cJSON_IsString(name) ? name->valuestring : "";
        const cJSON *node = Member(itf, NodeOf(model));
        if (!cJSON_IsObject(node)) {
            out.warnings.push_back("interface " + di.name + " has no " + NodeOf(model) + " object");
        } else {
            di.values = JsonValues(node, model, out.warnings);
        }
        out.interfaces.push_back(std::move(di));
    }
}

void DecodeSubifJson(const cJSON *root, DecodedMessage &out)
{
    const cJSON *list = Member(Member(root, "interfaces"), "interface");
    if (!cJSON_IsArray(list)) {
        out.error = "JSON message has no interfaces.interface array";
        return;
    }
    for (const cJSON *itf = list->child; itf != nullptr; itf = itf->next) {
        const cJSON *name = Member(itf, "name");
        const std::string main = cJSON_IsString(name) ? name->valuestring : "";
        const cJSON *subs = Member(Member(itf, "subinterfaces"), "subinterface");
        if (!cJSON_IsArray(subs)) {
            out.warnings.push_back("interface " + main + " has no subinterface array");
            continue;
        }
        for (const cJSON *sub = subs->child; sub != nullptr; sub = sub->next) {
            DecodedInterface di;
            di.name = main;
            di.isSubif = true;
            const cJSON *index = Member(sub, "index");
            di.subif = cJSON_IsNumber(index) && index->valuedouble >= 0 ? static_cast<uint64_t>(index->valuedouble) : 0;
            const cJSON *state = Member(sub, "state");
            const cJSON *stateIndex = Member(state, "index");
            if (!cJSON_IsNumber(stateIndex) || static_cast<uint64_t>(stateIndex->valuedouble) != di.subif) {
                out.warnings.push_back("state index of " + main + "." + std::to_string(di.subif) + " differs");
            }
            const cJSON *counters = Member(state, "counters");
            if (!cJSON_IsObject(counters)) {
                out.warnings.push_back("subinterface " + main + "." + std::to_string(di.subif) + " has no counters");
            } else {
                di.values = JsonValues(counters, SensorModel::SubifCounters, out.warnings);
            }
            out.interfaces.push_back(std::move(di));
        }
    }
}

} // namespace

DecodedMessage DecodeMessage(SensorModel model, bool json, const uint8_t *data, size_t length)
{
    DecodedMessage out;
    if (json) {
        JsonDoc doc(cJSON_ParseWithLength(reinterpret_cast<const char *>(data), length));
        if (doc.root == nullptr) {
            out.error = "JSON message does not parse";
            return out;
        }
        if (model == SensorModel::SubifCounters) {
            DecodeSubifJson(doc.root, out);
        } else {
            DecodeIfmJson(model, doc.root, out);
        }
    } else if (model == SensorModel::SubifCounters) {
        DecodeSubifGpb(data, length, out);
    } else {
        DecodeIfmGpb(model, data, length, out);
    }
    return out;
}

EnvelopeLine DecodeEnvelope(const SensorInfo &sensor, bool json, const uint8_t *envelope, size_t length)
{
    EnvelopeLine result;
    JsonWriter w;
    w.BeginObject().Key("sensor").String(sensor.name);
    std::vector<std::string> warnings;
    if (length < kHeader) {
        w.Key("encoding").String(json ? "json" : "gpb");
        w.Key("error").String("envelope of " + std::to_string(length) + " bytes is shorter than its header");
        w.EndObject();
        result.line = w.str();
        return result;
    }
    SampleData head;
    std::memcpy(&head, envelope, kHeader);
    w.Key("task").Uint(head.taskId).Key("cookie").Uint(head.frmCookie);
    w.Key("encoding").String(json ? "json" : "gpb");
    w.Key("time").String(FormatUtc(head.timestampMs * 1000));
    w.Key("timestampMs").Uint(head.timestampMs);
    w.Key("timeSpendUs").Uint(head.timeSpendUs);
    w.Key("bytes").Uint(head.dataLen);
    if (head.timestampMs2 != head.timestampMs) {
        warnings.push_back("the two timestamps differ (" + std::to_string(head.timestampMs2) + ")");
    }
    for (uint8_t b : head.reserved) {
        if (b != 0) {
            warnings.push_back("reserved header bytes are not zero");
            break;
        }
    }
    size_t dataLen = head.dataLen;
    if (kHeader + dataLen != length) {
        warnings.push_back("envelope is " + std::to_string(length) + " bytes, header says " +
                           std::to_string(kHeader + dataLen));
        dataLen = length - kHeader < dataLen ? length - kHeader : dataLen;
    }
    DecodedMessage msg = DecodeMessage(sensor.model, json, envelope + kHeader, dataLen);
    warnings.insert(warnings.end(), msg.warnings.begin(), msg.warnings.end());
    if (!msg.error.empty()) {
        w.Key("error").String(msg.error);
    } else {
        w.Key("interfaces").BeginArray();
        for (const DecodedInterface &di : msg.interfaces) {
            w.BeginObject().Key("name").String(di.name);
            if (di.isSubif) {
                w.Key("subinterface").Uint(di.subif);
            }
            w.Key(sensor.node).BeginObject();
            for (const DecodedValue &v : di.values) {
                w.Key(v.key);
                if (v.isText) {
                    w.String(v.text);
                } else {
                    w.Uint(v.number);
                }
            }
            w.EndObject().EndObject();
        }
        w.EndArray();
        result.ok = true;
        result.interfaces = msg.interfaces.size();
    }
    if (!warnings.empty()) {
        w.Key("warnings").BeginArray();
        for (const std::string &s : warnings) {
            w.String(s);
        }
        w.EndArray();
    }
    w.EndObject();
    result.line = w.str();
    return result;
}

} // namespace host
