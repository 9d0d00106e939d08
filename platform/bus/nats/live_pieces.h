// Pieces of broadcasts that the server sends on as they are published, before anybody knows what they belong to.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "bus/nats/handles.h"
#include "bus/nats/waiting.h"

namespace frame::nats {

// Holds those that came last, up to a limit; what is not here is fetched from the stream.
class LivePieces {
public:
    explicit LivePieces(const Limits& limits) : limits_(limits) {}

    void put(Message piece);
    // Null when it is not here (any more).
    Message take(const std::string& subject);
    void clear();

    std::size_t octets() const;

private:
    struct Held {
        Message piece;
        std::uint64_t number;
    };
    using Pieces = std::map<std::string, Held>;

    Message remove(Pieces::iterator piece);

    const Limits limits_;
    mutable std::mutex mutex_;
    Pieces pieces_;
    std::map<std::uint64_t, Pieces::iterator> order_;
    std::uint64_t next_ = 0;
    std::size_t octets_ = 0;
};

}  // namespace frame::nats
