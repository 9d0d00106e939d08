// Messages of the bus, as people and programs read them.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/nats.h"
#include "record_decoding.h"

namespace necctl {

// A kind of message by its name: "event", "reliable", "command", "broadcast".
const char* toText(frame::Overheard::Kind kind);
std::vector<std::string> kindNames();
frame::Overheard::Kind kindNamed(const std::string& name);

// What a message says. Refers to it.
struct Reading {
    const frame::Overheard& message;
    std::optional<unsigned long> id;
    const char* name;  // of what has such an identifier; empty: unknown
    Decoded record;
    bool guessed = false;  // its type fits, but nothing says that it is that one
    // Of a command message.
    struct Command {
        std::uint8_t kind;
        std::uint16_t requestId;
        std::uint8_t manager;
        std::string_view payload;  // without the zero behind a text
    };
    std::optional<Command> command;
    std::string error;  // empty, or why it is neither
};

// Records with more octets than `largest` are not decoded.
Reading read(const frame::Overheard& message, std::size_t largest);

// Of which messages is told. What is empty lets all pass.
struct Filter {
    std::vector<std::uint32_t> ids;
    std::vector<std::uint32_t> neIds;      // in lists of NEs
    std::vector<std::string> neAddresses;  // in texts of records and of command messages

    bool passes(const Reading& reading) const;
};

// One line each.
void writeText(std::ostream& os, const Reading& reading);
void writeJson(std::ostream& os, const Reading& reading);

}  // namespace necctl
