// Raising and delivering events, beside encoding alone and beside a bare queue between two threads.
#include <atomic>
#include <chrono>
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
constexpr long burst = 50'000;  // fits into the event manager's queue

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
    void raise(const AsnType& record) {
        TEEventMgrEx::Instance()->RaiseEvent(neCreated, 0, new TEAsnEventParam(record));
        raised();
    }
    void notify() {
        NEC::NotifyNECreated(5, self);
        raised();
    }

private:
    // Now and then lets the subscriber catch up, so that no event is dropped.
    void raised() {
        if (++raised_ % burst == 0) catchUp();
    }
    void catchUp() const {
        while (delivered_.load(std::memory_order_acquire) < raised_)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }

    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect(self);
    frame::EventManagers managers_{*engine_, {}};
    long raised_ = 0;
    alignas(64) std::atomic<long> delivered_{0};  // on a line of its own: the raising thread is not to wait for it
    frame::Subscription subscription_ = TEEventMgrEx::Instance()->Subscribe(
        neCreated, [this](const frame::Event&) { delivered_.fetch_add(1, std::memory_order_release); });
};

// Encoding a record and handing it over.
bench::Figures raising(const bench::Run& run) {
    Listening listening;
    const auto record = createdRecord();
    return bench::alternate(
        run, bench::Clock::cpu, 1, [&] { listening.raise(record); }, [&record] { bench::keep(frame::encode(record)); });
}

// Building the record as well.
bench::Figures notifying(const bench::Run& run) {
    Listening listening;
    const auto record = createdRecord();
    return bench::alternate(
        run, bench::Clock::cpu, 1, [&] { listening.notify(); }, [&record] { bench::keep(frame::encode(record)); });
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

// Encoding a record and handing it over; the bare queue gets one that is encoded already.
bench::Figures delivering(const bench::Run& run) {
    Listening listening;
    BareQueue queue;
    const auto record = createdRecord();
    const frame::Event event{neCreated, self, frame::encode(record)};
    return bench::alternate(
        run, bench::Clock::wall, burst,
        [&] {
            for (long i = 0; i < burst; ++i) listening.raise(record);
        },
        [&] { handThroughBareQueue(queue, event); });
}

const bool registered =
    bench::add({"NE event, 1 identifier: raise, ns; peer: encoding alone", bench::atMost(3), raising}) &&
    bench::add(
        {"NE event, 1 identifier: build and raise, ns; peer: encoding alone", bench::informsOfTime(), notifying}) &&
    bench::add({"NE event, 1 identifier: deliver, ns; peer: a bare queue", bench::atMost(2), delivering});

}  // namespace
