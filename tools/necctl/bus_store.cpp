#include "bus_store.h"

#include "bus/nats/store_answers.h"

namespace necctl {
namespace {

using frame::nats::at;

constexpr std::size_t mostConsumers = 10000;

std::string from(std::size_t offset) {
    return "{\"offset\":" + std::to_string(offset) + '}';
}

std::vector<Json::Value> consumersNamed(const BusClient& client, const std::string& stream,
                                        const std::vector<std::string>& names) {
    std::vector<Json::Value> found;
    for (const std::string& name : names) {
        std::string operation = "CONSUMER.INFO." + stream;
        if (Told told = askStore(client, operation.append(".").append(name)); told.error.empty())
            found.push_back(std::move(told.root));
    }
    return found;
}

}  // namespace

Told askStore(const BusClient& client, const std::string& operation, const std::string& text) {
    const BusClient::Answer came = client.ask("$JS.API." + operation, text);
    if (came.refused) return {{}, "this user may not ask for it", true};
    frame::nats::StoreAnswer answer = frame::nats::readAnswer(came.message, "the server has no JetStream");
    const bool missing = answer.isNotFound();
    return {std::move(answer.root), std::move(answer.error), false, missing, !came.message};
}

// The server tells of so many at once as it likes to.
std::vector<Json::Value> consumersOf(const BusClient& client, const std::string& stream,
                                     const std::vector<std::string>& names, bool& complete) {
    std::vector<Json::Value> all;
    for (complete = false; all.size() < mostConsumers;) {
        const Told told = askStore(client, "CONSUMER.LIST." + stream, from(all.size()));
        if (told.refused && all.empty()) return consumersNamed(client, stream, names);
        const Json::Value& some = at(told.root, "consumers");
        complete = told.error.empty();
        if (!some.isArray() || some.empty()) break;
        for (const Json::Value& each : some) all.push_back(each);
        if (all.size() >= frame::nats::numberIn(at(told.root, "total"))) break;
    }
    return all;
}

}  // namespace necctl
