// The outbox of this process: messages go in by group commit, and leave when they are acknowledged.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/reliable.h"
#include "reliable/store.h"

namespace frame {

// All operations may be called from any thread.
//
// Senders queue. The first one leads: it commits, on its own thread, all that is queued, while others queue up behind
// it; then one of those leads. A thread of its own for committing would cost every message two context switches.
//
// What was acknowledged and handled is written along with the next messages, so that it costs no sync of its own;
// settle() writes it where none come.
class Outbox {
public:
    using Clock = std::chrono::steady_clock;

    // Throws std::runtime_error as ReliableChannel does.
    explicit Outbox(const ReliableOptions& options);
    // Settles. The caller sees to it that nobody is inside.
    ~Outbox();
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // `reason` is for people, and empty when `code` is ok.
    struct Outcome {
        ReliableCode code = ReliableCode::ok;
        std::string reason;
    };
    // Blocks until the message is on disk.
    Outcome append(const NewRow& row);

    // The message is delivered: its row can go.
    void acknowledge(std::int64_t seq);
    // The message was handled here: repeats of it are to be known, also after a restart.
    void handled(const std::string& identifier);
    // Since when settle() has something to write; empty when it has nothing.
    std::optional<Clock::time_point> unsettledSince() const;
    // Writes what append() has not written along: when it returns ok, all that was told before it was called.
    Outcome settle();

    // How many messages are in it, or on their way in.
    std::uint64_t depth() const;

    const std::string& outboxId() const { return store_.outboxId(); }
    // The number of the newest message on disk.
    std::int64_t newest() const { return newest_.load(); }
    // The identifiers that handled() was told, oldest first. For the start, before any other operation.
    std::vector<std::string> inbox() { return store_.inbox(); }

    // `changed` is called when newest() grew and when there is something to settle; on any thread, also with locks
    // held: it must only wake somebody. To be set before any other operation.
    void onChange(std::function<void()> changed) { changed_ = std::move(changed); }

private:
    struct Waiter {
        NewRow row;
        bool done = false;
        Outcome outcome;
    };

    Outcome lead(std::unique_lock<std::mutex>& lock, bool withBooks);
    void bookKept();
    void tellWhenFilling();
    void tellWhenEmptying();
    void gather(std::unique_lock<std::mutex>& lock);
    Outcome write() noexcept;
    void finish(const Outcome& outcome) noexcept;

    const std::uint64_t limit_;
    Store store_;  // used by the leader
    std::function<void()> changed_ = [] {};
    std::atomic<std::int64_t> newest_;

    mutable std::mutex mutex_;
    std::condition_variable turn_;
    bool leading_ = false;
    std::uint64_t held_;    // messages in the outbox, or on their way in
    bool filling_ = false;  // and the log says so
    std::vector<Waiter*> queue_;
    std::size_t senders_ = 0;  // that were there when the last transaction ended
    Bookkeeping books_;
    Clock::time_point booksSince_;  // when the first of them was noted

    // The leader's.
    std::vector<Waiter*> group_;
    std::vector<const NewRow*> rows_;
    Bookkeeping taken_;  // stays until it is written
};

}  // namespace frame
