// Waiting for the signals that end a program.
#pragma once

#include <unistd.h>

#include <chrono>
#include <csignal>

namespace peers {

// SIGINT and SIGTERM, blocked in all threads, so that only wait() gets them. Made before any thread is started.
class EndSignals {
public:
    EndSignals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }
    void wait() const {
        int signal = 0;
        sigwait(&signals_, &signal);
    }
    // False when none came within `patience`.
    bool wait(std::chrono::nanoseconds patience) const {
        const auto whole = std::chrono::duration_cast<std::chrono::seconds>(patience);
        const timespec time{whole.count(), (patience - whole).count()};
        return sigtimedwait(&signals_, nullptr, &time) > 0;
    }
    // As if a signal had come. From any thread.
    static void raise() { kill(getpid(), SIGTERM); }

private:
    sigset_t signals_{};
};

}  // namespace peers
