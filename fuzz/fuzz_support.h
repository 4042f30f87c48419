// What the fuzz targets share: a reader that takes fields from the fuzzer's bytes (zero once they
// run out, so every input is a valid scenario), the check that ends a run with a message when an
// oracle fails, and a strict JSON parse.
#ifndef ZOR_FUZZ_SUPPORT_H
#define ZOR_FUZZ_SUPPORT_H

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace fuzz {

class ByteReader {
public:
    ByteReader(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    uint8_t U8() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint16_t U16() { return static_cast<uint16_t>(U8() | (U8() << 8)); }
    uint32_t U32() { return U16() | (static_cast<uint32_t>(U16()) << 16); }
    uint64_t U64() { return U32() | (static_cast<uint64_t>(U32()) << 32); }
    // Fills `size` bytes; zero beyond the input.
    void Bytes(void *out, size_t size);
    bool Empty() const { return pos_ >= size_; }

private:
    const uint8_t *data_;
    size_t size_;
    size_t pos_ = 0;
};

// Prints the message and aborts, so that the fuzzer keeps the input as a crash.
[[noreturn]] void Fail(const std::string &message);
inline void Check(bool ok, const std::string &message)
{
    if (!ok) {
        Fail(message);
    }
}

using JsonTree = std::unique_ptr<cJSON, void (*)(cJSON *)>;

// Parses `text` as exactly one JSON value that takes all of its bytes (no NUL, nothing after it),
// in which no object names a member twice. Null when it is not such a text.
JsonTree ParseStrictJson(const char *text, size_t length);

} // namespace fuzz

#endif
