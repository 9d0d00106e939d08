// Raising and delivering events, beside encoding alone and beside a bare queue between two threads.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "bench.h"
#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/event.h"

namespace {

constexpr CProcID self{3001, 7};
constexpr unsigned long neCreated = 0x217006;
constexpr long burst = 50'000;  // fits into the manager's queue

// The record that NotifyNECreated announces.
asn_frame::AsnDevIDListOfNEMgr createdRecord() {
    asn_frame::AsnDevIDListOfNEMgr record;
    record.srcProcID->procType = self.procType;
    record.srcProcID->procHandle = self.procHandle;
    record.SnkProcID().procType = self.procType;
    record.SnkProcID().procHandle = self.procHandle;
    record.devIDList.Append(AsnInt(5));
    return record;
}

// A process on a bus of its own, with one subscriber that counts.
class Listening {
public:
    long delivered() const { return delivered_.load(std::memory_order_acquire); }
    void waitFor(long count) const {
        while (delivered() < count) std::this_thread::yield();
    }

private:
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect(self);
    frame::EventManagers managers_{*engine_, {}};
    std::atomic<long> delivered_{0};
    frame::Subscription subscription_ = TEEventMgrEx::Instance()->Subscribe(
        neCreated, [this](const frame::Event&) { delivered_.fetch_add(1, std::memory_order_release); });
};

bench::Figures raising(const bench::Run& run) {
    const Listening listening;
    const auto record = createdRecord();
    return bench::alternate(
        run, bench::Clock::wall, 1, [] { NEC::NotifyNECreated(5, self); },
        [&record] {
            AsnBuf buf;
            bench::keep(record.BEnc(buf, 1));
        });
}

// What two threads need at least to hand things over.
class BareQueue {
public:
    void push(const frame::Event& event) {
        {
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
        }
        some_.notify_one();
    }
    frame::Event pop() {
        std::unique_lock lock(mutex_);
        some_.wait(lock, [this] { return !events_.empty(); });
        frame::Event event = std::move(events_.front());
        events_.pop_front();
        return event;
    }

private:
    std::mutex mutex_;
    std::condition_variable some_;
    std::deque<frame::Event> events_;
};

void handThroughBareQueue(BareQueue& queue, const frame::Event& event) {
    std::thread reader([&queue] {
        for (long i = 0; i < burst; ++i) bench::keep(queue.pop().id);
    });
    for (long i = 0; i < burst; ++i) queue.push(event);
    reader.join();
}

bench::Figures delivering(const bench::Run& run) {
    const Listening listening;
    long raised = 0;
    BareQueue queue;
    frame::Event event;
    event.record = frame::encode(createdRecord());
    return bench::alternate(
        run, bench::Clock::wall, burst,
        [&] {
            for (long i = 0; i < burst; ++i) NEC::NotifyNECreated(5, self);
            listening.waitFor(raised += burst);
        },
        [&] { handThroughBareQueue(queue, event); });
}

const bool registered =
    bench::add({"raise event with 1 NE, beside encoding its record, ns", bench::atMost(3), raising}) &&
    bench::add({"deliver event to 1 subscriber, beside a bare queue, ns", bench::atMost(2), delivering});

}  // namespace
