// Small helpers shared by the host's modules: errors that carry an exit code, and the parsing of
// the numbers, rates and durations that flags and files hold.
#ifndef ZOR_HOST_COMMON_H
#define ZOR_HOST_COMMON_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

// Exit codes of the host.
constexpr int kExitOk = 0;
constexpr int kExitRuntime = 1;  // the plugin or the platform failed
constexpr int kExitUsage = 2;    // bad flags or malformed input files
constexpr int kExitDecode = 3;   // some uploaded envelope did not decode

// An error that ends the program with a message and an exit code.
class HostError : public std::runtime_error {
public:
    HostError(int exitCode, const std::string &message) : std::runtime_error(message), exitCode_(exitCode) {}
    int exitCode() const { return exitCode_; }

private:
    int exitCode_;
};

// Bad input (flags, files): exit code 2.
inline HostError InputError(const std::string &message) { return HostError(kExitUsage, message); }

std::string Trim(const std::string &text);
std::vector<std::string> Split(const std::string &text, char sep);
// Splits on runs of blanks and tabs.
std::vector<std::string> Words(const std::string &text);
bool StartsWith(const std::string &text, const std::string &prefix);
std::string Lower(std::string text);

// Each parser throws std::invalid_argument with a short reason on bad text.
// Decimal or 0x-prefixed hexadecimal unsigned integer.
uint64_t ParseUnsigned(const std::string &text);
uint32_t ParseUnsigned32(const std::string &text);
// A non-negative decimal number with an optional fraction ("2", "1.5").
double ParseDecimal(const std::string &text);
// Bits per second with an optional k/K, M, G or T suffix (powers of 1000) and an optional "bps"
// or "b" ("10G", "1.5Gbps", "640k"). Fractions are allowed before a suffix.
uint64_t ParseBitRate(const std::string &text);
// A duration in milliseconds: "10" and "10s" are seconds; "500ms", "2m" and "1h" as written.
uint64_t ParseDurationMs(const std::string &text);
// "10G" style rendering of a bit rate, exact (falls back to plain digits).
std::string FormatBitRate(uint64_t bitsPerSecond);
// Seconds or milliseconds, the shortest exact form ("10s", "500ms", "90s").
std::string FormatDurationMs(uint64_t ms);
// Microseconds since 1970 as 2024-01-01T00:00:00.500Z.
std::string FormatUtc(uint64_t usSince1970);

} // namespace host

#endif
