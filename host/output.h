// Where uploads go: decoded JSON lines, or raw records that `decode` turns into the same lines later.
//
// Raw file: the 8 bytes "ZORRAW1\n", then one record per envelope:
//   u32 little-endian length of the rest of the record,
//   u8 length of the sensor name, the sensor name,
//   u8 encoding (0 GPB, 1 JSON),
//   the envelope exactly as uploaded (48-byte header and message).
#ifndef ZOR_HOST_OUTPUT_H
#define ZOR_HOST_OUTPUT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/decode.h"
#include "host/sensors.h"

namespace host {

enum class OutputFormat { Jsonl, Raw };

constexpr char kRawMagic[] = "ZORRAW1\n";

struct RawRecord {
    std::string sensor;
    bool json = false;
    std::vector<uint8_t> envelope;
};

class Output {
public:
    // "-" is standard output. Throws HostError (exit code 2) if the file cannot be written.
    Output(const std::string &path, OutputFormat format);
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // Writes one envelope; the result says how it decoded (always ok in raw format).
    EnvelopeLine Write(const SensorInfo &sensor, bool json, const uint8_t *envelope, size_t length);
    void Flush();

private:
    FILE *file_;
    bool own_;
    OutputFormat format_;
};

// Reads a raw file ("-" is standard input) record by record. Throws HostError (exit code 2) on a
// file that is not a raw file or is cut short.
class RawReader {
public:
    explicit RawReader(const std::string &path);
    // Reads an open stream, which stays open; `name` names it in messages.
    RawReader(FILE *file, const std::string &name);
    ~RawReader();
    RawReader(const RawReader &) = delete;
    RawReader &operator=(const RawReader &) = delete;
    bool Next(RawRecord &record);

private:
    void ReadMagic();

    FILE *file_;
    bool own_;
    std::string path_;
    uint64_t index_ = 0;
};

// The `decode` command: prints the lines of every record of a raw file. Returns the exit code.
int DecodeRawFile(const std::string &input, const std::string &output);

} // namespace host

#endif
