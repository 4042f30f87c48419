// A minimal streaming JSON writer for the host's output lines: exact unsigned 64-bit numbers,
// escaped strings, no whitespace. Strings keep well-formed UTF-8 as it is; a byte that does not
// begin a well-formed sequence is written as U+FFFD, so that every line is valid UTF-8.
#ifndef ZOR_HOST_JSON_WRITER_H
#define ZOR_HOST_JSON_WRITER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace host {

// Length of the well-formed UTF-8 sequence at the start of s[0..n), 0 when there is none.
inline size_t Utf8SequenceLength(const unsigned char *s, size_t n)
{
    if (s[0] < 0x80) {
        return 1;
    }
    size_t len = 0;
    uint32_t cp = 0;
    if (s[0] >= 0xC2 && s[0] <= 0xDF) {
        len = 2;
        cp = s[0] & 0x1Fu;
    } else if (s[0] >= 0xE0 && s[0] <= 0xEF) {
        len = 3;
        cp = s[0] & 0x0Fu;
    } else if (s[0] >= 0xF0 && s[0] <= 0xF4) {
        len = 4;
        cp = s[0] & 0x07u;
    }
    if (len == 0 || n < len) {
        return 0;
    }
    for (size_t i = 1; i < len; ++i) {
        if ((s[i] & 0xC0) != 0x80) {
            return 0;
        }
        cp = (cp << 6) | (s[i] & 0x3Fu);
    }
    const bool overlong = (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000);
    const bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
    return overlong || surrogate || cp > 0x10FFFF ? 0 : len;
}

class JsonWriter {
public:
    JsonWriter &BeginObject() { return Open('{'); }
    JsonWriter &EndObject() { return Close('}'); }
    JsonWriter &BeginArray() { return Open('['); }
    JsonWriter &EndArray() { return Close(']'); }
    JsonWriter &Key(const std::string &key)
    {
        Separate();
        Quote(key);
        out_ += ':';
        afterKey_ = true;
        return *this;
    }
    JsonWriter &String(const std::string &text)
    {
        Separate();
        Quote(text);
        return *this;
    }
    JsonWriter &Uint(uint64_t v)
    {
        Separate();
        out_ += std::to_string(v);
        return *this;
    }
    JsonWriter &Bool(bool v)
    {
        Separate();
        out_ += v ? "true" : "false";
        return *this;
    }
    const std::string &str() const { return out_; }

private:
    JsonWriter &Open(char c)
    {
        Separate();
        out_ += c;
        first_.push_back(true);
        return *this;
    }
    JsonWriter &Close(char c)
    {
        out_ += c;
        first_.pop_back();
        return *this;
    }
    void Separate()
    {
        if (afterKey_) {
            afterKey_ = false;
            return;
        }
        if (!first_.empty()) {
            if (!first_.back()) {
                out_ += ',';
            }
            first_.back() = false;
        }
    }
    void Quote(const std::string &s)
    {
        out_ += '"';
        const auto *bytes = reinterpret_cast<const unsigned char *>(s.data());
        for (size_t i = 0; i < s.size(); ++i) {
            const unsigned char c = bytes[i];
            if (c >= 0x80) {
                const size_t len = Utf8SequenceLength(bytes + i, s.size() - i);
                if (len == 0) {
                    out_ += "\\ufffd";
                } else {
                    out_.append(s, i, len);
                    i += len - 1;
                }
                continue;
            }
            switch (c) {
            case '"':
                out_ += "\\\"";
                break;
            case '\\':
                out_ += "\\\\";
                break;
            case '\n':
                out_ += "\\n";
                break;
            case '\r':
                out_ += "\\r";
                break;
            case '\t':
                out_ += "\\t";
                break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    char buf[8];
                    std::snprintf(buf, sizeof(buf), "\\u%04x", c);
                    out_ += buf;
                } else {
                    out_ += static_cast<char>(c);
                }
            }
        }
        out_ += '"';
    }

    std::string out_;
    std::vector<bool> first_;
    bool afterKey_ = false;
};

} // namespace host

#endif
