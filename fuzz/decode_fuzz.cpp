// Fuzz target of the host's raw-file decoder (`zor_host decode`): the input is a raw file, the
// magic and then records. Every record is read and its envelope decoded into an output line, as the
// decode command does. Oracles: no crash or sanitizer report; a malformed file ends with the host's
// input error (exit code 2) and nothing else; every line is exactly one JSON object naming the record's sensor,
// with "error" when the message did not decode and otherwise an "interfaces" array whose names are
// the names the message decodes to (bytes that are not UTF-8 shown as U+FFFD).
#include <cstdio>
#include <cstring>

#include "fuzz_support.h"
#include "host/common.h"
#include "host/decode.h"
#include "host/json_writer.h"
#include "host/output.h"
#include "platform/mdtlm_frm.h"

namespace {

// A name as a line must show it: well-formed UTF-8 kept, any other byte as U+FFFD.
std::string Shown(const std::string &name)
{
    std::string out;
    const auto *bytes = reinterpret_cast<const unsigned char *>(name.data());
    for (size_t i = 0; i < name.size(); ++i) {
        const size_t len = host::Utf8SequenceLength(bytes + i, name.size() - i);
        out += len == 0 ? "\xEF\xBF\xBD" : name.substr(i, len);
        i += len == 0 ? 0 : len - 1;
    }
    return out;
}

void CheckLine(const host::SensorInfo &sensor, const host::RawRecord &rec, const host::EnvelopeLine &line)
{
    const fuzz::JsonTree tree = fuzz::ParseStrictJson(line.line.data(), line.line.size());
    fuzz::Check(cJSON_IsObject(tree.get()), "output line is not one JSON object: " + line.line);
    const cJSON *name = cJSON_GetObjectItemCaseSensitive(tree.get(), "sensor");
    fuzz::Check(cJSON_IsString(name) && std::strcmp(name->valuestring, sensor.name) == 0, "line names another sensor");
    const cJSON *list = cJSON_GetObjectItemCaseSensitive(tree.get(), "interfaces");
    if (!line.ok) {
        fuzz::Check(cJSON_GetObjectItemCaseSensitive(tree.get(), "error") != nullptr && list == nullptr,
                    "an undecodable envelope without an error: " + line.line);
        return;
    }
    fuzz::Check(cJSON_IsArray(list) && static_cast<size_t>(cJSON_GetArraySize(list)) == line.interfaces,
                "interface count differs from the line: " + line.line);
    SampleData head;
    std::memcpy(&head, rec.envelope.data(), sizeof(head));
    const size_t room = rec.envelope.size() - sizeof(head);
    const host::DecodedMessage msg = host::DecodeMessage(sensor.model, rec.json, rec.envelope.data() + sizeof(head),
                                                         head.dataLen < room ? head.dataLen : room);
    const cJSON *item = list->child;
    for (const host::DecodedInterface &di : msg.interfaces) {
        const cJSON *n = cJSON_GetObjectItemCaseSensitive(item, "name");
        // cJSON ends its strings at a NUL, which the line writes as \u0000.
        fuzz::Check(cJSON_IsString(n) && std::strcmp(Shown(di.name).c_str(), n->valuestring) == 0,
                    "interface name '" + di.name + "' is written as " + line.line);
        item = item->next;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FILE *file = fmemopen(const_cast<uint8_t *>(data), size, "rb");
    if (file == nullptr) {
        return 0;
    }
    try {
        host::RawReader reader(file, "input");
        host::RawRecord rec;
        while (reader.Next(rec)) {
            const host::SensorInfo *sensor = host::FindSensorByName(rec.sensor);
            if (sensor == nullptr) {
                break; // the decode command refuses the file here
            }
            CheckLine(*sensor, rec, host::DecodeEnvelope(*sensor, rec.json, rec.envelope.data(), rec.envelope.size()));
        }
    } catch (const host::HostError &e) {
        fuzz::Check(e.exitCode() == host::kExitUsage, std::string("refused with another exit code: ") + e.what());
    }
    std::fclose(file);
    return 0;
}
