// The embedded engine: one hub that all processes of a bus share, and a place on it for each.
#include <algorithm>
#include <mutex>
#include <stdexcept>

#include "bus/sinks.h"
#include "platform/bus.h"

namespace frame {

namespace {

// A reliable sink, called for one message at a time.
class Receiver {
public:
    explicit Receiver(ReliableSink sink) : sink_(std::move(sink)) {}

    // What became of `message` here. `door`: the receiver's own.
    Delivery take(const ReliableMessage& message, const Door<Receiver>& door) {
        if (Running::depth(&door) > 1) return Delivery::refused;  // published inside this very sink
        const std::lock_guard lock(turn_);
        if (!door.isOpen()) return Delivery::noReceiver;
        return sink_(message) ? Delivery::done : Delivery::refused;
    }

private:
    std::mutex turn_;
    ReliableSink sink_;
};

// What became of a message at two sets of receivers.
Delivery together(Delivery a, Delivery b) {
    if (a == Delivery::refused || b == Delivery::refused) return Delivery::refused;
    return a == Delivery::noReceiver ? b : a;
}

using Watcher = std::function<void()>;

}  // namespace

class LocalBus::Hub {
public:
    void join(CProcID address) {
        const std::lock_guard lock(mutex_);
        if (std::find(addresses_.begin(), addresses_.end(), address) != addresses_.end())
            throw std::invalid_argument("address " + toText(address) + " is taken on this bus");
        addresses_.push_back(address);
    }

    void leave(CProcID address) {
        const std::lock_guard lock(mutex_);
        addresses_.erase(std::find(addresses_.begin(), addresses_.end(), address));
    }

    SinkTable<EventSink> events;
    SinkTable<Receiver> receivers;
    Sinks<Watcher> watchers;

private:
    std::mutex mutex_;
    std::vector<CProcID> addresses_;
};

class LocalBus::Engine final : public BusEngine {
public:
    Engine(std::shared_ptr<Hub> hub, CProcID address) : hub_(std::move(hub)), address_(address) {
        hub_->join(address_);
    }

    ~Engine() override {
        hub_->events.endOwned(this);
        hub_->receivers.endOwned(this);
        hub_->watchers.endOwned(this);
        hub_->leave(address_);
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    CProcID address() const override { return address_; }

    BusCode publishEvent(const EventMessage& event) override {
        if (auto* sinks = hub_->events.find(event.id))
            sinks->eachOfOthers(this, [&event](const EventSink& sink, const auto&) { sink(event); });
        return BusCode::ok;
    }

    Subscription subscribeEvent(unsigned long id, EventSink sink) override {
        return subscription(hub_->events.at(id).add(std::make_unique<EventSink>(std::move(sink)), this));
    }

    Delivery publishReliable(const ReliableMessage& message) override {
        Delivery delivery = Delivery::noReceiver;
        if (auto* receivers = hub_->receivers.find(message.id))
            receivers->each([&](Receiver& receiver, const Door<Receiver>& door) {
                delivery = together(delivery, receiver.take(message, door));
            });
        return delivery;
    }

    Subscription subscribeReliable(unsigned long id, ReliableSink sink) override {
        auto made = subscription(hub_->receivers.at(id).add(std::make_unique<Receiver>(std::move(sink)), this));
        hub_->watchers.each([](const Watcher& changed, const auto&) { changed(); });
        return made;
    }

    Subscription watchReliable(std::function<void()> changed) override {
        return subscription(hub_->watchers.add(std::make_unique<Watcher>(std::move(changed)), this));
    }

private:
    // Tokens may outlive the engine and the bus: they hold on to the hub.
    template <class Ticket>
    Subscription subscription(Ticket ticket) {
        return Subscription([hub = hub_, ticket] { ticket.end(); });
    }

    std::shared_ptr<Hub> hub_;
    CProcID address_;
};

LocalBus::LocalBus() : hub_(std::make_shared<Hub>()) {}

LocalBus::~LocalBus() = default;

std::unique_ptr<BusEngine> LocalBus::connect(CProcID address) {
    return std::make_unique<Engine>(hub_, address);
}

}  // namespace frame
