#include "bus/broadcasts.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include "bus/received.h"
#include "bus/thrown.h"
#include "platform/log.h"

namespace frame {

namespace {

constexpr std::uint32_t lostBroadcast = 0xFFFFFFFF;

std::size_t octetsOf(const BroadcastMessage& message) {
    return message.record.size() + sizeof message;
}

std::string nameOf(const BroadcastMessage& message) {
    return "broadcast " + idText(message.command) + " to " + std::to_string(message.target) + " from " +
           toText(message.sender);
}

}  // namespace

class BroadcastReceiver::Waiting {
public:
    explicit Waiting(BroadcastSink sink) : sink_(std::move(sink)) {}

    void push(const BroadcastMessage& message) {
        const std::lock_guard lock(mutex_);
        const std::size_t octets = octetsOf(message);
        if (!messages_.empty() && octets_ + octets > mostBroadcastOctets) {
            ++dropped_;
            return;
        }
        messages_.push_back(message);
        octets_ += octets;
        changed_.notify_one();
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_one();
    }

    void handleAll() {
        while (const auto next = take()) {
            if (next->dropped != 0) reportDropped(*next);
            handle(next->message);
        }
    }

private:
    struct Next {
        BroadcastMessage message;
        std::size_t dropped;  // how many were since the one before
    };

    std::optional<Next> take() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || !messages_.empty(); });
        if (stopped_) return std::nullopt;
        Next next{std::move(messages_.front()), std::exchange(dropped_, 0)};
        messages_.pop_front();
        octets_ -= octetsOf(next.message);
        return next;
    }

    void handle(const BroadcastMessage& message) {
        try {
            sink_(message);
        } catch (...) {
            LogProcess::Error(lostBroadcast, nameOf(message) + ": its sink threw " + thrownText(),
                              {__FILE__, __func__, __LINE__});
        }
    }

    static void reportDropped(const Next& next) {
        LogProcess::Error(lostBroadcast,
                          std::to_string(next.dropped) + " broadcasts to " + std::to_string(next.message.target) +
                              " dropped: as much as may be was waiting for their sink",
                          {__FILE__, __func__, __LINE__});
    }

    const BroadcastSink sink_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<BroadcastMessage> messages_;
    std::size_t octets_ = 0;
    std::size_t dropped_ = 0;
    bool stopped_ = false;
};

BroadcastReceiver::BroadcastReceiver(BroadcastSink sink)
    : waiting_(std::make_shared<Waiting>(std::move(sink))), thread_([waiting = waiting_] { waiting->handleAll(); }) {}

BroadcastReceiver::~BroadcastReceiver() {
    waiting_->stop();
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void BroadcastReceiver::push(const BroadcastMessage& message) {
    waiting_->push(message);
}

}  // namespace frame
