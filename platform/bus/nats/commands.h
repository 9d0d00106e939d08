// Command messages between processes.
#pragma once

#include <vector>

#include "bus/commands.h"
#include "bus/nats/asking.h"
#include "bus/nats/station.h"

namespace frame::nats {

class Commands {
public:
    struct Received {
        Sinks<CommandSink>::Ticket ticket;
        std::vector<Interests::Key> keys;
    };

    explicit Commands(Station& station) : station_(station), asking_(station), receiver_(station.address()) {}

    RequestCode send(const CProcID& to, const Payload& message);
    // Throws std::logic_error when there is a sink.
    Received receive(CommandSink sink);
    void end(const Received& received);

    void isLost() { asking_.fail(); }

private:
    std::vector<Interests::Key> listen();

    Station& station_;
    Asking asking_;
    CommandReceiver receiver_;
};

}  // namespace frame::nats
