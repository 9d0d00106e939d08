#include "reliable/receiver.h"

#include "bus/door.h"
#include "bus/sinks.h"
#include "bus/thrown.h"
#include "platform/log.h"

namespace frame {

RecentIdentifiers::RecentIdentifiers(const std::vector<std::string>& oldestFirst) {
    for (const std::string& identifier : oldestFirst) add(identifier);
}

bool RecentIdentifiers::contains(std::string_view identifier) const {
    const std::lock_guard lock(mutex_);
    return known_.count(identifier) != 0;
}

void RecentIdentifiers::add(const std::string& identifier) {
    const std::lock_guard lock(mutex_);
    known_.insert(arrived_.emplace_back(identifier));
    if (arrived_.size() <= inboxCapacity) return;
    known_.erase(arrived_.front());
    arrived_.pop_front();
}

// The handlers of one message identifier, and their place on the bus while there is at least one.
class Receiver::Topic {
public:
    explicit Topic(Receiver& receiver) { door_.open(receiver); }

    Sinks<ReliableHandler>::Ticket add(ReliableHandler handler) {
        return handlers_.add(std::make_unique<ReliableHandler>(std::move(handler)), this);
    }

    // Counts a handler; takes the place on the bus for the first one.
    void join(BusEngine& bus, unsigned long id, const std::shared_ptr<Topic>& self) {
        const std::lock_guard lock(mutex_);
        if (handlerCount_ == 0)
            place_ = bus.subscribeReliable(id, [self](const ReliableMessage& message) { return self->take(message); });
        ++handlerCount_;
    }

    // Gives the place back after the last one.
    void leave() {
        Subscription given;  // ends, and waits for its sink, when the mutex is free again
        const std::lock_guard lock(mutex_);
        if (--handlerCount_ == 0) given = std::move(place_);
    }

    // After this returns no handler is running, and none will be called.
    void close() {
        door_.close();
        Subscription given;
        const std::lock_guard lock(mutex_);
        given = std::move(place_);
    }

    // Whether all handlers, of which there must be one, are done with `event`.
    bool handle(const ReliableEvent& event);
    // One message at a time: a place just given back may still be in use while the next one is.
    std::mutex& turn() { return turn_; }

private:
    bool take(const ReliableMessage& message) {
        const auto receiver = door_.pin();
        return receiver && receiver->take(*this, message);
    }

    Door<Receiver> door_;
    Sinks<ReliableHandler> handlers_;
    std::mutex turn_;
    std::mutex mutex_;
    std::size_t handlerCount_ = 0;
    Subscription place_;
};

namespace {

constexpr std::uint32_t handlerFailed = 0xFFFFFFFF;

void logFailure(const ReliableEvent& event, const std::string& what) {
    LogProcess::Error(
        handlerFailed,
        "handler of reliable message " + std::to_string(event.id) + ' ' + event.identifier + " threw " + what,
        {__FILE__, __func__, __LINE__});
}

// It is done with.
bool drop(const ReliableMessage& repeat) {
    LogProcess::Debug("reliable message " + repeat.identifier + " came again and is dropped",
                      {__FILE__, __func__, __LINE__});
    return true;
}

bool call(const ReliableHandler& handler, const ReliableEvent& event) {
    try {
        return handler(event);
    } catch (...) {
        logFailure(event, thrownText());
        return false;
    }
}

}  // namespace

bool Receiver::Topic::handle(const ReliableEvent& event) {
    std::size_t called = 0;
    std::size_t done = 0;
    handlers_.each([&](const ReliableHandler& handler, const auto&) {
        ++called;
        if (call(handler, event)) ++done;
    });
    return called != 0 && done == called;
}

Receiver::Receiver(BusEngine& bus, Outbox& outbox) : bus_(bus), outbox_(outbox), handled_(outbox.inbox()) {}

Receiver::~Receiver() {
    for (const auto& [id, topic] : topics_) topic->close();
}

Subscription Receiver::subscribe(unsigned long id, ReliableHandler handler) {
    const auto topic = topicOf(id);
    const auto ticket = topic->add(std::move(handler));  // first: a message may come as soon as there is a place
    try {
        topic->join(bus_, id, topic);
    } catch (...) {
        ticket.end();
        throw;
    }
    return Subscription([topic, ticket] {
        ticket.end();
        topic->leave();
    });
}

std::shared_ptr<Receiver::Topic> Receiver::topicOf(unsigned long id) {
    const std::lock_guard lock(mutex_);
    auto& topic = topics_[id];
    if (!topic) topic = std::make_shared<Topic>(*this);
    return topic;
}

// Never throws: it is called by the bus.
bool Receiver::take(Topic& topic, const ReliableMessage& message) {
    const std::lock_guard turn(topic.turn());
    try {
        if (handled_.contains(message.identifier)) return drop(message);
        if (!topic.handle({message.identifier, message.id, message.sender, message.record})) return false;
        handled_.add(message.identifier);
        outbox_.handled(message.identifier);
        return true;
    } catch (const std::bad_alloc&) {
        return false;  // handed over again when there may be more memory
    }
}

}  // namespace frame
