#include "host/common.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace host {

std::string Trim(const std::string &text)
{
    size_t b = 0;
    size_t e = text.size();
    while (b < e && std::isspace(static_cast<unsigned char>(text[b]))) {
        ++b;
    }
    while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) {
        --e;
    }
    return text.substr(b, e - b);
}

std::vector<std::string> Split(const std::string &text, char sep)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t pos = text.find(sep, start);
        parts.push_back(text.substr(start, pos == std::string::npos ? std::string::npos : pos - start));
        if (pos == std::string::npos) {
            return parts;
        }
        start = pos + 1;
    }
}

std::vector<std::string> Words(const std::string &text)
{
    std::vector<std::string> words;
    std::string cur;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (!cur.empty()) {
                words.push_back(cur);
                cur.clear();
            }
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) {
        words.push_back(cur);
    }
    return words;
}

bool StartsWith(const std::string &text, const std::string &prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string Lower(std::string text)
{
    for (char &c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

uint64_t ParseUnsigned(const std::string &text)
{
    if (text.empty()) {
        throw std::invalid_argument("empty number");
    }
    bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned base = hex ? 16 : 10;
    uint64_t value = 0;
    for (size_t i = hex ? 2 : 0; i < text.size(); ++i) {
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
        unsigned digit;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (hex && c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else {
            throw std::invalid_argument("not a number: " + text);
        }
        if (value > (UINT64_MAX - digit) / base) {
            throw std::invalid_argument("number too large: " + text);
        }
        value = value * base + digit;
    }
    return value;
}

uint32_t ParseUnsigned32(const std::string &text)
{
    const uint64_t v = ParseUnsigned(text);
    if (v > UINT32_MAX) {
        throw std::invalid_argument("number too large: " + text);
    }
    return static_cast<uint32_t>(v);
}

double ParseDecimal(const std::string &text)
{
    bool dot = false;
    bool digit = false;
    for (char c : text) {
        if (c == '.' && !dot) {
            dot = true;
        } else if (c >= '0' && c <= '9') {
            digit = true;
        } else {
            throw std::invalid_argument("not a number: " + text);
        }
    }
    if (!digit) {
        throw std::invalid_argument("not a number: " + text);
    }
    return std::strtod(text.c_str(), nullptr);
}

namespace {

// Splits "1.5G" into the number and its suffix.
void SplitNumber(const std::string &text, std::string &number, std::string &suffix)
{
    size_t i = 0;
    while (i < text.size() && (std::isdigit(static_cast<unsigned char>(text[i])) || text[i] == '.')) {
        ++i;
    }
    number = text.substr(0, i);
    suffix = text.substr(i);
}

// number × scale rounded, refused when it does not fit in 64 bits.
uint64_t Scaled(const std::string &number, double scale, const std::string &tooLarge)
{
    const double value = ParseDecimal(number) * scale;
    if (value >= 1.8e19) {
        throw std::invalid_argument(tooLarge);
    }
    return static_cast<uint64_t>(std::llround(value));
}

} // namespace

uint64_t ParseBitRate(const std::string &text)
{
    std::string number;
    std::string suffix;
    SplitNumber(text, number, suffix);
    std::string s = Lower(suffix);
    if (s.size() >= 3 && s.compare(s.size() - 3, 3, "bps") == 0) {
        s.resize(s.size() - 3);
    } else if (!s.empty() && s.back() == 'b') {
        s.pop_back();
    }
    double scale;
    if (s.empty()) {
        scale = 1;
    } else if (s == "k") {
        scale = 1e3;
    } else if (s == "m") {
        scale = 1e6;
    } else if (s == "g") {
        scale = 1e9;
    } else if (s == "t") {
        scale = 1e12;
    } else {
        throw std::invalid_argument("not a bit rate: " + text);
    }
    return Scaled(number, scale, "bit rate too large: " + text);
}

uint64_t ParseDurationMs(const std::string &text)
{
    std::string number;
    std::string suffix;
    SplitNumber(text, number, suffix);
    double scale;
    if (suffix.empty() || suffix == "s") {
        scale = 1000;
    } else if (suffix == "ms") {
        scale = 1;
    } else if (suffix == "m") {
        scale = 60000;
    } else if (suffix == "h") {
        scale = 3600000;
    } else {
        throw std::invalid_argument("not a duration: " + text);
    }
    return Scaled(number, scale, "duration too long: " + text);
}

std::string FormatBitRate(uint64_t bps)
{
    static const struct {
        uint64_t scale;
        const char *suffix;
    } units[] = {{1000000000000ull, "T"}, {1000000000ull, "G"}, {1000000ull, "M"}, {1000ull, "k"}};
    for (const auto &u : units) {
        if (bps >= u.scale && bps % u.scale == 0) {
            return std::to_string(bps / u.scale) + u.suffix;
        }
    }
    return std::to_string(bps);
}

std::string FormatDurationMs(uint64_t ms)
{
    if (ms % 1000 == 0) {
        return std::to_string(ms / 1000) + "s";
    }
    return std::to_string(ms) + "ms";
}

std::string FormatUtc(uint64_t us)
{
    const time_t secs = static_cast<time_t>(us / 1000000);
    struct tm tmv;
    gmtime_r(&secs, &tmv);
    char buf[48];
    std::snprintf(buf, sizeof(buf), "%04d-%02d-%02dT%02d:%02d:%02d.%03uZ", tmv.tm_year + 1900, tmv.tm_mon + 1,
                  tmv.tm_mday, tmv.tm_hour, tmv.tm_min, tmv.tm_sec, static_cast<unsigned>((us / 1000) % 1000));
    return buf;
}

} // namespace host
