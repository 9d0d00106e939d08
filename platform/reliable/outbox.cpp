#include "reliable/outbox.h"

#include <exception>
#include <thread>
#include <utility>

#include "platform/log.h"

namespace frame {

namespace {

// Books are written along with a message when there are so many, or when they are so old: one page of the file more
// to write with each message would be felt, and books that are lost only cost repeats.
constexpr std::size_t manyBooks = 32;
constexpr std::chrono::milliseconds oldBooks{2};
// Much less than a sync takes.
constexpr std::chrono::microseconds gatherTime{50};

// Never throws: many wait for what comes of a transaction.
Outbox::Outcome storageFailed(const char* reason) noexcept {
    Outbox::Outcome outcome{ReliableCode::storage, {}};
    try {
        outcome.reason = reason;
    } catch (const std::bad_alloc&) {  // the code alone, then
    }
    return outcome;
}

}  // namespace

Outbox::Outbox(const ReliableOptions& options)
    : limit_(options.limit), store_(options.file), newest_(store_.newest()), held_(store_.count()) {}

Outbox::~Outbox() {
    settle();
}

Outbox::Outcome Outbox::append(const NewRow& row) {
    Waiter waiter{row, false, {}};
    std::unique_lock lock(mutex_);
    if (held_ >= limit_) return {ReliableCode::full, std::to_string(held_) + " messages wait in the outbox already"};
    queue_.push_back(&waiter);
    ++held_;
    tellWhenFilling();
    while (!waiter.done) {
        if (leading_)
            turn_.wait(lock);
        else
            lead(lock, books_.size() >= manyBooks || Clock::now() - booksSince_ >= oldBooks);
    }
    return std::move(waiter.outcome);
}

void Outbox::acknowledge(std::int64_t seq) {
    const std::lock_guard lock(mutex_);
    books_.acknowledged.push_back(seq);
    --held_;
    tellWhenEmptying();
    bookKept();
}

void Outbox::handled(const std::string& identifier) {
    const std::lock_guard lock(mutex_);
    auto& identifiers = books_.handled;
    // As many pile up only while nothing can be written.
    if (identifiers.size() == inboxCapacity)
        identifiers.erase(identifiers.begin(), identifiers.begin() + inboxCapacity / 2);
    identifiers.push_back(identifier);
    bookKept();
}

std::uint64_t Outbox::depth() const {
    const std::lock_guard lock(mutex_);
    return held_;
}

// When it is full nothing is accepted any more: half of that is early enough to do something about it.
void Outbox::tellWhenFilling() {
    if (filling_ || held_ <= limit_ / 2) return;
    filling_ = true;
    LogProcess::Error(static_cast<std::uint32_t>(ReliableCode::full),
                      std::to_string(held_) + " reliable messages wait in the outbox, which holds " +
                          std::to_string(limit_) + " at most",
                      {__FILE__, __func__, __LINE__});
}

void Outbox::tellWhenEmptying() {
    if (!filling_ || held_ > limit_ / 4) return;
    filling_ = false;
    LogProcess::Info(std::to_string(held_) + " reliable messages wait in the outbox: there is room in it again",
                     {__FILE__, __func__, __LINE__});
}

void Outbox::bookKept() {
    if (books_.size() != 1) return;
    booksSince_ = Clock::now();
    changed_();
}

std::optional<Outbox::Clock::time_point> Outbox::unsettledSince() const {
    const std::lock_guard lock(mutex_);
    const bool left = !leading_ && taken_.size() != 0;  // by a transaction that failed
    if (!left && books_.size() == 0) return std::nullopt;
    return booksSince_;
}

Outbox::Outcome Outbox::settle() {
    std::unique_lock lock(mutex_);
    turn_.wait(lock, [this] { return !leading_; });
    Outcome outcome;
    if (taken_.size() != 0) outcome = lead(lock, true);  // left by a transaction that failed
    if (outcome.code == ReliableCode::ok && books_.size() != 0) outcome = lead(lock, true);
    return outcome;
}

// Takes all that is queued, which includes the leader's own.
Outbox::Outcome Outbox::lead(std::unique_lock<std::mutex>& lock, bool withBooks) {
    leading_ = true;
    gather(lock);
    group_.swap(queue_);
    if (taken_.size() == 0 && withBooks) std::swap(taken_, books_);
    lock.unlock();
    Outcome outcome = write();
    lock.lock();
    senders_ = group_.size() + queue_.size();
    finish(outcome);
    leading_ = false;
    turn_.notify_all();
    return outcome;
}

// The senders of the last group are about to send again, as far as the processors have let them: a transaction that
// waits a moment for them takes them all, where each half would wait out the other's.
void Outbox::gather(std::unique_lock<std::mutex>& lock) {
    if (senders_ <= queue_.size()) return;
    const auto until = Clock::now() + gatherTime;
    while (queue_.size() < senders_ && Clock::now() < until) {
        lock.unlock();
        std::this_thread::yield();
        lock.lock();
    }
}

Outbox::Outcome Outbox::write() noexcept {
    try {
        rows_.clear();
        for (const Waiter* waiter : group_) rows_.push_back(&waiter->row);
        store_.write(rows_, taken_);
    } catch (const std::exception& error) {
        return storageFailed(error.what());
    }
    newest_.store(store_.newest());
    if (!group_.empty()) changed_();
    return {};
}

void Outbox::finish(const Outcome& outcome) noexcept {
    const bool failed = outcome.code != ReliableCode::ok;
    for (Waiter* waiter : group_) {
        if (failed) waiter->outcome = storageFailed(outcome.reason.c_str());
        waiter->done = true;
    }
    if (failed)
        held_ -= group_.size();
    else
        taken_.clear();
    group_.clear();
}

}  // namespace frame
