// A minimal streaming JSON writer for the host's output lines: exact unsigned 64-bit numbers,
// escaped strings, no whitespace.
#ifndef ZOR_HOST_JSON_WRITER_H
#define ZOR_HOST_JSON_WRITER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace host {

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
        for (unsigned char c : s) {
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
                if (c < 0x20 || c >= 0x7F) {
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
