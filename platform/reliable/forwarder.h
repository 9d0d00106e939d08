// Hands what is in the outbox to the bus, on a thread of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "platform/bus.h"
#include "reliable/backoff.h"
#include "reliable/outbox.h"
#include "reliable/reader.h"

namespace frame {

// Messages go in the order in which they were accepted. Where one cannot be delivered, those behind it with the same
// message identifier wait for it and others pass. It also settles the outbox
// where senders do not.
//
// A message that the bus keeps, but may still lose, stays in the outbox for a hold time. When the bus lost what it
// kept, all that stayed is handed over again, in its order and before anything newer.
class Forwarder {
public:
    // `options`: of `outbox`. Throws std::runtime_error, which names its file.
    Forwarder(BusEngine& bus, Outbox& outbox, const ReliableOptions& options);
    // Waits for the delivery that is under way.
    ~Forwarder();
    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

    // How many messages it has handed over that stay in the outbox for a while.
    std::size_t held() const { return heldCount_.load(); }

private:
    using Clock = Backoff::Clock;

    // The messages of one identifier that wait: those in rows after `after` up to the forwarder's place.
    struct Lane {
        std::int64_t after = 0;
        Obstacle obstacle;
    };
    // A row that the bus keeps.
    struct Held {
        std::int64_t seq;
        Clock::time_point since;
    };

    void wake();

    void run();
    bool waitForWork();
    void rest(std::unique_lock<std::mutex>& lock);
    Clock::time_point nextDue() const;
    Clock::time_point settleDue() const;
    void settleWhenDue();

    void reviewWhenDue();
    void review();
    void release();
    void handOverAgain(std::uint64_t life);

    bool step();
    bool forwardNew();
    void forward(const OutboxRow& row);
    bool retryLanes();
    bool retry(unsigned long id, Lane& lane);
    Delivery deliver(const OutboxRow& row);
    void halt();
    bool isDue(const Obstacle& obstacle) const;
    void meet(Obstacle& obstacle, Delivery why);

    BusEngine& bus_;
    Outbox& outbox_;
    const std::chrono::milliseconds holdTime_;
    Reader reader_;
    std::atomic<std::uint64_t> changes_{0};  // that the bus told of
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> heldCount_{0};

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    bool woken_ = true;
    bool resting_ = false;

    // The thread's.
    std::int64_t place_ = 0;  // the last row that was read
    std::map<unsigned long, Lane> lanes_;
    std::optional<Obstacle> halt_;      // nothing can pass: the bus is down, or the outbox cannot be read
    std::optional<Backoff> unsettled_;  // the outbox cannot be written
    std::uint64_t changesBefore_ = 0;   // the last delivery or review
    std::deque<Held> held_;             // in the order in which the bus took them
    std::uint64_t life_ = 0;            // of the bus's store, since it has them
    bool doubted_ = false;              // whether it still has them: something could not pass since it was asked
    Clock::time_point reviewDue_{};
    std::uint64_t changesReviewed_ = 0;
    std::minstd_rand random_{std::random_device{}()};

    Subscription watch_;
    std::thread thread_;
};

}  // namespace frame
