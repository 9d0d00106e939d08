// Questions to the server's store, several under way at once.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "bus/nats/station.h"

namespace frame::nats {

class Exchange {
public:
    using Clock = std::chrono::steady_clock;

    // Breaks off as soon as `off` is true.
    Exchange(Station& station, const std::atomic<bool>& off) : station_(station), off_(off) {}

    // What was asked, and the place that its answer comes to.
    class Question {
    public:
        explicit Question(Exchange& exchange);

    private:
        friend class Exchange;
        Message answer_;
        bool sent_ = false;
        const Inbox::Entry entry_;
    };

    std::unique_ptr<Question> ask(const std::string& subject, std::string_view octets);
    // Null when there is no answer in time, no connection, or it was stopped.
    Message await(Question& question, std::chrono::milliseconds patience);
    // False when it was stopped meanwhile.
    bool pause(std::chrono::milliseconds length);

    void stop();

private:
    bool stopped() const { return stopped_ || off_; }

    Station& station_;
    const std::atomic<bool>& off_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopped_ = false;
};

}  // namespace frame::nats
