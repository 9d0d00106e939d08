// Holding a lock that may refuse.
#pragma once

namespace NEC {

// Holds `lock` from construction to destruction if it could be taken; otherwise its owner goes on without it. What
// fails leaves its code in errno.
template <class Lock>
class Held {
public:
    Held(Lock& lock, int (Lock::*take)()) : lock_(lock), taken_((lock.*take)() == 0) {}
    ~Held() {
        if (taken_) lock_.release();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    Lock& lock_;
    const bool taken_;
};

}  // namespace NEC
