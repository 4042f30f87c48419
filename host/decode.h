// Decoding what the plugin uploads: the 48-byte envelope header and its message, GPB through the
// generated protobuf classes or JSON through cJSON, into one JSON line per envelope:
//   {"sensor":..., "task":..., "cookie":..., "encoding":"gpb"|"json", "time":"...Z",
//    "timestampMs":..., "timeSpendUs":..., "bytes":..., "interfaces":[...]}
// Each interface is {"name":..., "<node>":{...}} with the node of the sensor ("ip-statistics",
// "mib-statistics", "common-statistics"); a subinterface is {"name": main interface,
// "subinterface": N, "counters":{...}}. Values use the message's JSON member names: counters and
// rates as numbers, use rates as their percent text. GPB and JSON of the same samples give the same
// interfaces. A problem with the envelope adds "warnings"; an undecodable message gives "error".
#ifndef ZOR_HOST_DECODE_H
#define ZOR_HOST_DECODE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/sensors.h"

namespace host {

struct DecodedValue {
    std::string key;
    bool isText = false;
    uint64_t number = 0;
    std::string text;
};

struct DecodedInterface {
    std::string name;
    bool isSubif = false;
    uint64_t subif = 0;
    std::vector<DecodedValue> values; // in the message model's order
};

struct DecodedMessage {
    std::vector<DecodedInterface> interfaces;
    std::vector<std::string> warnings;
    std::string error; // non-empty: the message did not decode
};

DecodedMessage DecodeMessage(SensorModel model, bool json, const uint8_t *data, size_t length);

struct EnvelopeLine {
    std::string line; // without the newline
    size_t interfaces = 0;
    bool ok = false;
};

// Decodes one envelope (header and message, `length` bytes as uploaded).
EnvelopeLine DecodeEnvelope(const SensorInfo &sensor, bool json, const uint8_t *envelope, size_t length);

} // namespace host

#endif
