// The engine: one place on the bus, and the kinds of messages over it.
#include <memory>
#include <utility>

#include "bus/nats/broadcasts.h"
#include "bus/nats/claim.h"
#include "bus/nats/commands.h"
#include "bus/nats/events.h"
#include "bus/nats/overhearing.h"
#include "bus/nats/reliable.h"
#include "bus/nats/reporter.h"
#include "bus/nats/requests.h"
#include "bus/nats/station.h"
#include "platform/nats.h"

namespace frame {

namespace {

using nats::Broadcasts;
using nats::Claim;
using nats::Commands;
using nats::Events;
using nats::Overhearings;
using nats::Reliable;
using nats::Reporter;
using nats::Requests;
using nats::Station;

// Subscriptions may outlive the engine: they hold on to this.
class Parts {
public:
    Parts(CProcID address, const NatsOptions& options)
        : station(
              address, options, [this] { isLost(); }, [this] { isFound(); }),
          claim(station),
          reporter(station),
          events(station),
          requests(station),
          commands(station),
          broadcasts(station, options.system),
          reliable(station, options.system),
          overhearings(station, broadcasts.store(), options.system) {
        station.start();
    }

    void stop() {
        requests.stopAsking();
        broadcasts.stop();
        reliable.stop();
        station.stopReceiving();
        overhearings.stop();
        requests.stopServing();
        station.stop();
    }

    Station station;
    Claim claim;
    Reporter reporter;
    Events events;
    Requests requests;
    Commands commands;
    Broadcasts broadcasts;
    Reliable reliable;
    Overhearings overhearings;

private:
    void isLost() {
        requests.isLost();
        commands.isLost();
        reliable.isLost();
    }
    void isFound() {
        claim.make();
        reliable.isFound();
    }
};

class Engine final : public NatsEngine {
public:
    Engine(CProcID address, const NatsOptions& options) : parts_(std::make_shared<Parts>(address, options)) {}
    ~Engine() override { parts_->stop(); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    CProcID address() const override { return parts_->station.address(); }
    NatsStatus status() const override { return parts_->station.status(); }
    Subscription addStatus(StatusFields fields) override {
        return Subscription([parts = parts_, ticket = parts_->reporter.add(std::move(fields))] { ticket.end(); });
    }

    BusCode publishEvent(const EventMessage& event) override { return parts_->events.publish(event); }
    Subscription subscribeEvent(unsigned long id, EventSink sink) override {
        return Subscription([parts = parts_, id, ticket = parts_->events.subscribe(id, std::move(sink))] {
            parts->events.end(id, ticket);
        });
    }

    RequestCode request(const CProcID& to, const RequestMessage& message, int timeoutSeconds,
                        Payload& answer) override {
        return parts_->requests.request(to, message, timeoutSeconds, answer);
    }
    Subscription serveRequests(unsigned long id, RequestSink sink) override {
        return Subscription(
            [parts = parts_, served = parts_->requests.serve(id, std::move(sink))] { parts->requests.end(served); });
    }
    void stopRequests() override { parts_->requests.stopAsking(); }

    RequestCode sendCommand(const CProcID& to, const Payload& message) override {
        return parts_->commands.send(to, message);
    }
    Subscription receiveCommands(CommandSink sink) override {
        return Subscription(
            [parts = parts_, received = parts_->commands.receive(std::move(sink))] { parts->commands.end(received); });
    }

    RequestCode broadcast(const BroadcastMessage& message) override { return parts_->broadcasts.send(message); }
    Subscription subscribeBroadcast(std::uint16_t target, BroadcastSink sink) override {
        return Subscription([parts = parts_, receiving = parts_->broadcasts.receive(target, std::move(sink))] {
            Broadcasts::end(*receiving);
        });
    }

    Delivery publishReliable(const ReliableMessage& message) override { return parts_->reliable.publish(message); }
    std::optional<std::uint64_t> keptLife() override { return parts_->reliable.life(); }
    Subscription subscribeReliable(unsigned long id, ReliableSink sink) override {
        return Subscription(
            [parts = parts_, received = parts_->reliable.subscribe(id, std::move(sink))] { Reliable::end(received); });
    }
    Subscription watchReliable(std::function<void()> changed) override {
        return Subscription([parts = parts_, ticket = parts_->reliable.watch(std::move(changed))] { ticket.end(); });
    }

    bool flush() override { return parts_->station.flush(); }
    Subscription overhear(const OverhearOptions& options, OverhearSink sink) override {
        return Subscription([parts = parts_, hearing = parts_->overhearings.add(options, std::move(sink))] {
            parts->overhearings.end(hearing);
        });
    }

private:
    std::shared_ptr<Parts> parts_;
};

}  // namespace

const char* toText(NatsStatus::State state) {
    switch (state) {
        case NatsStatus::State::connecting:
            return "connecting";
        case NatsStatus::State::connected:
            return "connected";
        case NatsStatus::State::reconnecting:
            return "reconnecting";
        case NatsStatus::State::down:
            return "down";
    }
    return "unknown";
}

std::unique_ptr<NatsEngine> connectNats(CProcID address, const NatsOptions& options) {
    return std::make_unique<Engine>(address, options);
}

}  // namespace frame
