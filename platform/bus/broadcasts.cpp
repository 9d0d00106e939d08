#include "bus/broadcasts.h"

#include <condition_variable>
#include <deque>
#include <new>
#include <optional>
#include <utility>

#include "bus/received.h"
#include "bus/running.h"
#include "bus/thrown.h"
#include "platform/log.h"

namespace frame {

namespace {

constexpr std::uint32_t lostBroadcast = 0xFFFFFFFF;

std::size_t octetsOf(const BroadcastMessage& message) {
    return message.record.size() + sizeof message;
}

void logError(const std::string& text) {
    LogProcess::Error(lostBroadcast, text, {__FILE__, __func__, __LINE__});
}

}  // namespace

class BroadcastReceiver::Waiting {
public:
    Waiting(std::uint16_t target, BroadcastSink sink) : target_(std::to_string(target)), sink_(std::move(sink)) {}

    void push(const BroadcastMessage& message) {
        if (!take(message) && dropped_.fetch_add(1) == 0)
            logError("broadcasts to " + target_ + " are dropped from now on: as much as may be waits for their sink");
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_one();
    }

    void handleAll() {
        while (const auto message = next()) {
            reportDropped();
            handle(*message);
        }
        reportDropped();
    }

private:
    // False when there is no room for it.
    bool take(const BroadcastMessage& message) try {
        const std::lock_guard lock(mutex_);
        const std::size_t octets = octetsOf(message);
        if (!messages_.empty() && octets_ + octets > mostBroadcastOctets) return false;
        messages_.push_back(message);
        octets_ += octets;
        changed_.notify_one();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }

    std::optional<BroadcastMessage> next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || !messages_.empty(); });
        if (stopped_) return std::nullopt;
        BroadcastMessage message = std::move(messages_.front());
        messages_.pop_front();
        octets_ -= octetsOf(message);
        return message;
    }

    void handle(const BroadcastMessage& message) {
        try {
            sink_(message);
        } catch (...) {
            logError("broadcast " + idText(message.command) + " to " + target_ + " from " + toText(message.sender) +
                     ": its sink threw " + thrownText());
        }
    }

    void reportDropped() {
        if (const std::size_t dropped = dropped_.exchange(0); dropped != 0)
            logError(std::to_string(dropped) + " broadcasts to " + target_ + " were dropped");
    }

    const std::string target_;
    const BroadcastSink sink_;
    std::atomic<std::size_t> dropped_{0};  // since that was last reported
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<BroadcastMessage> messages_;
    std::size_t octets_ = 0;
    bool stopped_ = false;
};

BroadcastReceiver::BroadcastReceiver(std::uint16_t target, BroadcastSink sink)
    : waiting_(std::make_unique<Waiting>(target, std::move(sink))), thread_([this] {
          const Running running(this);
          waiting_->handleAll();
          ended_ = true;
      }) {}

BroadcastReceiver::~BroadcastReceiver() {
    stop();
}

void BroadcastReceiver::push(const BroadcastMessage& message) noexcept {
    try {
        waiting_->push(message);
    } catch (const std::bad_alloc&) {
        LogProcess::Error(lostBroadcast, "out of memory: a broadcast was dropped", {__FILE__, __func__, __LINE__});
    }
}

void BroadcastReceiver::stop() {
    waiting_->stop();
    if (Running::depth(this) == 0) std::call_once(joined_, [this] { thread_.join(); });
}

std::shared_ptr<BroadcastReceiver> BroadcastReceivers::add(std::uint16_t target, BroadcastSink sink) {
    auto receiver = std::make_shared<BroadcastReceiver>(target, std::move(sink));
    const std::lock_guard lock(mutex_);
    std::erase_if(receivers_, [](const auto& other) { return other->ended(); });
    receivers_.push_back(receiver);
    return receiver;
}

void BroadcastReceivers::stopAll() {
    std::vector<std::shared_ptr<BroadcastReceiver>> all;
    {
        const std::lock_guard lock(mutex_);
        all.swap(receivers_);
    }
    for (const auto& receiver : all) receiver->stop();
}

}  // namespace frame
