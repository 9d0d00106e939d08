// What a broker says of itself before anybody has shown who he is, and what it shows with TLS.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/nats.h"

namespace necctl {

struct Certificate {
    std::string error;                          // why it is not to be trusted; empty: it is
    std::optional<std::int64_t> secondsToLive;  // negative: it has expired
};

struct Broker {
    std::string error;                       // why it could not be looked at
    Json::Value info;                        // what it says of itself
    std::optional<Certificate> certificate;  // with TLS
    std::string tlsError;                    // why there is no TLS with it, although it has TLS
    bool silent = false;                     // it said that much, and then does not answer
};

// Looks at `server`, one of those of `options`, and shows the certificate that those name. Waits some ten
// seconds at most.
Broker lookAtBroker(const std::string& server, const frame::NatsOptions& options);

// How long the certificate in a PEM file is valid from now on; nothing when there is none.
std::optional<std::int64_t> secondsToLive(const std::string& certificateFile);

}  // namespace necctl
