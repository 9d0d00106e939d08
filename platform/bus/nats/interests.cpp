#include "bus/nats/interests.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "bus/nats/logging.h"
#include "bus/thrown.h"

namespace frame::nats {

namespace {

// How long the server may take to learn what is listened to; the second, once it has taken longer.
constexpr std::int64_t flushMilliseconds = 2000;
constexpr std::int64_t shortFlushMilliseconds = 500;

int clientLimit(std::size_t limit) {
    return static_cast<int>(std::min<std::size_t>(limit, std::numeric_limits<int>::max()));
}

}  // namespace

Interests::~Interests() {
    waitForHandlers();
}

void Interests::waitForHandlers() {
    std::unique_lock lock(closuresMutex_);
    finished_.wait(lock, [this] { return closures_ == 0; });
}

Interests::Key Interests::add(std::string subject, std::string group, Handler handler) {
    const std::lock_guard lock(mutex_);
    const Key key = next_++;
    if (cleared_) return key;
    auto& interest = interests_
                         .emplace(key, Interest{std::move(subject), std::move(group),
                                                std::make_shared<const Handler>(std::move(handler)), nullptr})
                         .first->second;
    subscribe(interest);
    flush();
    return key;
}

void Interests::remove(Key key) {
    const std::lock_guard lock(mutex_);
    const auto found = interests_.find(key);
    if (found == interests_.end()) return;
    unsubscribe(found->second);
    interests_.erase(found);
    flush();
}

void Interests::clear() {
    {
        const std::lock_guard lock(mutex_);
        cleared_ = true;
        for (auto& [key, interest] : interests_) unsubscribe(interest);
        interests_.clear();
        flush();
        connection_.reset();
    }
    waitForHandlers();
}

void Interests::attach(const Connection& connection) {
    const std::lock_guard lock(mutex_);
    if (cleared_) return;
    for (auto& [key, interest] : interests_) unsubscribe(interest);
    connection_ = connection;
    answers_ = true;
    for (auto& [key, interest] : interests_) subscribe(interest);
    flush();
}

void Interests::subscribe(Interest& interest) {
    if (!connection_) return;
    auto closure = std::make_unique<Closure>(Closure{*this, interest.handler});
    const natsMsgHandler call = [](natsConnection*, natsSubscription*, natsMsg* message, void* pointer) {
        const auto& called = *static_cast<Closure*>(pointer);
        try {
            (*called.handler)(Message(message));
        } catch (...) {
            called.owner.failures_.write("a message is dropped: " + thrownText());
        }
    };
    natsSubscription* subscription = nullptr;
    const char* group = interest.group.empty() ? nullptr : interest.group.c_str();
    const char* subject = interest.subject.c_str();
    const natsStatus made =
        group == nullptr
            ? natsConnection_Subscribe(&subscription, connection_.get(), subject, call, closure.get())
            : natsConnection_QueueSubscribe(&subscription, connection_.get(), subject, group, call, closure.get());
    if (made != NATS_OK) return logError("cannot listen to " + interest.subject + ": " + natsStatus_GetText(made));
    interest.subscription.reset(subscription);
    natsSubscription_SetPendingLimits(subscription, clientLimit(limits_.messages), clientLimit(limits_.octets));
    const natsOnCompleteCB complete = [](void* pointer) {
        auto* done = static_cast<Closure*>(pointer);
        done->owner.finish(done);
    };
    const std::lock_guard lock(closuresMutex_);
    if (natsSubscription_SetOnCompleteCB(subscription, complete, closure.get()) != NATS_OK) {
        orphans_.push_back(std::move(closure));
        return;
    }
    static_cast<void>(closure.release());  // until finish()
    ++closures_;
}

void Interests::finish(Closure* closure) {
    delete closure;
    const std::lock_guard lock(closuresMutex_);
    --closures_;
    finished_.notify_all();
}

void Interests::unsubscribe(Interest& interest) {
    droppedBefore_ += droppedBy(interest);
    if (!interest.subscription) return;
    natsSubscription_Unsubscribe(interest.subscription.get());
    ended_.push_back(std::move(interest.subscription));
}

std::uint64_t Interests::droppedBy(const Interest& interest) const {
    std::int64_t count = 0;
    if (!interest.subscription || natsSubscription_GetDropped(interest.subscription.get(), &count) != NATS_OK) return 0;
    return static_cast<std::uint64_t>(count);
}

std::uint64_t Interests::dropped() const {
    const std::lock_guard lock(mutex_);
    std::uint64_t count = droppedBefore_;
    for (const auto& [key, interest] : interests_) count += droppedBy(interest);
    return count;
}

void Interests::flush() {
    if (!connection_ || natsConnection_Status(connection_.get()) != NATS_CONN_STATUS_CONNECTED) return;
    const auto patience = answers_ ? flushMilliseconds : shortFlushMilliseconds;
    answers_ = natsConnection_FlushTimeout(connection_.get(), patience) == NATS_OK;
    if (answers_) ended_.clear();
}

}  // namespace frame::nats
