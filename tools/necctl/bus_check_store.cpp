#include <array>
#include <cstdio>

#include "bus/nats/store_answers.h"
#include "bus/nats/streams.h"
#include "bus_check.h"
#include "bus_commands.h"
#include "bus_store.h"

namespace necctl {
namespace {

using frame::nats::at;
using frame::nats::numberIn;
using frame::nats::StreamSettings;

const std::string remedy = "one that necctl bus setup makes";
constexpr std::uint64_t mostPercent = 90;

void tellDeviations(const std::string& about, const std::vector<std::string>& deviations, Findings& findings) {
    for (const std::string& each : deviations) {
        const std::size_t end = each.find("; expected ");
        findings.wrong(about, each.substr(0, end), each.substr(end + std::string("; expected ").size()));
    }
    if (deviations.empty()) findings.ok(about, "there, with the right settings");
}

std::int64_t limitIn(const Json::Value& object, const char* name) {
    const Json::Value& value = at(object, name);
    return value.isInt64() && value.asInt64() > 0 ? value.asInt64() : 0;
}

// False when there is no limit to judge by.
bool judgeRoom(const std::string& about, std::uint64_t used, std::int64_t limit, const char* unit, Findings& findings) {
    if (limit == 0) return false;
    const std::uint64_t percent = used * 100 / static_cast<std::uint64_t>(limit);
    findings.judge(percent < mostPercent, about,
                   std::to_string(percent) + "% of " + std::to_string(limit) + ' ' + unit + " used",
                   "less than " + std::to_string(mostPercent) + '%');
    return true;
}

// What all streams of the account together have.
bool judgeAccount(const BusClient& client, const std::string& about, Findings& findings) {
    const Told told = askStore(client, "INFO");
    return told.error.empty() && judgeRoom(about, numberIn(at(told.root, "storage")),
                                           limitIn(at(told.root, "limits"), "max_storage"), "octets", findings);
}

void checkRoom(const BusClient& client, const StreamSettings& settings, const Json::Value& stream, Findings& findings) {
    const std::string about = "stream " + settings.name + " room";
    const Json::Value& state = at(stream, "state");
    const Json::Value& configuration = at(stream, "config");
    if (!settings.refusesWhenFull) return findings.ok(about, "what is old goes when it is full");
    const bool octets =
        judgeRoom(about, numberIn(at(state, "bytes")), limitIn(configuration, "max_bytes"), "octets", findings);
    const bool messages =
        judgeRoom(about, numberIn(at(state, "messages")), limitIn(configuration, "max_msgs"), "messages", findings);
    if (!octets && !messages && !judgeAccount(client, about, findings))
        findings.cannotTell(about, std::to_string(numberIn(at(state, "bytes"))) +
                                       " octets used; it has no limit of its own, and what the server has left this "
                                       "user is not told");
}

bool isClustered(const Json::Value& stream) {
    return at(at(stream, "cluster"), "name").isString();
}

void checkStream(const BusClient& client, const StreamSettings& settings, Findings& findings) {
    const std::string about = "stream " + settings.name;
    const Told told = askStore(client, "STREAM.INFO." + settings.name);
    if (told.missing) return findings.wrong(about, "not there", remedy);
    if (told.refused) return findings.cannotTell(about, told.error);
    if (!told.error.empty()) return findings.wrong(about, told.error, "an answer");
    const int replicas = isClustered(told.root) ? settings.replicas : frame::nats::alone;
    tellDeviations(about, deviations(settings, replicas, at(told.root, "config")), findings);
    checkRoom(client, settings, told.root, findings);
}

// Those of this process's type; with an operator's user, all that there are to be.
void checkConsumers(const BusClient& client, const frame::Config& config, Findings& findings) {
    const std::string stream = frame::nats::reliableStream(config.nats.system).name;
    for (const Receiver& each : deliveredReceivers()) {
        const auto settings = frame::nats::reliableConsumer(config.nats.system, each.type, each.id);
        const bool own = each.type == config.process.type;
        bool complete = false;
        const auto found =
            consumersOf(client, stream, own ? std::vector{settings.name} : std::vector<std::string>(), complete);
        if (!own && !complete) continue;
        const std::string about = "consumer " + settings.name;
        const Json::Value* there = nullptr;
        for (const Json::Value& consumer : found)
            if (at(consumer, "name") == Json::Value(settings.name)) there = &consumer;
        if (there == nullptr)
            findings.wrong(about, "not there", remedy);
        else
            tellDeviations(about, deviations(settings, at(*there, "config")), findings);
    }
}

}  // namespace

void checkStore(const BusClient& client, const frame::Config& config, Findings& findings) {
    checkStream(client, frame::nats::reliableStream(config.nats.system), findings);
    checkStream(client, frame::nats::broadcastStream(config.nats.system), findings);
    checkConsumers(client, config, findings);
}

}  // namespace necctl
