// Asking another process, and waiting for what comes back.
#pragma once

#include "bus/nats/station.h"
#include "bus/requests.h"

namespace frame::nats {

class Asking {
public:
    using Clock = PendingRequest::Clock;

    explicit Asking(Station& station) : station_(station) {}

    // Sends `question` and waits for an answer of `to`, or of any process of that type.
    RequestCode ask(Outgoing question, const CProcID& to, Clock::time_point deadline, Payload& answer);
    // The same for what is not answered: ok when there is somebody whom the server handed it to.
    RequestCode tell(Outgoing message);
    // `found`: set, when the result is ok, to the address of a process that listens to `who`.
    RequestCode find(const std::string& who, std::uint16_t type, Clock::time_point deadline, CProcID& found);

    // All that wait are `down`, and with stop() all later ones too.
    void fail() { waiting_.fail(); }
    void stop() { waiting_.stop(); }

private:
    void take(Message message, const CProcID& from, PendingRequest& pending);

    Station& station_;
    WaitingRequests waiting_;
};

}  // namespace frame::nats
