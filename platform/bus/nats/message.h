// A message as the client has it.
#pragma once

#include <string>
#include <string_view>

#include "bus/nats/handles.h"

namespace frame::nats {

// `reply`: empty when no answer is wanted. Throws std::bad_alloc, and std::runtime_error for what the client refuses.
Message makeMessage(const std::string& subject, const std::string& reply, std::string_view octets);
// Throws std::bad_alloc.
void setHeader(const Message& message, const char* name, const std::string& value);

// Valid while the message is; empty when it has none of that name.
std::string_view headerOf(natsMsg* message, const char* name);
std::string_view octetsOf(natsMsg* message);
// Whether it is a light one, see fromMark.
bool isLight(natsMsg* message);
// What it says of who sends it.
std::string_view senderOf(natsMsg* message);

// As a log line shows what others wrote.
std::string shortened(std::string_view text);

}  // namespace frame::nats
