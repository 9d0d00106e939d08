// Records of broadcasts on their way through the server's stream, in pieces.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "bus/nats/broadcast_stream.h"
#include "bus/nats/headers.h"
#include "bus/nats/live_pieces.h"

namespace frame::nats {

class BroadcastStore {
public:
    BroadcastStore(Station& station, const std::string& system);

    struct Stored {
        std::optional<Announcement> announcement;  // when all pieces are in the stream
        std::string error;                         // else why they are not
    };
    Stored put(Exchange& exchange, std::uint16_t target, std::string_view record);

    struct Fetched {
        std::optional<Payload> record;  // whole, and what was announced
        std::string error;              // or why there is none: empty when the exchange was stopped
        std::size_t asked = 0;          // octets that were not there before they were asked for
    };
    // What is in `live` is taken from there.
    Fetched fetch(Exchange& exchange, LivePieces& live, std::uint16_t target, const Announcement& announcement) const;

private:
    class Fetching;

    // Sends all pieces, and hears that each is stored. Gives where the first one is.
    BroadcastStream::State send(Exchange& exchange, std::uint16_t target, Announcement& announcement,
                                std::string_view record) const;

    Station& station_;
    const BroadcastStream stream_;
    std::atomic<std::uint64_t> nextMessage_;
};

}  // namespace frame::nats
