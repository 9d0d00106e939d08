// One event manager: its subscribers, its queue and the thread that delivers.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "bus/sinks.h"
#include "event/queue.h"
#include "platform/event.h"

namespace frame {

// Tokens of subscriptions hold on to it, so that they may outlive it; once stopped it does nothing any more.
class EventManager : public std::enable_shared_from_this<EventManager> {
public:
    // `bus`: what events go through; it must outlive stop(). Null: events stay inside the process. `self`: the sender
    // that events inside the process carry.
    EventManager(BusEngine* bus, CProcID self);
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    int raise(unsigned long id, Payload record);
    Subscription subscribe(unsigned long id, EventHandler handler);

    // Takes no more events, drops those not yet handled, waits for a handler that is running. Once, and not while any
    // other operation but the end of subscriptions may run.
    void stop();

private:
    struct Handler {
        EventHandler call;
        std::uint64_t from;  // the number of the first event raised after it subscribed
    };
    using Handlers = SinkTable<Handler>;

    // The one subscription to other processes' events with an identifier, while somebody here handles it.
    struct Route {
        unsigned handlers = 0;
        Subscription subscription;
    };

    void openRoute(unsigned long id);
    void closeRoute(unsigned long id);
    void deliverAll();
    void deliver(WaitingEvent& waiting, std::uint64_t number);
    void reportRefused();

    BusEngine* bus_;
    CProcID self_;
    EventQueue queue_;
    Handlers handlers_;
    std::mutex routesMutex_;
    std::map<unsigned long, Route> routes_;
    std::thread thread_;
};

}  // namespace frame
