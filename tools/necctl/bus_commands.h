// What the commands of the group "bus" have in common.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "options.h"
#include "platform/config.h"

namespace necctl {

// Throws Failure.
frame::Config busConfig(const Options& options);
CProcID addressOf(const frame::Config& config);

// Process types and the reliable messages that they receive: those of the system as it is delivered.
struct Receiver {
    std::uint16_t type;
    unsigned long id;
};
std::vector<Receiver> deliveredReceivers();
// "3002:0xB0762A". Throws CLI::ValidationError.
Receiver receiverOf(const std::string& text);

std::string millisecondsText(double milliseconds);

void addBusStatus(CLI::App& group, const Options& options);
void addBusCheck(CLI::App& group, const Options& options);
void addBusSetup(CLI::App& group, const Options& options);

}  // namespace necctl
