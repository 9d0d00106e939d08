// The stream at the server that holds the pieces of broadcasts: what came last, up to its size, for a limited time. A
// process makes it when it is not there and the server lets it; else an administrator does.
#pragma once

#include <string>

#include "bus/nats/exchange.h"
#include "bus/nats/streams.h"

namespace frame::nats {

class BroadcastStream {
public:
    explicit BroadcastStream(const std::string& system) : settings_(broadcastStream(system)) {}

    // What the server says; `error` is empty, or says why the stream cannot be used.
    struct State {
        std::uint64_t sequence = 0;
        std::string error;
    };
    // Where it begins now, if it can hold `octets`. Makes it when it is not there.
    State look(Exchange& exchange, std::size_t octets) const;
    // Which one a piece became.
    State acknowledged(Exchange& exchange, Exchange::Question& question) const;
    // Where to ask for the piece with that subject.
    std::string getting(const std::string& piece) const;

private:
    State make(Exchange& exchange, std::size_t octets) const;
    State because(const std::string& error) const { return {0, "stream " + settings_.name + ": " + error}; }

    const StreamSettings settings_;
};

}  // namespace frame::nats
