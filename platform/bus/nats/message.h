// A message as the client has it.
#pragma once

#include <string>
#include <string_view>

#include "bus/nats/handles.h"

namespace frame::nats {

// Both throw std::bad_alloc. `reply`: empty when no answer is wanted.
Message makeMessage(const std::string& subject, const std::string& reply, std::string_view octets);
void setHeader(const Message& message, const char* name, const std::string& value);

// Valid while the message is; empty when it has none of that name.
std::string_view headerOf(natsMsg* message, const char* name);
std::string_view octetsOf(natsMsg* message);

// As a log line shows what others wrote.
std::string shortened(std::string_view text);

}  // namespace frame::nats
