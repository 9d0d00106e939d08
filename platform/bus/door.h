// The way from an `Instance()` that lives for ever to a service that comes and goes.
#pragma once

#include <atomic>
#include <cstdint>

namespace frame {

// A door to an Impl, open while there is one. Make it a constinit object of static storage: it has no destructor, so
// threads may call through it before the service is made, after it is gone, and while the program exits.
//
// A pinned call costs two atomic read-modify-writes. Once the door is shut, callers cost one load.
template <class Impl>
class Door {
public:
    // Keeps the Impl alive while it lives; null when the door is shut.
    class Pin {
    public:
        explicit Pin(Door& door) : door_(door), impl_(door.enter()) {}
        ~Pin() {
            if (impl_ != nullptr) door_.leave();
        }
        Pin(const Pin&) = delete;
        Pin& operator=(const Pin&) = delete;

        explicit operator bool() const { return impl_ != nullptr; }
        Impl* operator->() const { return impl_; }
        Impl& operator*() const { return *impl_; }

    private:
        Door& door_;
        Impl* impl_;
    };

    constexpr Door() = default;
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    Pin pin() { return Pin(*this); }
    bool isOpen() const { return impl_.load(std::memory_order_acquire) != nullptr; }

    // `impl` must stay until close() has returned. False when the door is open already; then nothing changes.
    bool open(Impl& impl) {
        Impl* none = nullptr;
        return impl_.compare_exchange_strong(none, &impl);
    }

    // Turns new callers away and waits until those inside have left. A thread must not close a door that it has
    // pinned itself: it would wait for itself. Whoever blocks inside a pinned call must be told to leave before.
    void close() {
        shut();
        wait();
    }

    // The two halves of close(), and whether wait() would return at once.
    void shut() { impl_.store(nullptr); }
    void wait() const {
        for (auto inside = inside_.load(); inside != 0; inside = inside_.load()) inside_.wait(inside);
    }
    bool idle() const { return inside_.load() == 0; }

private:
    // Either the caller's count is seen by wait(), or shut()'s null is seen by the caller: all four accesses are in
    // one total order.
    Impl* enter() {
        if (!isOpen()) return nullptr;  // so that callers at a shut door cannot keep wait() from returning
        inside_.fetch_add(1);
        Impl* impl = impl_.load();
        if (impl == nullptr) leave();
        return impl;
    }

    void leave() {
        if (inside_.fetch_sub(1) == 1 && !isOpen()) inside_.notify_all();
    }

    std::atomic<Impl*> impl_{nullptr};
    std::atomic<std::uint32_t> inside_{0};
};

}  // namespace frame
