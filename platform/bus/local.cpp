// The embedded engine: one hub that all processes of a bus share, and a place on it for each.
#include <map>
#include <mutex>
#include <stdexcept>

#include "bus/broadcasts.h"
#include "bus/commands.h"
#include "bus/requests.h"
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
    // What others may send to a process directly.
    struct Place {
        explicit Place(CProcID address) : requests(address), commands(address) {}

        RequestServer requests;
        CommandReceiver commands;
    };

    std::shared_ptr<Place> join(CProcID address) {
        const std::lock_guard lock(mutex_);
        if (!processes_.try_emplace(addressKey(address)).second)
            throw std::invalid_argument("address " + toText(address) + " is taken on this bus");
        return processes_[addressKey(address)] = std::make_shared<Place>(address);
    }

    void leave(CProcID address) {
        const std::lock_guard lock(mutex_);
        processes_.erase(addressKey(address));
    }

    // The first process that `takes` says takes the message; null when there is none.
    template <class Takes>
    std::shared_ptr<Place> find(const Takes& takes) {
        const std::lock_guard lock(mutex_);
        for (const auto& [address, place] : processes_)
            if (takes(*place)) return place;
        return nullptr;
    }

    SinkTable<EventSink> events;
    SinkTable<Receiver> receivers;
    SinkTable<std::shared_ptr<BroadcastReceiver>> broadcasts;
    Sinks<Watcher> watchers;

private:
    static std::uint32_t addressKey(const CProcID& address) {
        return std::uint32_t{address.procType} << 16U | address.procHandle;
    }

    std::mutex mutex_;
    std::map<std::uint32_t, std::shared_ptr<Place>> processes_;
};

class LocalBus::Engine final : public BusEngine {
public:
    Engine(std::shared_ptr<Hub> hub, CProcID address)
        : hub_(std::move(hub)), address_(address), place_(hub_->join(address)) {}

    ~Engine() override {
        hub_->events.endOwned(this);
        hub_->receivers.endOwned(this);
        hub_->broadcasts.endOwned(this);
        broadcastReceivers_.stopAll();
        hub_->watchers.endOwned(this);
        hub_->leave(address_);
        place_->commands.end();
        place_->requests.stop();
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

    RequestCode request(const CProcID& to, const RequestMessage& message, int timeoutSeconds,
                        Payload& answer) override {
        if (message.record.size() > mostRequestOctets) return RequestCode::tooLarge;
        return requests_.with(message, [&](const std::shared_ptr<PendingRequest>& pending) {
            const auto place = hub_->find([&](Hub::Place& each) { return each.requests.takes(to, message.id); });
            if (!place) return RequestCode::noProcess;
            place->requests.push(pending);
            const RequestCode code = pending->wait(PendingRequest::deadlineIn(timeoutSeconds), answer);
            place->requests.forget(pending);
            return code;
        });
    }

    // Subscriptions may outlive the engine, as they hold on to its place.
    Subscription serveRequests(unsigned long id, RequestSink sink) override {
        return Subscription([place = place_, ticket = place_->requests.add(id, std::move(sink))] { ticket.end(); });
    }

    void stopRequests() override { requests_.stop(); }

    RequestCode sendCommand(const CProcID& to, const Payload& message) override {
        if (message.size() > mostRequestOctets) return RequestCode::tooLarge;
        const auto place = hub_->find([&](Hub::Place& each) { return each.commands.takes(to); });
        return place && place->commands.take(message) ? RequestCode::ok : RequestCode::noProcess;
    }

    Subscription receiveCommands(CommandSink sink) override {
        return Subscription([place = place_, ticket = place_->commands.set(std::move(sink))] { ticket.end(); });
    }

    RequestCode broadcast(const BroadcastMessage& message) override {
        if (message.record.size() > mostBroadcastOctets) return RequestCode::tooLarge;
        if (auto* receivers = hub_->broadcasts.find(message.target))
            receivers->each([&message](const auto& receiver, const auto&) { receiver->push(message); });
        return RequestCode::ok;
    }

    Subscription subscribeBroadcast(std::uint16_t target, BroadcastSink sink) override {
        const auto receiver = broadcastReceivers_.add(target, std::move(sink));
        auto subscribed = std::make_unique<std::shared_ptr<BroadcastReceiver>>(receiver);
        return Subscription(
            [hub = hub_, receiver, ticket = hub_->broadcasts.at(target).add(std::move(subscribed), this)] {
                ticket.end();
                receiver->stop();
            });
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
    std::shared_ptr<Hub::Place> place_;
    WaitingRequests requests_;
    BroadcastReceivers broadcastReceivers_;
};

LocalBus::LocalBus() : hub_(std::make_shared<Hub>()) {}

LocalBus::~LocalBus() = default;

std::unique_ptr<BusEngine> LocalBus::connect(CProcID address) {
    return std::make_unique<Engine>(hub_, address);
}

}  // namespace frame
