// A server, and engines on it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "platform/nats.h"
#include "support/gate.h"
#include "support/mailbox.h"
#include "support/nats_server.h"
#include "support/patience.h"

namespace natstest {

inline constexpr CProcID hereAddress{3001, 1};
inline constexpr CProcID thereAddress{3001, 2};
inline constexpr unsigned long id = 0x217006;

using support::eventually;
using Texts = support::Mailbox<std::string>;

inline frame::NatsOptions optionsFor(const std::string& url) {
    frame::NatsOptions options;
    options.servers = {url};
    return options;
}

inline frame::EventSink into(Texts& texts) {
    return [&texts](const frame::EventMessage& event) { texts.put(std::string(event.record.view())); };
}

inline frame::BusCode publish(frame::BusEngine& engine, std::string_view record) {
    return engine.publishEvent({id, engine.address(), frame::Payload(record)});
}

// Publishes until one arrives, as what is published while somebody is not connected is lost. False when none does.
[[nodiscard]] inline bool arrivesInTime(frame::BusEngine& from, Texts& at) {
    const auto deadline = std::chrono::steady_clock::now() + support::patience;
    while (std::chrono::steady_clock::now() < deadline) {
        publish(from, "again");
        if (at.take(std::chrono::seconds(1))) return true;
    }
    return false;
}

}  // namespace natstest
