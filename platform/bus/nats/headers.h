// What stands in a message's headers, as texts: anybody on the bus can write any text there.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bus.h"

namespace frame::nats {

inline constexpr const char* senderHeader = "Nec-Sender";        // 3001.7
inline constexpr const char* idHeader = "Nec-Id";                // 0x217006
inline constexpr const char* deadlineHeader = "Nec-Deadline";    // milliseconds that the sender waits from sending on
inline constexpr const char* pieceHeader = "Nec-Piece";          // MESSAGE INDEX COUNT OCTETS
inline constexpr const char* broadcastHeader = "Nec-Broadcast";  // MESSAGE COUNT OCTETS HASH, of pieces in a store
inline constexpr const char* wholeHeader = "Nec-Whole";  // COUNT OCTETS: of a record that stands in pieces elsewhere
inline constexpr const char* identifierHeader = "Nats-Msg-Id";  // of reliable messages: the server drops repeats by it
inline constexpr const char* resultHeader = "Nec-Result";       // of answers: "ok" or "none", nobody takes the request

// The server's, with what it gives from a stream on request: the stream's name, and the subject of the message there.
inline constexpr const char* storedHeader = "Nats-Stream";
inline constexpr const char* storedSubjectHeader = "Nats-Subject";

// A light message has no headers, as they take the client longer than all the rest of a small message. It says who
// sends it where NATS has the place for answers: from.3001.7, where nobody listens.
inline constexpr std::string_view fromMark = "from.";

inline constexpr const char* resultOk = "ok";
inline constexpr const char* resultNone = "none";

// One piece of a message that is larger than what the server passes on at once.
struct Piece {
    std::uint64_t message = 0;  // which message of its sender
    std::uint32_t index = 0;    // from 0
    std::uint32_t count = 0;    // how many pieces there are
    std::uint32_t octets = 0;   // in all pieces together

    bool operator==(const Piece&) const = default;
};

// A broadcast whose record the server's store holds, in pieces of one size but for the last.
struct Announcement {
    std::uint64_t message = 0;  // which message its pieces belong to
    std::uint32_t count = 0;    // how many there are
    std::uint32_t octets = 0;   // in all pieces together
    std::string hash;           // of those octets, see hash.h

    // How large the pieces are, but for the last one, which may be smaller.
    std::uint32_t pieceOctets() const { return (octets + count - 1) / count; }
    std::uint32_t octetsOf(std::uint32_t index) const {
        return index + 1 < count ? pieceOctets() : octets - pieceOctets() * (count - 1);
    }
    bool operator==(const Announcement&) const = default;
};

// A record that stands in pieces elsewhere.
struct Whole {
    std::uint32_t count = 0;
    std::uint32_t octets = 0;
};

// The process type, handle or target that all of `text` writes.
std::optional<std::uint16_t> readPart(std::string_view text);

// What each header says; nothing for any other text than those that the functions below write.
std::optional<CProcID> readAddress(std::string_view text);
std::optional<unsigned long> readId(std::string_view text);
std::optional<std::chrono::milliseconds> readDeadline(std::string_view text);
std::optional<Piece> readPiece(std::string_view text);
std::optional<Announcement> readAnnouncement(std::string_view text);
std::optional<Whole> readWhole(std::string_view text);
// Whether it can stand in a subject.
bool isIdentifier(std::string_view text);

std::string writeAddress(const CProcID& address);
std::string writePiece(const Piece& piece);
std::string writeAnnouncement(const Announcement& announcement);
std::string writeWhole(const Whole& whole);

}  // namespace frame::nats
