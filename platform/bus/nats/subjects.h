// The subjects of one system: who listens to what. All of one process's own stand in docs/interfaces/bus.asyncapi.yaml.
#pragma once

#include <string>
#include <string_view>

#include "platform/bus.h"

namespace frame::nats {

// The three subjects of one kind of message that goes to a process: requests ("rq") and command messages ("cm").
class Subjects {
public:
    explicit Subjects(std::string system) : prefix_(std::move(system) + '.') {}

    std::string event(unsigned long id) const;
    std::string reliable(unsigned long id) const;
    // Of a piece of a reliable message's record.
    std::string reliablePiece(unsigned long id, const std::string& identifier, std::uint32_t index) const;
    // Of what only takes up a number in the stream of reliable messages.
    std::string reliableFiller() const { return prefix_ + "rm.none.data.filler"; }
    // Handle 0: any process of the type. Those of a type are one queue group there.
    std::string to(const char* kind, const CProcID& address) const;
    // All processes at once.
    std::string everybody(const char* kind) const { return prefix_ + kind; }
    // Whether a process of a type is there; one that is tells its address. Those of a type are one queue group here
    // too.
    std::string who(const char* kind, std::uint16_t type) const;
    std::string who(const char* kind, std::uint16_t type, unsigned long id) const;
    // Where broadcasts to a target are told of.
    std::string announcements(std::uint16_t target) const;
    // A piece of a broadcast, and those of all broadcasts, to a target or to any.
    std::string piece(std::uint16_t target, std::uint64_t message, std::uint32_t index) const;
    std::string pieces(std::uint16_t target) const;
    std::string pieces() const { return prefix_ + "bc.*.data.*"; }
    // All events, reliable messages, command messages with what is asked about those, and announced broadcasts.
    std::string events() const { return prefix_ + "ev.*"; }
    std::string reliables() const { return prefix_ + "rm.*"; }
    std::string commands() const { return prefix_ + "cm.*.*"; }
    std::string announcements() const { return prefix_ + "bc.*.announce"; }
    // What stands in `subject` behind the kind. Empty when it is too short to be one of these: the server delivers what
    // its store holds under the subject that it has there.
    std::string_view behindKind(std::string_view subject) const;
    static std::string group(std::uint16_t type) { return 't' + std::to_string(type); }

private:
    const std::string prefix_;
};

// Whether `text` is a subject that names one place: tokens of letters, digits, _ and - between dots.
bool isSubject(const std::string& text);
// Whether answers may come below `inbox`: not where the system's own messages go, nor where light ones tell their
// sender.
bool mayBeInbox(const std::string& inbox, const std::string& system);
// Whether `url` is "nats://HOST:PORT" or "tls://HOST:PORT", without user and password.
bool isServer(const std::string& url);

inline constexpr const char* requestKind = "rq";
inline constexpr const char* commandKind = "cm";

}  // namespace frame::nats
