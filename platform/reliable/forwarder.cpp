#include "reliable/forwarder.h"

#include "platform/log.h"
#include "reliable/outbox_file.h"

namespace frame {

namespace {

// How long it may take until it is on disk that a message was delivered, when no sender writes that along.
constexpr std::chrono::milliseconds settleTime{5};
// How long it does not look after it has done all there was. Under a steady stream it works in batches, and senders do
// not pay for waking it each time; a message that comes to an idle forwarder does not wait.
constexpr std::chrono::microseconds restTime{500};
// Rows read at once; their records are read one by one.
constexpr std::int64_t batch = 128;
// How often it asks whether the bus still has what it keeps.
constexpr std::chrono::seconds reviewTime{1};

// The bus is down: nothing can pass.
class Down : public std::exception {};

void logError(const std::string& text) {
    LogProcess::Error(static_cast<std::uint32_t>(ReliableCode::storage), text, {__FILE__, __func__, __LINE__});
}

}  // namespace

Forwarder::Forwarder(BusEngine& bus, Outbox& outbox, const ReliableOptions& options)
    : bus_(bus), outbox_(outbox), holdTime_(options.hold), reader_(options.file) {
    outbox_.onChange([this] { wake(); });
    watch_ = bus_.watchReliable([this] {
        changes_.fetch_add(1);
        wake();
    });
    thread_ = std::thread([this] { run(); });
}

Forwarder::~Forwarder() {
    watch_ = {};
    {
        const std::lock_guard lock(mutex_);
        stopping_.store(true);
        woken_ = true;
    }
    wakeUp_.notify_one();
    thread_.join();
}

void Forwarder::wake() {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(woken_, true) || resting_) return;
    }
    wakeUp_.notify_one();
}

void Forwarder::run() {
    while (waitForWork()) {
        try {
            if (halt_ && !isDue(*halt_)) continue;
            while (!stopping_.load() && step()) {
            }
            halt_.reset();
        } catch (const Down&) {
            halt();
        } catch (const std::exception& error) {
            if (!halt_) logError(std::string("cannot read the outbox, will try again: ") + error.what());
            halt();
        }
    }
}

void Forwarder::halt() {
    doubted_ = true;
    if (!halt_) halt_.emplace();
    meet(*halt_, Delivery::down);
}

// Returns false when the forwarder is to end.
bool Forwarder::waitForWork() {
    settleWhenDue();
    const auto until = nextDue();
    std::unique_lock lock(mutex_);
    rest(lock);
    wakeUp_.wait_until(lock, until, [this] { return woken_; });
    woken_ = false;
    return !stopping_.load();
}

void Forwarder::rest(std::unique_lock<std::mutex>& lock) {
    resting_ = true;
    wakeUp_.wait_for(lock, restTime, [this] { return stopping_.load(); });
    resting_ = false;
}

Forwarder::Clock::time_point Forwarder::settleDue() const {
    const auto since = outbox_.unsettledSince();
    if (!since) return Clock::time_point::max();
    return unsettled_ ? unsettled_->due() : *since + settleTime;
}

void Forwarder::settleWhenDue() {
    if (Clock::now() < settleDue()) return;
    const auto outcome = outbox_.settle();
    if (outcome.code == ReliableCode::ok) return unsettled_.reset();
    if (!unsettled_) {
        logError("cannot write the outbox, will try again: " + outcome.reason);
        unsettled_.emplace();
    }
    unsettled_->fail(random_);
}

Forwarder::Clock::time_point Forwarder::nextDue() const {
    auto due = settleDue();
    if (halt_) return std::min(due, halt_->backoff.due());
    if (!held_.empty()) due = std::min(due, reviewDue_);
    for (const auto& [id, lane] : lanes_)
        if (!lane.obstacle.untilChange) due = std::min(due, lane.obstacle.backoff.due());
    return due;
}

void Forwarder::reviewWhenDue() {
    if (held_.empty()) return;
    if (doubted_ || changesReviewed_ != changes_.load() || reviewDue_ <= Clock::now()) review();
}

// Unless it is known what the bus still has, nothing newer may pass. Throws Down.
void Forwarder::review() {
    changesReviewed_ = changesBefore_ = changes_.load();
    reviewDue_ = Clock::now() + reviewTime;
    const auto life = bus_.keptLife();
    if (!life) throw Down();
    if (*life == life_)
        release();
    else
        handOverAgain(*life);
    doubted_ = false;
}

void Forwarder::release() {
    const auto longAgo = Clock::now() - holdTime_;
    for (; !held_.empty() && held_.front().since <= longAgo; held_.pop_front()) outbox_.acknowledge(held_.front().seq);
    heldCount_.store(held_.size());
}

// Rows that were released must have left the file first, or they would be taken for new ones. Throws Down.
void Forwarder::handOverAgain(std::uint64_t life) {
    if (outbox_.settle().code != ReliableCode::ok) throw Down();
    LogProcess::Info("the bus may have lost " + std::to_string(held_.size()) +
                         " reliable messages that it kept: they are handed over again",
                     {__FILE__, __func__, __LINE__});
    for (const Held& held : held_) place_ = std::min(place_, held.seq - 1);
    for (const auto& [id, lane] : lanes_) place_ = std::min(place_, lane.after);
    held_.clear();
    heldCount_.store(0);
    lanes_.clear();
    life_ = life;
}

// Returns whether there may be more to do at once.
bool Forwarder::step() {
    reviewWhenDue();
    const bool retried = retryLanes();
    return forwardNew() || retried;
}

bool Forwarder::forwardNew() {
    if (place_ >= outbox_.newest()) return false;
    const auto rows = reader_.after(place_, batch);
    for (const OutboxRow& row : rows) {
        if (stopping_.load()) return false;
        if (lanes_.count(row.id) == 0) forward(row);
        place_ = row.seq;
    }
    return !rows.empty();
}

void Forwarder::forward(const OutboxRow& row) {
    const Delivery delivery = deliver(row);
    if (delivery == Delivery::done) return;
    Lane& lane = lanes_[row.id];
    lane.after = row.seq - 1;
    meet(lane.obstacle, delivery);
}

bool Forwarder::retryLanes() {
    bool retried = false;
    for (auto lane = lanes_.begin(); lane != lanes_.end() && !stopping_.load();) {
        const bool due = isDue(lane->second.obstacle);
        retried = retried || due;
        lane = due && !retry(lane->first, lane->second) ? lanes_.erase(lane) : std::next(lane);
    }
    return retried;
}

// Returns whether the lane has, or may have, more messages that wait.
bool Forwarder::retry(unsigned long id, Lane& lane) {
    const auto rows = reader_.ofMessage(id, lane.after, place_, batch);
    for (const OutboxRow& row : rows) {
        if (stopping_.load()) return true;
        const Delivery delivery = deliver(row);
        if (delivery != Delivery::done) {
            meet(lane.obstacle, delivery);
            return true;
        }
        lane.after = row.seq;
        lane.obstacle.backoff = {};
    }
    return !rows.empty();
}

// What the bus keeps is done with, for now. Throws Down.
Delivery Forwarder::deliver(const OutboxRow& row) {
    changesBefore_ = changes_.load();
    const auto record = reader_.record(row.seq);
    const auto delivery =
        record
            ? bus_.publishReliable({identifierOf(row.sender, outbox_.outboxId(), row.seq), row.id, row.sender, *record})
            : Delivery::done;  // somebody took it out of the file
    if (delivery == Delivery::down) throw Down();
    if (delivery == Delivery::done) outbox_.acknowledge(row.seq);
    if (delivery == Delivery::kept) {
        held_.push_back({row.seq, Clock::now()});
        heldCount_.store(held_.size());
    }
    settleWhenDue();
    return delivery == Delivery::kept ? Delivery::done : delivery;
}

bool Forwarder::isDue(const Obstacle& obstacle) const {
    if (obstacle.changes != changes_.load()) return true;
    return !obstacle.untilChange && obstacle.backoff.due() <= Clock::now();
}

void Forwarder::meet(Obstacle& obstacle, Delivery why) {
    obstacle.changes = changesBefore_;
    obstacle.untilChange = why == Delivery::noReceiver;
    if (!obstacle.untilChange) obstacle.backoff.fail(random_);
}

}  // namespace frame
