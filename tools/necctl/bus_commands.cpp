// necctl bus: the brokers, what they store, and the processes that they connect.
#include "bus_commands.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cstdio>

#include "commands.h"
#include "failure.h"

namespace necctl {
namespace {

// One NE handed from one process to another.
constexpr unsigned long transferMessage = 0xB0762A;
constexpr std::uint16_t managerType = 3002;
constexpr std::uint16_t listenerType = 3004;

template <class Number>
bool read(std::string_view text, int base, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && stop == end;
}

}  // namespace

frame::Config busConfig(const Options& options) {
    try {
        return frame::readConfig(options.config);
    } catch (const frame::ConfigError& error) {
        throw Failure(unusable, error.what());
    }
}

CProcID addressOf(const frame::Config& config) {
    return {config.process.type, config.process.handle};
}

std::vector<Receiver> deliveredReceivers() {
    return {{managerType, transferMessage}, {listenerType, transferMessage}};
}

Receiver receiverOf(const std::string& text) {
    const std::size_t colon = text.find(":0x");
    Receiver receiver{};
    if (colon == std::string::npos || !read(std::string_view(text).substr(0, colon), 10, receiver.type) ||
        !read(std::string_view(text).substr(colon + 3), 16, receiver.id) || receiver.type == 0)
        throw CLI::ValidationError("\"" + text + "\"; expected TYPE:0xID, such as 3002:0xB0762A");
    return receiver;
}

std::string millisecondsText(double milliseconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.2f ms", milliseconds);
    return text.data();
}

void addBusCommands(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("bus", "The bus between processes, and its brokers")->require_subcommand(1);
    addBusStatus(*group, options);
    addBusCheck(*group, options);
    addBusSetup(*group, options);
}

}  // namespace necctl
