// What is wrong with a broker, looked at from one process's side.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bus_client.h"
#include "bus_findings.h"
#include "platform/config.h"

namespace necctl {

struct CheckOptions {
    std::int64_t certificateDays = 14;  // that a certificate must be valid from now on
};

// The process's own files, and each server by itself: whether it is there, what it is, and whom it lets in. Returns
// those that answer, as they are to be connected to.
std::vector<std::string> checkServers(const frame::Config& config, const CheckOptions& options, Findings& findings);

// What this user may do, and may not.
void checkRole(const BusClient& client, const frame::Config& config, Findings& findings);

// The streams and consumers: whether they are there, as they are to be, and have room.
void checkStore(const BusClient& client, const frame::Config& config, Findings& findings);

// How far the server's clock is from this machine's.
void checkClock(const BusClient& client, const std::string& system, Findings& findings);
// `difference`: the server's less this one's, which may be wrong by `uncertainty`. All in seconds.
void judgeClock(double difference, double uncertainty, Findings& findings);

}  // namespace necctl
