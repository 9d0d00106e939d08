// What a process tells of itself to whoever asks for its state, and what is read of that: anybody on the bus can write
// anything there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/nats.h"

namespace frame::nats {

struct ProcessStatus {
    CProcID address;
    std::string host;  // the name of its machine
    std::uint64_t pid = 0;
    std::int64_t startedUnixMilliseconds = 0;
    NatsStatus bus;
    std::vector<std::pair<std::string, std::uint64_t>> more;  // what its services add: names, and numbers
};

inline constexpr std::size_t mostStatusOctets = 8192;

// A JSON object, not longer than that: long texts are cut, and so is `more`.
std::string writeStatus(const ProcessStatus& status);

// Nothing for any other text than a JSON object with all that a process tells. `more` has what it says besides, as far
// as those are numbers with a short name, in the order of their names.
std::optional<ProcessStatus> readStatus(std::string_view text);

}  // namespace frame::nats
