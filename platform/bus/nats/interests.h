// What this process listens to: kept while connections come and go.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bus/nats/complaints.h"
#include "bus/nats/handles.h"
#include "bus/nats/waiting.h"

namespace frame::nats {

class Interests {
public:
    // Called on a thread of the client; must return soon. What it throws is logged.
    using Handler = std::function<void(Message)>;
    using Key = std::uint64_t;

    explicit Interests(const Limits& limits) : limits_(limits) {}
    // Close the connection first.
    ~Interests();
    Interests(const Interests&) = delete;
    Interests& operator=(const Interests&) = delete;

    // When it returns the server knows, if there is one. `group`: empty, or the queue group.
    Key add(std::string subject, std::string group, Handler handler);
    // When it returns the server does not send any more; the handler may still be running.
    void remove(Key key);
    // There are none any more, and no handler is running.
    void clear();

    // All that is listened to is listened to on this connection.
    void attach(const Connection& connection);
    // How many messages the client dropped on the way to the handlers.
    std::uint64_t dropped() const;

private:
    struct Interest {
        std::string subject;
        std::string group;
        std::shared_ptr<const Handler> handler;
        SubscriptionHandle subscription;
    };
    struct Closure {
        Interests& owner;
        std::shared_ptr<const Handler> handler;
    };

    void subscribe(Interest& interest);
    void finish(Closure* closure);
    void waitForHandlers();
    void unsubscribe(Interest& interest);
    std::uint64_t droppedBy(const Interest& interest) const;
    // Waits until the server knows what is listened to.
    void flush();

    const Limits limits_;
    Complaints failures_;
    mutable std::mutex mutex_;
    std::map<Key, Interest> interests_;
    // What ended. The client's reading thread may still be about to look at one, until an answer of the server's to
    // something later has passed it.
    std::vector<SubscriptionHandle> ended_;
    Key next_ = 0;
    Connection connection_;
    std::uint64_t droppedBefore_ = 0;
    bool cleared_ = false;
    bool answers_ = true;  // the server did in time, the last time

    std::mutex closuresMutex_;
    std::condition_variable finished_;
    std::size_t closures_ = 0;
    std::vector<std::unique_ptr<Closure>> orphans_;  // of subscriptions that closed before they were complete
};

}  // namespace frame::nats
