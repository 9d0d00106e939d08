#include "bus/nats/events.h"

#include <memory>
#include <utility>

namespace frame::nats {

namespace {

// No record of an event is nearly that large: the server's limit and the receivers' memory are for all.
constexpr std::size_t mostEventOctets = mostRequestOctets;

}  // namespace

BusCode Events::publish(const EventMessage& event) {
    if (event.record.size() > mostEventOctets) return BusCode::tooLarge;
    const std::string subject = station_.subjects().event(event.id);
    return station_.sendLight(subject, event.record.view()) ? BusCode::ok : BusCode::down;
}

Events::Ticket Events::subscribe(unsigned long id, EventSink sink) {
    const auto ticket = sinks_.at(id).add(std::make_unique<EventSink>(std::move(sink)), this);
    const std::lock_guard lock(mutex_);
    Taken& taken = taken_[id];
    if (taken.sinks++ == 0) taken.key = listen(id);
    return ticket;
}

void Events::end(unsigned long id, const Ticket& ticket) {
    ticket.end();
    const std::lock_guard lock(mutex_);
    const auto found = taken_.find(id);
    if (--found->second.sinks != 0) return;
    station_.ignore(found->second.key);
    taken_.erase(found);
}

Interests::Key Events::listen(unsigned long id) {
    constexpr bool own = false;  // the own process has heard of it
    return station_.listenInTurn(station_.subjects().event(id), "", own, [this, id](Incoming message) {
        call({id, message.sender, std::move(message.record)});
    });
}

void Events::call(const EventMessage& event) {
    if (auto* sinks = sinks_.find(event.id)) sinks->each([&event](const EventSink& sink, const auto&) { sink(event); });
}

}  // namespace frame::nats
