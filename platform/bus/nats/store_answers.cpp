#include "bus/nats/store_answers.h"

#include <utility>

#include "bus/nats/message.h"
#include "platform/text.h"

namespace frame::nats {

bool StoreAnswer::isNotFound() const {
    const Json::Value& code = at(at(root, "error"), "code");
    return code.isInt() && code.asInt() == 404;
}

StoreAnswer readAnswer(const Message& message, const std::string& nobody) {
    if (!message) return {{}, "no answer in time, as from a server that is down, or does not permit the question"};
    if (natsMsg_IsNoResponders(message.get())) return {{}, nobody};
    Json::Value root;
    if (JsonUtils::ParseToJson(root, std::string(octetsOf(message.get()))) != 0 || !root.isObject())
        return {{}, "an answer that is no JSON object"};
    const Json::Value& error = at(root, "error");
    if (error.isNull()) return {std::move(root), {}};
    const Json::Value& text = at(error, "description");
    std::string description = text.isString() && !text.asString().empty() ? text.asString() : "an error";
    return {std::move(root), std::move(description)};
}

const Json::Value& at(const Json::Value& object, const char* name) {
    static const Json::Value none;
    return object.isObject() && object.isMember(name) ? object[name] : none;
}

std::uint64_t numberIn(const Json::Value& value) {
    return value.isUInt64() ? value.asUInt64() : 0;
}

std::string statusOf(natsMsg* message) {
    return std::string(headerOf(message, "Status"));
}

}  // namespace frame::nats
