// zor_host: plays the telemetry framework and a simulated device for the interface telemetry
// plugin, and prints what a collector would receive.
#include <iostream>

#include <google/protobuf/stubs/common.h>

#include "host/common.h"
#include "host/options.h"
#include "host/output.h"
#include "host/runner.h"

int main(int argc, char **argv)
{
    GOOGLE_PROTOBUF_VERIFY_VERSION;
    int rc;
    try {
        const host::Options o = host::ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
        switch (o.command) {
        case host::Options::Command::Help:
            std::cout << host::Usage();
            rc = host::kExitOk;
            break;
        case host::Options::Command::Decode:
            rc = host::DecodeRawFile(o.decodeInput, o.output);
            break;
        case host::Options::Command::DumpInventory:
            rc = host::DumpInventory(o);
            break;
        case host::Options::Command::Run:
        default:
            rc = host::RunHost(o);
            break;
        }
    } catch (const host::HostError &e) {
        std::cerr << "zor_host: " << e.what() << "\n";
        rc = e.exitCode();
    }
    google::protobuf::ShutdownProtobufLibrary();
    return rc;
}
