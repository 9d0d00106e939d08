// necctl bus setup: makes the streams and consumers, with a user who may.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "bus/nats/store_answers.h"
#include "bus/nats/streams.h"
#include "bus_client.h"
#include "bus_commands.h"
#include "bus_store.h"

namespace necctl {
namespace {

using frame::nats::at;
using frame::nats::ConsumerSettings;
using frame::nats::StreamSettings;

constexpr int noReplicas = 10074;  // the server says so when it belongs to no cluster
// The server says so also while its cluster has no leader yet, or does not know all of its nodes.
constexpr int noLeader = 10008;
constexpr int noPeers = 10005;

constexpr int mostTries = 6;
constexpr std::chrono::seconds pause{2};

struct SetupOptions {
    std::vector<std::string> receivers;
    std::uint64_t room = 0;  // of the stream of reliable messages; 0: it has no limit, or the one that it has
    bool update = false;
};

std::string textOf(const Json::Value& value) {
    return Json::writeString(Json::StreamWriterBuilder(), value);
}

class Setup {
public:
    Setup(const BusClient& client, const SetupOptions& options) : client_(client), options_(options) {}

    void stream(const StreamSettings& settings) {
        const Told told = ask("STREAM.INFO." + settings.name);
        if (told.missing) return makeStream(settings);
        require(told, settings.name);
        const int replicas = at(at(told.root, "cluster"), "name").isString() ? settings.replicas : frame::nats::alone;
        const Json::Value& found = at(told.root, "config");
        const auto differences = deviations(settings, replicas, found);
        if (differences.empty()) return say(settings.name, "is there");
        if (!options_.update) return tellDifferences(settings.name, differences);
        require(ask("STREAM.UPDATE." + settings.name, textOf(merged(found, wantedOf(settings, replicas, differences)))),
                settings.name);
        say(settings.name, "updated");
    }

    void consumer(const std::string& stream, const ConsumerSettings& settings) {
        const std::string place = stream + '.' + settings.name;
        const Told told = ask("CONSUMER.INFO." + place);
        if (!told.missing) require(told, settings.name);
        const auto differences =
            told.missing ? std::vector<std::string>() : deviations(settings, at(told.root, "config"));
        if (!told.missing && differences.empty()) return say(settings.name, "is there");
        if (!told.missing && !options_.update) return tellDifferences(settings.name, differences);
        Json::Value request;
        request["stream_name"] = stream;
        request["config"] = merged(at(told.root, "config"), configurationOf(settings));
        require(ask("CONSUMER.DURABLE.CREATE." + place, textOf(request)), settings.name);
        say(settings.name, told.missing ? "made" : "updated");
    }

    bool differs() const { return differs_; }

private:
    static bool says(const Told& told, int code) { return at(at(told.root, "error"), "err_code") == Json::Value(code); }
    // A cluster that has just been told of another number of copies may leave questions unanswered for a while, and one
    // that has just been started may not be complete. To make what is there already changes nothing.
    Told ask(const std::string& operation, const std::string& text = {}) const {
        Told told = askStore(client_, operation, text);
        for (int tries = 1; (told.silent || says(told, noLeader) || says(told, noPeers)) && tries < mostTries;
             ++tries) {
            if (!told.silent) std::this_thread::sleep_for(pause);
            told = askStore(client_, operation, text);
        }
        return told;
    }
    void makeStream(const StreamSettings& settings) {
        Told told;
        for (const int replicas : {settings.replicas, frame::nats::alone}) {
            told = ask("STREAM.CREATE." + settings.name, textOf(configurationOf(settings, replicas)));
            if (!says(told, noReplicas)) break;
        }
        require(told, settings.name);
        say(settings.name, "made");
    }
    // A limit that is right stays, whatever it is.
    static Json::Value wantedOf(const StreamSettings& settings, int replicas,
                                const std::vector<std::string>& differences) {
        Json::Value wanted = configurationOf(settings, replicas);
        const bool toChange = std::any_of(differences.begin(), differences.end(),
                                          [](const std::string& each) { return each.starts_with("max_bytes:"); });
        if (!toChange) wanted.removeMember("max_bytes");
        return wanted;
    }
    // What the site has chosen besides stays.
    static Json::Value merged(const Json::Value& found, const Json::Value& wanted) {
        Json::Value all = found.isObject() ? found : Json::Value(Json::objectValue);
        for (const std::string& name : wanted.getMemberNames()) all[name] = wanted[name];
        return all;
    }
    static void require(const Told& told, const std::string& name) {
        if (!told.error.empty()) throw Failure(unusable, name + ": " + told.error);
    }
    void tellDifferences(const std::string& name, const std::vector<std::string>& differences) {
        differs_ = true;
        for (const std::string& each : differences) say(name, each);
    }
    static void say(const std::string& name, const std::string& what) {
        std::cout << name << ": " << escaped(what) << '\n';
    }

    const BusClient& client_;
    const SetupOptions& options_;
    bool differs_ = false;
};

void setUp(const SetupOptions& chosen, const Options& options) {
    const frame::Config config = busConfig(options);
    if (config.busEngine == "local") throw Failure(wrongData, "bus.engine is \"local\": there is no broker");
    std::vector<Receiver> receivers = deliveredReceivers();
    for (const std::string& each : chosen.receivers) receivers.push_back(receiverOf(each));
    const BusClient client(addressOf(config), config.nats);
    StreamSettings reliable = frame::nats::reliableStream(config.nats.system);
    if (chosen.room != 0) reliable.octets = static_cast<std::int64_t>(chosen.room);
    Setup setup(client, chosen);
    setup.stream(reliable);
    setup.stream(frame::nats::broadcastStream(config.nats.system));
    for (const Receiver& each : receivers)
        setup.consumer(reliable.name, frame::nats::reliableConsumer(config.nats.system, each.type, each.id));
    if (setup.differs()) throw Failure(wrongData, "what is there has other settings; --update changes them");
}

}  // namespace

void addBusSetup(CLI::App& group, const Options& options) {
    const auto chosen = std::make_shared<SetupOptions>();
    CLI::App* setting = group.add_subcommand(
        "setup", "Make the streams and consumers that are missing; needs the administrator's user");
    setting
        ->add_option("--receiver", chosen->receivers,
                     "Another process type and the reliable message that it receives, TYPE:0xID")
        ->check([](const std::string& text) {
            receiverOf(text);
            return std::string();
        })
        ->allow_extra_args(false)
        ->type_name("RECEIVER");
    setting
        ->add_option("--room", chosen->room,
                     "How much the stream of reliable messages may hold, such as 10GB; bus check judges by it")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 50U))
        ->type_name("SIZE");
    setting->add_flag("--update", chosen->update, "Change those that have other settings");
    setting->callback([chosen, &options] { setUp(*chosen, options); });
}

}  // namespace necctl
