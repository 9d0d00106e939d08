#include "event/manager.h"

#include <new>

#include "bus/received.h"
#include "bus/thrown.h"
#include "platform/log.h"

namespace frame {

namespace {

constexpr std::uint32_t lostEvent = 0xFFFFFFFF;

void logHandlerFailure(const Event& event, const std::string& what) {
    LogProcess::Error(lostEvent,
                      "handler of event " + idText(event.id) + " from " + toText(event.sender) + " threw " + what,
                      {__FILE__, __func__, __LINE__});
}

void callGuarded(const EventHandler& handler, const Event& event) {
    try {
        handler(event);
    } catch (...) {
        logHandlerFailure(event, thrownText());
    }
}

}  // namespace

EventManager::EventManager(BusEngine* bus, CProcID self) : bus_(bus), self_(self), thread_([this] { deliverAll(); }) {}

EventManager::~EventManager() = default;

int EventManager::raise(unsigned long id, Payload record) {
    const auto* handlers = handlers_.find(id);
    bool taken = handlers == nullptr || handlers->empty() || queue_.push(id, self_, record);
    if (bus_ != nullptr && bus_->publishEvent({id, self_, std::move(record)}) != BusCode::ok) taken = false;
    return taken ? teEventRaised : teEventOverflow;
}

Subscription EventManager::subscribe(unsigned long id, EventHandler handler) {
    auto added = std::make_unique<Handler>(Handler{std::move(handler), queue_.next()});
    openRoute(id);
    const auto ticket = handlers_.at(id).add(std::move(added), this);
    return Subscription([self = shared_from_this(), ticket, id] {
        ticket.end();
        self->closeRoute(id);
    });
}

// The mutex is held while the bus waits for its sink to return; the sink takes only the queue's.
void EventManager::openRoute(unsigned long id) {
    if (bus_ == nullptr) return;
    const std::lock_guard lock(routesMutex_);
    Route& route = routes_[id];
    if (route.handlers == 0)
        route.subscription = bus_->subscribeEvent(
            id, [this](const EventMessage& event) { queue_.push(event.id, event.sender, event.record); });
    ++route.handlers;
}

void EventManager::closeRoute(unsigned long id) {
    const std::lock_guard lock(routesMutex_);
    const auto route = routes_.find(id);
    if (route != routes_.end() && --route->second.handlers == 0) routes_.erase(route);
}

void EventManager::stop() {
    {
        const std::lock_guard lock(routesMutex_);
        routes_.clear();
    }
    queue_.stop();
    thread_.join();
}

void EventManager::deliverAll() {
    std::uint64_t number = 0;
    while (auto* batch = queue_.take()) {
        reportRefused();
        for (WaitingEvent& waiting : *batch) {
            if (queue_.stopped()) return;
            deliver(waiting, number++);
        }
    }
}

void EventManager::deliver(WaitingEvent& waiting, std::uint64_t number) {
    const std::size_t octets = waiting.octets();
    try {
        const Event event = waiting.take();  // its memory goes back before the next one is handled
        if (auto* handlers = handlers_.find(event.id))
            handlers->each([&](const Handler& handler, const auto&) {
                if (number >= handler.from) callGuarded(handler.call, event);
            });
    } catch (const std::bad_alloc&) {
        LogProcess::Error(lostEvent, "out of memory: an event was dropped", {__FILE__, __func__, __LINE__});
    }
    queue_.handled(octets);
}

void EventManager::reportRefused() {
    if (const std::uint64_t refused = queue_.refused(); refused != 0)
        LogProcess::Error(lostEvent, "event queue was full: " + std::to_string(refused) + " events dropped",
                          {__FILE__, __func__, __LINE__});
}

}  // namespace frame
