// What the tests of the reliable channel have in common: a process on a bus, and what its handlers were given.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/asn1.h"
#include "platform/reliable.h"
#include "support/folder.h"
#include "support/forwarding_bus.h"
#include "support/patience.h"

namespace reliable_test {

inline constexpr CProcID self{3001, 7};
inline constexpr unsigned long someId = 0xB0762A;
inline constexpr unsigned long otherId = 0xB0762B;

using frame::ReliableCode;
using frame::ReliableEvent;
using support::eventually;
using support::patience;

// Sends `text` as an octet string.
inline ReliableCode send(const std::string& text, unsigned long id = someId) {
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    if (proxy == nullptr) throw std::logic_error("the door is shut");
    return static_cast<ReliableCode>(proxy->Send(id, AsnOcts(text)));
}

inline frame::Subscription subscribe(unsigned long id, frame::ReliableHandler handler) {
    return NSTE_util::ReliableEventProxy::Instance()->Subscribe(id, std::move(handler));
}

inline std::string textOf(const ReliableEvent& event) {
    AsnOcts text;
    return event.decode(text) ? text.str() : "not decodable";
}

// Keeps what handlers put into it.
class Mailbox {
public:
    void put(const ReliableEvent& event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(event);
        arrived_.notify_all();
    }
    // Subscribes to `id` and takes every message.
    [[nodiscard]] frame::Subscription takeAll(unsigned long id = someId) {
        return subscribe(id, [this](const ReliableEvent& event) {
            put(event);
            return true;
        });
    }
    // Waits until at least `count` messages are there.
    [[nodiscard]] bool waitFor(std::size_t count, std::chrono::seconds timeout = patience) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, timeout, [&] { return events_.size() >= count; });
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (const auto& event : events()) texts.push_back(textOf(event));
        return texts;
    }
    std::vector<ReliableEvent> events() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<ReliableEvent> events_;
};

// Forwards to an engine, unless it is told to answer for it.
class AnsweringBus final : public support::ForwardingBus {
public:
    using ForwardingBus::ForwardingBus;

    // What publishReliable says from now on instead of asking the engine; empty for asking it.
    void answer(std::optional<frame::Delivery> delivery) {
        const std::lock_guard lock(mutex_);
        delivery_ = delivery;
    }
    // Waits until publishReliable has been called `count` times.
    [[nodiscard]] bool waitForCalls(std::size_t count) {
        std::unique_lock lock(mutex_);
        return called_.wait_for(lock, patience, [&] { return calls_ >= count; });
    }

    frame::Delivery publishReliable(const frame::ReliableMessage& message) override {
        if (const auto answered = note()) return *answered;
        return ForwardingBus::publishReliable(message);
    }

private:
    std::optional<frame::Delivery> note() {
        const std::lock_guard lock(mutex_);
        ++calls_;
        called_.notify_all();
        return delivery_;
    }

    std::mutex mutex_;
    std::condition_variable called_;
    std::size_t calls_ = 0;
    std::optional<frame::Delivery> delivery_;
};

// A process with a reliable channel in a folder of its own, which can go and come back.
class ReliableTest : public testing::Test {
protected:
    void open(std::uint64_t limit = 1'000'000) { channel_.emplace(bus_, frame::ReliableOptions{file(), limit}); }
    void close() { channel_.reset(); }
    std::string file() const { return folder_.file("outbox.db"); }
    std::uint64_t depth() const { return frame::readOutbox(file(), 0).depth; }

    support::Folder folder_;
    frame::LocalBus local_;
    AnsweringBus bus_{local_.connect(self)};
    std::optional<frame::ReliableChannel> channel_;
};

}  // namespace reliable_test
