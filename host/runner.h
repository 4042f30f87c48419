// The run: the framework's side of the plugin. It sets the stand-in platform up, starts the
// simulated device, loads the plugin, creates one sampling task per subscription and calls the
// task callbacks on their intervals while the device advances second by second, writes every
// upload, and calls the stop callbacks at the end.
//
// Time: in simulated time the clock jumps from event to event (the device collects at every whole
// second, tasks tick at start + 0.5 s + k × interval, so that a tick falls between two collections)
// and the run lasts --duration simulated time. In real time the same events follow the wall clock.
#ifndef ZOR_HOST_RUNNER_H
#define ZOR_HOST_RUNNER_H

#include "host/options.h"

namespace host {

// Returns the exit code; throws HostError for problems found before or while starting.
int RunHost(const Options &options);
// Prints the inventory the options describe.
int DumpInventory(const Options &options);

} // namespace host

#endif
