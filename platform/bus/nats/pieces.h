// Messages that came in pieces: put together, whole or not at all.
#pragma once

#include <chrono>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "bus/nats/headers.h"
#include "platform/bus.h"

namespace frame::nats {

inline constexpr std::size_t mostPieceOctets = std::size_t{512} << 10U;
// What the headers take at most, of what the server passes on at once.
inline constexpr std::size_t headerOctets = 1024;

// Pieces of one message come in their order, as a server keeps the order of what one connection publishes; messages of
// several senders may come mixed. A piece that is missing or repeated gives its message up.
//
// What pieces it holds is bounded: by `most` octets, for which messages that have waited longest for their next piece
// are given up, and by the time that each may wait. So whoever sends pieces without an end takes neither memory nor the
// bus from others.
class Pieces {
public:
    using Clock = std::chrono::steady_clock;

    explicit Pieces(std::size_t most) : most_(most) {}

    // What became of a piece.
    struct Taken {
        std::optional<Payload> whole;  // with the last piece
        std::string error;             // empty, or why the message is given up
    };
    // `way`: which subject it came to.
    Taken take(const std::string& way, const CProcID& sender, const Piece& piece, std::string_view octets,
               Clock::time_point now = Clock::now());

    std::size_t octets() const;

private:
    struct Part {
        std::string way;
        CProcID sender;
        Piece last;
        std::string octets;
        Clock::time_point since;
    };
    using Parts = std::list<Part>;  // those that got a piece last are at the end

    Parts::iterator find(const std::string& way, const CProcID& sender, std::uint64_t message);
    Taken begin(const std::string& way, const CProcID& sender, const Piece& piece, std::string_view octets,
                Clock::time_point now);
    Taken add(Parts::iterator part, const Piece& piece, std::string_view octets, Clock::time_point now);
    void drop(Parts::iterator part);
    void makeRoom(std::size_t octets, Clock::time_point now);

    const std::size_t most_;
    mutable std::mutex mutex_;
    Parts parts_;
    std::size_t octets_ = 0;
};

}  // namespace frame::nats
