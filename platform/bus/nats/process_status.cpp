#include "bus/nats/process_status.h"

#include <json/value.h>
#include <json/writer.h>

#include <algorithm>

#include "bus/nats/headers.h"
#include "bus/nats/store_answers.h"
#include "platform/text.h"

namespace frame::nats {

namespace {

constexpr std::size_t mostText = 200;  // each octet of it takes up to six
constexpr std::size_t mostMore = 16;
constexpr std::size_t mostName = 32;

constexpr const char* addressName = "process";
constexpr const char* hostName = "host";
constexpr const char* pidName = "pid";
constexpr const char* startedName = "started";
constexpr const char* stateName = "state";
constexpr const char* serverName = "server";
constexpr const char* lastErrorName = "last_error";

struct Count {
    const char* name;
    std::uint64_t NatsStatus::*member;
};
constexpr Count counts[] = {{"reconnects", &NatsStatus::reconnects},
                            {"waiting_messages", &NatsStatus::waitingMessages},
                            {"waiting_octets", &NatsStatus::waitingOctets},
                            {"dropped", &NatsStatus::dropped},
                            {"refused", &NatsStatus::refused}};

bool isName(const std::string& text) {
    const auto isLetter = [](char each) { return (each >= 'a' && each <= 'z') || each == '_'; };
    return !text.empty() && text.size() <= mostName && std::all_of(text.begin(), text.end(), isLetter);
}

Json::Value cut(const std::string& text) {
    return text.substr(0, mostText);
}

std::optional<NatsStatus::State> readState(const Json::Value& value) {
    using State = NatsStatus::State;
    for (const State state : {State::connecting, State::connected, State::reconnecting, State::down})
        if (value == Json::Value(toText(state))) return state;
    return std::nullopt;
}

// Takes what it reads out of an object.
class Members {
public:
    explicit Members(Json::Value& object) : object_(object) {}

    bool complete() const { return complete_; }

    Json::Value take(const char* name) {
        Json::Value taken;
        if (!object_.removeMember(name, &taken)) complete_ = false;
        return taken;
    }
    std::string text(const char* name) {
        const Json::Value value = take(name);
        if (value.isString()) return value.asString();
        complete_ = false;
        return {};
    }
    std::uint64_t number(const char* name) {
        const Json::Value value = take(name);
        if (!value.isUInt64()) complete_ = false;
        return numberIn(value);
    }
    template <class Value>
    Value require(const std::optional<Value>& value) {
        complete_ = complete_ && value.has_value();
        return value.value_or(Value{});
    }

private:
    Json::Value& object_;
    bool complete_ = true;
};

}  // namespace

std::string writeStatus(const ProcessStatus& status) {
    Json::Value object;
    std::size_t more = 0;
    for (const auto& [name, number] : status.more)
        if (isName(name) && more++ < mostMore) object[name] = Json::UInt64{number};
    object[addressName] = writeAddress(status.address);
    object[hostName] = cut(status.host);
    object[pidName] = Json::UInt64{status.pid};
    object[startedName] = Json::Int64{status.startedUnixMilliseconds};
    object[stateName] = toText(status.bus.state);
    object[serverName] = cut(status.bus.server);
    object[lastErrorName] = cut(status.bus.lastError);
    for (const Count& count : counts) object[count.name] = Json::UInt64{status.bus.*count.member};
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, object);
}

std::optional<ProcessStatus> readStatus(std::string_view text) {
    Json::Value object;
    if (text.size() > mostStatusOctets || JsonUtils::ParseToJson(object, std::string(text)) != 0 || !object.isObject())
        return std::nullopt;
    ProcessStatus status;
    Members members(object);
    status.address = members.require(readAddress(members.text(addressName)));
    status.host = members.text(hostName);
    status.pid = members.number(pidName);
    const Json::Value started = members.take(startedName);
    status.startedUnixMilliseconds =
        members.require(started.isInt64() ? std::optional(std::int64_t{started.asInt64()}) : std::nullopt);
    status.bus.state = members.require(readState(members.take(stateName)));
    status.bus.server = members.text(serverName);
    status.bus.lastError = members.text(lastErrorName);
    for (const Count& count : counts) status.bus.*count.member = members.number(count.name);
    if (!members.complete()) return std::nullopt;
    for (const std::string& name : object.getMemberNames())
        if (isName(name) && object[name].isUInt64() && status.more.size() < mostMore)
            status.more.emplace_back(name, object[name].asUInt64());
    return status;
}

}  // namespace frame::nats
