// The host's command line.
#ifndef ZOR_HOST_OPTIONS_H
#define ZOR_HOST_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/inventory.h"
#include "host/output.h"

namespace host {

struct Options {
    enum class Command { Run, Decode, Help, DumpInventory };
    Command command = Command::Run;

    // Plugin
    std::string plugin; // "" = the build's plugin library
    uint32_t moduleId = 1;

    // Device
    enum class Source { Simulated, Linux };
    Source source = Source::Simulated;
    std::string netns; // --source linux: the network namespace to read ("" = the host's own)
    std::string inventoryFile;
    bool boardGiven = false;
    uint32_t board = 6;
    InventoryShape shape;
    bool flowGiven = false;
    uint32_t flowInterval = 30;
    uint64_t seed = 1;
    double jitterPercent = 2.0;

    // Subscriptions
    std::vector<std::string> subs;
    std::vector<std::string> subFiles;

    // Time
    bool realTime = false;
    bool durationGiven = false;
    uint64_t durationMs = 180000;
    uint64_t startUs = 1704067200ull * 1000000; // 2024-01-01T00:00:00Z

    // Output
    std::string output = "-";
    OutputFormat format = OutputFormat::Jsonl;
    uint32_t logLevel = 2; // plugin log lines from this level to stderr; 0 = none
    bool quiet = false;
    std::string listen; // ADDR:PORT of the Prometheus endpoint, "" = none

    // decode
    std::string decodeInput = "-";
};

// Throws HostError (exit code 2) on a bad command line.
Options ParseOptions(const std::vector<std::string> &args);
std::string Usage();

} // namespace host

#endif
