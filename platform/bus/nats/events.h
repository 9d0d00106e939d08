// Events between processes.
#pragma once

#include <map>
#include <mutex>

#include "bus/nats/station.h"
#include "bus/sinks.h"

namespace frame::nats {

class Events {
public:
    using Ticket = Sinks<EventSink>::Ticket;

    explicit Events(Station& station) : station_(station) {}

    BusCode publish(const EventMessage& event);
    Ticket subscribe(unsigned long id, EventSink sink);
    void end(unsigned long id, const Ticket& ticket);

private:
    // Who of this process takes one identifier.
    struct Taken {
        std::size_t sinks = 0;
        Interests::Key key = 0;
    };

    Interests::Key listen(unsigned long id);
    void call(const EventMessage& event);

    Station& station_;
    SinkTable<EventSink> sinks_;
    std::mutex mutex_;
    std::map<unsigned long, Taken> taken_;
};

}  // namespace frame::nats
