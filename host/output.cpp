#include "host/output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/common.h"

namespace host {

namespace {

constexpr size_t kMagicLen = sizeof(kRawMagic) - 1;
constexpr uint32_t kMaxRecord = 1u << 30;
constexpr size_t kReadPiece = 1u << 16;

void PutU32(std::string &out, uint32_t v)
{
    for (int i = 0; i < 4; ++i) {
        out += static_cast<char>((v >> (8 * i)) & 0xFF);
    }
}

} // namespace

Output::Output(const std::string &path, OutputFormat format) : file_(stdout), own_(false), format_(format)
{
    if (path != "-") {
        file_ = std::fopen(path.c_str(), "wb");
        if (file_ == nullptr) {
            throw InputError("cannot write " + path + ": " + std::strerror(errno));
        }
        own_ = true;
    }
    if (format_ == OutputFormat::Raw) {
        std::fwrite(kRawMagic, 1, kMagicLen, file_);
    }
}

Output::~Output()
{
    std::fflush(file_);
    if (own_) {
        std::fclose(file_);
    }
}

void Output::Flush()
{
    std::fflush(file_);
}

EnvelopeLine Output::Write(const SensorInfo &sensor, bool json, const uint8_t *envelope, size_t length)
{
    if (format_ == OutputFormat::Raw) {
        const std::string name = sensor.name;
        std::string rec;
        PutU32(rec, static_cast<uint32_t>(1 + name.size() + 1 + length));
        rec += static_cast<char>(name.size());
        rec += name;
        rec += static_cast<char>(json ? 1 : 0);
        rec.append(reinterpret_cast<const char *>(envelope), length);
        std::fwrite(rec.data(), 1, rec.size(), file_);
        EnvelopeLine r;
        r.ok = true;
        return r;
    }
    EnvelopeLine r = DecodeEnvelope(sensor, json, envelope, length);
    r.line += '\n';
    std::fwrite(r.line.data(), 1, r.line.size(), file_);
    return r;
}

RawReader::RawReader(const std::string &path) : file_(stdin), own_(false), path_(path == "-" ? "standard input" : path)
{
    if (path != "-") {
        file_ = std::fopen(path.c_str(), "rb");
        if (file_ == nullptr) {
            throw InputError("cannot read " + path + ": " + std::strerror(errno));
        }
        own_ = true;
    }
    ReadMagic();
}

RawReader::RawReader(FILE *file, const std::string &name) : file_(file), own_(false), path_(name)
{
    ReadMagic();
}

void RawReader::ReadMagic()
{
    char magic[kMagicLen];
    if (std::fread(magic, 1, kMagicLen, file_) != kMagicLen || std::memcmp(magic, kRawMagic, kMagicLen) != 0) {
        throw InputError(path_ + " is not a raw envelope file (no ZORRAW1 header)");
    }
}

RawReader::~RawReader()
{
    if (own_) {
        std::fclose(file_);
    }
}

bool RawReader::Next(RawRecord &record)
{
    uint8_t len[4];
    const size_t got = std::fread(len, 1, 4, file_);
    if (got == 0) {
        return false;
    }
    ++index_;
    const std::string where = path_ + ": record " + std::to_string(index_);
    if (got != 4) {
        throw InputError(where + " is cut short");
    }
    const uint32_t size = len[0] | (len[1] << 8) | (len[2] << 16) | (static_cast<uint32_t>(len[3]) << 24);
    if (size < 2 || size > kMaxRecord) {
        throw InputError(where + " has an impossible length " + std::to_string(size));
    }
    // Read in pieces, so that a length field larger than the file costs no more than the file.
    std::vector<uint8_t> body;
    while (body.size() < size) {
        const size_t have = body.size();
        const size_t want = std::min<size_t>(kReadPiece, size - have);
        body.resize(have + want);
        if (std::fread(body.data() + have, 1, want, file_) != want) {
            throw InputError(where + " is cut short");
        }
    }
    const size_t nameLen = body[0];
    if (1 + nameLen + 1 > size) {
        throw InputError(where + " has a sensor name longer than the record");
    }
    record.sensor.assign(reinterpret_cast<const char *>(&body[1]), nameLen);
    record.json = body[1 + nameLen] != 0;
    record.envelope.assign(body.begin() + static_cast<long>(2 + nameLen), body.end());
    return true;
}

int DecodeRawFile(const std::string &input, const std::string &output)
{
    RawReader reader(input);
    Output out(output, OutputFormat::Jsonl);
    RawRecord rec;
    bool allOk = true;
    while (reader.Next(rec)) {
        const SensorInfo *sensor = FindSensorByName(rec.sensor);
        if (sensor == nullptr) {
            throw InputError("raw record names an unknown sensor '" + rec.sensor + "'");
        }
        allOk = out.Write(*sensor, rec.json, rec.envelope.data(), rec.envelope.size()).ok && allOk;
    }
    return allOk ? kExitOk : kExitDecode;
}

} // namespace host
