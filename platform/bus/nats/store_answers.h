// What the server's store answers.
#pragma once

#include <json/value.h>

#include <string>

#include "bus/nats/handles.h"

namespace frame::nats {

// An answer to a question about a stream, or the acknowledgement of a message. `error` is empty, or says what is wrong.
struct StoreAnswer {
    Json::Value root;
    std::string error;

    // Whether the stream is not there.
    bool isNotFound() const;
};

// `message`: null when nothing came. `nobody`: what is wrong when nobody takes what was sent.
StoreAnswer readAnswer(const Message& message, const std::string& nobody);

// What stands there as `name`, and null when there is no such thing, or no object.
const Json::Value& at(const Json::Value& object, const char* name);
// 0 for anything else.
std::uint64_t numberIn(const Json::Value& value);

// The status that the server gives in place of a stored message, such as "404"; empty with a message.
std::string statusOf(natsMsg* message);

}  // namespace frame::nats
