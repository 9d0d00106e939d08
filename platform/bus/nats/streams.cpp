#include "bus/nats/streams.h"

#include <json/value.h>
#include <json/writer.h>

#include <algorithm>

#include "bus/nats/pieces.h"
#include "bus/nats/store_answers.h"
#include "bus/nats/subjects.h"
#include "bus/received.h"
#include "platform/bus.h"

namespace frame::nats {

namespace {

// How long a message that everybody has may stay, or nobody may fetch one.
constexpr std::chrono::hours reliableStay{7 * 24};
// Senders publish again what may be lost, a few minutes later at most.
constexpr std::chrono::minutes repeatsKnown{5};
constexpr int reliableReplicas = 3;
// Room for the largest broadcast while another one is being fetched, for ten minutes. One replica: a broadcast that is
// lost with its server is one that was being sent.
constexpr std::int64_t broadcastOctets = (std::int64_t{2} * mostBroadcastOctets) + (std::int64_t{64} << 20U);
constexpr std::chrono::minutes broadcastStay{10};

std::string streamName(const std::string& system, const char* kind) {
    std::string name = system + '-' + kind;
    std::replace(name.begin(), name.end(), '.', '_');  // no stream has dots in its name
    return name;
}

Json::Value textsOf(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    Json::Value all(Json::arrayValue);
    for (const std::string& text : texts) all.append(text);
    return all;
}

Json::Value sorted(const Json::Value& array) {
    std::vector<std::string> texts;
    if (!array.isArray()) return array;
    for (const Json::Value& each : array) texts.push_back(each.isString() ? each.asString() : std::string());
    return textsOf(std::move(texts));
}

std::string textOf(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return value.isNull() ? "none" : Json::writeString(builder, value);
}

std::string secondsOf(std::int64_t nanoseconds) {
    return std::to_string(nanoseconds / 1'000'000'000) + " s";
}

std::int64_t signedIn(const Json::Value& value) {
    return value.isInt64() ? value.asInt64() : 0;
}

// Looks at one configuration, and gathers what is not as it is to be.
class Comparison {
public:
    explicit Comparison(const Json::Value& configuration) : configuration_(configuration) {}

    void same(const char* name, const Json::Value& expected) {
        if (const Json::Value found = sorted(at(configuration_, name)); found != sorted(expected))
            differs(name, textOf(found), textOf(expected));
    }
    void atLeast(const char* name, std::int64_t expected) {
        if (const std::int64_t found = signedIn(at(configuration_, name)); found < expected)
            differs(name, std::to_string(found), std::to_string(expected) + " or more");
    }
    // 0 and less: there is no limit.
    void unlimitedOrAtLeast(const char* name, std::int64_t expected) {
        const std::int64_t found = signedIn(at(configuration_, name));
        if (found > 0 && found < expected)
            differs(name, std::to_string(found), "none, or " + std::to_string(expected) + " or more");
    }
    void timeAtLeast(const char* name, std::chrono::nanoseconds expected, bool mayBeUnlimited) {
        const std::int64_t found = signedIn(at(configuration_, name));
        if (found < expected.count() && !(mayBeUnlimited && found == 0))
            differs(name, secondsOf(found), secondsOf(expected.count()) + " or more");
    }
    void none(const char* name) {
        if (const Json::Value& found = at(configuration_, name); !found.isNull() && found != Json::Value(""))
            differs(name, textOf(found), "none");
    }
    void noLimit(const char* name) {
        if (const std::int64_t found = signedIn(at(configuration_, name)); found > 0)
            differs(name, std::to_string(found), "no limit");
    }

    std::vector<std::string> all() && { return std::move(differences_); }

private:
    void differs(const std::string& name, const std::string& found, const std::string& expected) {
        differences_.push_back(name + ": " + found + "; expected " + expected);
    }

    const Json::Value& configuration_;
    std::vector<std::string> differences_;
};

}  // namespace

StreamSettings reliableStream(const std::string& system) {
    const std::string messages = system + ".rm.*";
    return {streamName(system, "rm"), {messages, messages + ".data.>"}, true, -1, reliableStay, repeatsKnown,
            reliableReplicas};
}

StreamSettings broadcastStream(const std::string& system) {
    return {streamName(system, "bc"), {Subjects(system).pieces()}, false, broadcastOctets, broadcastStay, {}, alone};
}

std::string consumerName(std::uint16_t type, unsigned long id) {
    return 't' + std::to_string(type) + '-' + idText(id);
}

ConsumerSettings reliableConsumer(const std::string& system, std::uint16_t type, unsigned long id) {
    return {consumerName(type, id), Subjects(system).reliable(id)};
}

Json::Value configurationOf(const StreamSettings& settings, int replicas) {
    Json::Value made;
    made["name"] = settings.name;
    made["subjects"] = textsOf(settings.subjects);
    made["retention"] = "limits";
    made["storage"] = "file";
    made["discard"] = settings.refusesWhenFull ? "new" : "old";
    made["max_bytes"] = Json::Int64{settings.octets};
    made["max_age"] = Json::Int64{settings.stay.count()};
    if (settings.repeatsKnown.count() != 0) made["duplicate_window"] = Json::Int64{settings.repeatsKnown.count()};
    made["allow_direct"] = true;
    made["num_replicas"] = replicas;
    return made;
}

Json::Value configurationOf(const ConsumerSettings& settings) {
    Json::Value made;
    made["durable_name"] = settings.name;
    made["filter_subject"] = settings.subject;
    made["deliver_policy"] = "all";
    made["replay_policy"] = "instant";
    made["ack_policy"] = "explicit";
    made["ack_wait"] = Json::Int64{settings.patience.count()};
    made["max_deliver"] = -1;
    made["max_ack_pending"] = 1;
    return made;
}

std::vector<std::string> deviations(const StreamSettings& expected, int replicas, const Json::Value& configuration) {
    const Json::Value wanted = configurationOf(expected, replicas);
    Comparison comparison(configuration);
    for (const char* name : {"subjects", "retention", "storage", "discard", "allow_direct"})
        comparison.same(name, wanted[name]);
    // A stream that drops what is old, and has no limit, leaves no room for others.
    if (!expected.refusesWhenFull)
        comparison.atLeast("max_bytes", static_cast<std::int64_t>(mostBroadcastOctets));
    else if (expected.octets > 0)
        comparison.same("max_bytes", wanted["max_bytes"]);
    comparison.timeAtLeast("max_age", expected.stay, true);
    comparison.timeAtLeast("duplicate_window", expected.repeatsKnown, false);
    comparison.noLimit("max_msgs_per_subject");
    comparison.unlimitedOrAtLeast("max_msg_size", mostPieceOctets + headerOctets);
    comparison.atLeast("num_replicas", replicas);
    return std::move(comparison).all();
}

std::vector<std::string> deviations(const ConsumerSettings& expected, const Json::Value& configuration) {
    const Json::Value wanted = configurationOf(expected);
    Comparison comparison(configuration);
    for (const char* name : {"filter_subject", "deliver_policy", "ack_policy", "max_deliver", "max_ack_pending"})
        comparison.same(name, wanted[name]);
    comparison.none("deliver_subject");
    comparison.timeAtLeast("ack_wait", expected.patience, false);
    return std::move(comparison).all();
}

}  // namespace frame::nats
