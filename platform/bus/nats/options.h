// From NatsOptions to the client's own.
#pragma once

#include <string>

#include "bus/nats/handles.h"
#include "platform/nats.h"

namespace frame::nats {

// Throws std::invalid_argument for options that cannot be, and says which.
void check(const NatsOptions& options);

// Whether connections are with TLS: to all servers, or to none.
bool usesTls(const NatsOptions& options);

// What the subjects of answers to `address` begin with.
std::string inboxOf(const CProcID& address, const NatsOptions& options);

// The client's options, but for its callbacks. Throws std::runtime_error for a file that cannot be used.
Options clientOptions(const CProcID& address, const NatsOptions& options);

// How long to wait before the next attempt to connect: doubles from 100 ms to 5 s, cut by up to half at random, so that
// many processes do not try in step.
std::chrono::milliseconds delayBefore(int attempt);

}  // namespace frame::nats
