// Requests between processes.
#pragma once

#include <mutex>
#include <vector>

#include "bus/nats/asking.h"
#include "bus/nats/station.h"
#include "bus/requests.h"

namespace frame::nats {

class Requests {
public:
    // One request that is served.
    struct Served {
        Sinks<RequestSink>::Ticket ticket;
        Interests::Key key;
    };

    explicit Requests(Station& station)
        : station_(station), asking_(station), server_(station.address(), [&station] { station.hurry(); }) {}

    RequestCode request(const CProcID& to, const RequestMessage& message, int timeoutSeconds, Payload& answer);
    // Throws std::logic_error when `id` has a sink.
    Served serve(unsigned long id, RequestSink sink);
    void end(const Served& served);

    void isLost() { asking_.fail(); }
    void stopAsking() { asking_.stop(); }
    // What is not answered by now is refused.
    void stopServing() { server_.stop(); }

private:
    using Clock = PendingRequest::Clock;

    RequestCode ask(const CProcID& to, const RequestMessage& message, Clock::time_point deadline, Payload& answer);
    void listen();
    void take(const CProcID& to, const std::shared_ptr<Room>& room, Incoming message);

    Station& station_;
    Asking asking_;
    RequestServer server_;
    std::mutex mutex_;
    std::size_t served_ = 0;
    std::vector<Interests::Key> keys_;  // while anything is served
};

}  // namespace frame::nats
