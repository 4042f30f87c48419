// Subscriptions: what a collector asked the framework for, turned into the task configuration
// records (TlmTaskInfo) the plugin's task callbacks receive.
//
// One subscription per line (flag --sub, or a file with '#' comments):
//   SENSOR INTERVAL [options]
// SENSOR is a registered sensor name ("ZOR_IFM_IFSTAT"), its path, or a short name (subif, ipstat,
// mib, common); INTERVAL is "10", "10s", "500ms" or "1m". Options:
//   encoding=gpb|json|N       encodeType (default gpb = 0, json = 1)
//   name=PATTERN              interface name condition (condType 1, condKey "name")
//   subif=MAIN:N              main interface and subinterface number (condType 2)
//   key=TEXT  cond=N          override condKey / condType
//   threshold=COUNTER OP VALUE   OP one of > >= < <= ==, e.g. threshold=in_octets>1000, or
//   threshold=COUNTER:CODE:VALUE with the raw comparison code; at most two
//   relation=and|second|N     how two thresholds combine (1 both, the default; 2 the second alone)
//   suppress                  leave out unchanged samples (suppressRedundant 1)
//   period=S                  report an unchanged sample again after S seconds (reportPeriod)
//   start=T  stop=T           first tick T after the run starts; stop callback at T
#ifndef ZOR_HOST_SUBSCRIPTIONS_H
#define ZOR_HOST_SUBSCRIPTIONS_H

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "host/sensors.h"
#include "platform/mdtlm_frm.h"

namespace host {

struct ThresholdDecl {
    std::string counter;
    uint8_t op = 0;
    uint64_t value = 0;
};

struct Subscription {
    std::string text; // as written, for messages
    const SensorInfo *sensor = nullptr;
    uint64_t intervalMs = 10000;
    uint32_t encodeType = 0;
    uint32_t condType = 0;
    std::string condKey;
    std::string condName;
    std::string condIndex;
    std::vector<ThresholdDecl> thresholds;
    uint32_t thresholdRelation = 0; // 1 (both) by default when two thresholds are given
    uint32_t suppressRedundant = 0;
    uint32_t reportPeriod = 0;
    uint64_t startMs = 0;
    uint64_t stopMs = 0; // 0: runs to the end

    bool json() const { return (encodeType & 0xFF) != 0; }
};

// Throws HostError (exit code 2) with `where` and the reason.
Subscription ParseSubscription(const std::string &line, const std::string &where);
// Subscription lines ('#' starts a comment); messages name `source` and the line.
std::vector<Subscription> ParseSubscriptions(std::istream &in, const std::string &source);
std::vector<Subscription> LoadSubscriptionFile(const std::string &path);
// The task configuration of a subscription: every byte not set here is zero.
TlmTaskInfo BuildTaskInfo(const Subscription &sub);
// Short description for the summary: "10s gpb name=GE1/0/1*".
std::string DescribeSubscription(const Subscription &sub);

} // namespace host

#endif
