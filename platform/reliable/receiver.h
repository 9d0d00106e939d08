// The receiving side: handlers by message identifier, and the filter that drops repeats.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "platform/reliable.h"
#include "reliable/outbox.h"

namespace frame {

// The newest identifiers of handled messages. May be used from any thread.
class RecentIdentifiers {
public:
    explicit RecentIdentifiers(const std::vector<std::string>& oldestFirst);
    bool contains(std::string_view identifier) const;
    void add(const std::string& identifier);

private:
    mutable std::mutex mutex_;
    std::deque<std::string> arrived_;
    std::unordered_set<std::string_view> known_;  // of what stands in arrived_
};

// All operations may be called from any thread.
class Receiver {
public:
    // Both must outlive it.
    Receiver(BusEngine& bus, Outbox& outbox);
    // Takes nothing more from the bus and waits for a handler that is running. Subscriptions may outlive it.
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    Subscription subscribe(unsigned long id, ReliableHandler handler);

private:
    class Topic;

    std::shared_ptr<Topic> topicOf(unsigned long id);
    bool take(Topic& topic, const ReliableMessage& message);

    BusEngine& bus_;
    Outbox& outbox_;
    RecentIdentifiers handled_;
    std::mutex mutex_;
    std::map<unsigned long, std::shared_ptr<Topic>> topics_;
};

}  // namespace frame
