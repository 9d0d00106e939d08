// necctl reliable: looking at the outbox of the reliable channel.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <iomanip>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "platform/config.h"
#include "platform/reliable.h"
#include "process.h"
#include "time_text.h"

namespace necctl {
namespace {

std::string outboxOf(const std::string& configFile) {
    try {
        return requireOutbox(frame::readConfig(configFile), configFile);
    } catch (const frame::ConfigError& error) {
        throw Failure(unusable, error.what());
    }
}

frame::OutboxSummary summaryOf(const std::string& file, std::size_t most) {
    try {
        return frame::readOutbox(file, most);
    } catch (const std::runtime_error& error) {
        throw Failure(unusable, error.what());
    }
}

void writeJson(const std::string& file, const frame::OutboxSummary& summary) {
    Json::Value json;
    json["file"] = file;
    json["depth"] = summary.depth;
    json["oldest"] = Json::nullValue;
    if (summary.oldestIdentifier && summary.oldestUnixMilliseconds) {
        json["oldest"]["identifier"] = *summary.oldestIdentifier;
        json["oldest"]["accepted"] = timeText(*summary.oldestUnixMilliseconds);
    }
    json["waiting"] = Json::arrayValue;
    for (const auto& message : summary.waiting) {
        Json::Value entry;
        entry["identifier"] = message.identifier;
        entry["message"] = Json::UInt64{message.id};
        entry["accepted"] = timeText(message.unixMilliseconds);
        entry["octets"] = message.octets;
        json["waiting"].append(entry);
    }
    std::cout << json << '\n';
}

void writeText(const std::string& file, const frame::OutboxSummary& summary) {
    std::cout << "file    " << file << "\ndepth   " << summary.depth << "\noldest  ";
    if (summary.oldestIdentifier && summary.oldestUnixMilliseconds) {
        std::cout << timeText(*summary.oldestUnixMilliseconds) << "  " << *summary.oldestIdentifier << '\n';
    } else {
        std::cout << "none\n";
    }
    for (const auto& message : summary.waiting) {
        std::cout << "waits   " << timeText(message.unixMilliseconds) << "  " << message.identifier << "  message 0x"
                  << std::hex << std::uppercase << message.id << std::dec << ", " << message.octets << " octets\n";
    }
}

void show(std::size_t most, const Options& options) {
    const std::string file = outboxOf(options.config);
    const frame::OutboxSummary summary = summaryOf(file, most);
    options.json ? writeJson(file, summary) : writeText(file, summary);
    if (summary.depth > summary.waiting.size()) {
        options.say(std::to_string(summary.depth - summary.waiting.size()) + " more waiting; see --most");
    }
}

}  // namespace

void addReliableCommands(CLI::App& app, const Options& options) {
    const auto most = std::make_shared<std::uint32_t>(100);
    CLI::App* group = app.add_subcommand("reliable", "The reliable channel")->require_subcommand(1);
    CLI::App* showing = group->add_subcommand("show", "What waits in the outbox that the configuration names");
    showing->add_option("--most", *most, "How many messages are listed, oldest first")
        ->capture_default_str()
        ->type_name("N");
    showing->callback([most, &options] { show(*most, options); });
}

}  // namespace necctl
