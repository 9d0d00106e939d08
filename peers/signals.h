// Waiting for the signals that end a program.
#pragma once

#include <unistd.h>

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
    // As if a signal had come. From any thread.
    static void raise() { kill(getpid(), SIGTERM); }

private:
    sigset_t signals_{};
};

}  // namespace peers
