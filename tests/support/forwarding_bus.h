// An engine that hands everything on to another: a double overrides the one operation that it is about.
#pragma once

#include <memory>
#include <utility>

#include "platform/bus.h"

namespace support {

class ForwardingBus : public frame::BusEngine {
public:
    explicit ForwardingBus(std::unique_ptr<frame::BusEngine> engine) : engine_(std::move(engine)) {}

    CProcID address() const override { return engine_->address(); }
    frame::BusCode publishEvent(const frame::EventMessage& event) override { return engine_->publishEvent(event); }
    frame::Subscription subscribeEvent(unsigned long id, frame::EventSink sink) override {
        return engine_->subscribeEvent(id, std::move(sink));
    }
    frame::RequestCode request(const CProcID& to, const frame::RequestMessage& message, int timeoutSeconds,
                               frame::Payload& answer) override {
        return engine_->request(to, message, timeoutSeconds, answer);
    }
    frame::Subscription serveRequests(unsigned long id, frame::RequestSink sink) override {
        return engine_->serveRequests(id, std::move(sink));
    }
    void stopRequests() override { engine_->stopRequests(); }
    frame::RequestCode sendCommand(const CProcID& to, const frame::Payload& message) override {
        return engine_->sendCommand(to, message);
    }
    frame::Subscription receiveCommands(frame::CommandSink sink) override {
        return engine_->receiveCommands(std::move(sink));
    }
    frame::RequestCode broadcast(const frame::BroadcastMessage& message) override {
        return engine_->broadcast(message);
    }
    frame::Subscription subscribeBroadcast(std::uint16_t target, frame::BroadcastSink sink) override {
        return engine_->subscribeBroadcast(target, std::move(sink));
    }
    frame::Delivery publishReliable(const frame::ReliableMessage& message) override {
        return engine_->publishReliable(message);
    }
    std::optional<std::uint64_t> keptLife() override { return engine_->keptLife(); }
    frame::Subscription subscribeReliable(unsigned long id, frame::ReliableSink sink) override {
        return engine_->subscribeReliable(id, std::move(sink));
    }
    frame::Subscription watchReliable(std::function<void()> changed) override {
        return engine_->watchReliable(std::move(changed));
    }

private:
    std::unique_ptr<frame::BusEngine> engine_;
};

}  // namespace support
