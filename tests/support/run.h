// Running real programs from tests: with a time-out on every wait, and ended by their pid whatever happens.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/patience.h"

namespace support {

// What a program left behind.
struct Outcome {
    std::optional<int> exitStatus;  // empty when a signal ended it
    int signal = 0;                 // the signal that ended it, else 0
    bool timedOut = false;          // it was killed because it took too long
    std::string out;                // what it wrote to standard output
    std::string err;                // what it wrote to standard error
};

// A program that runs beside the test. Used by one thread. Destroying it kills the program and waits for its end.
class Child {
public:
    // Starts `argv[0]`, looked up in PATH, with `input` as standard input. `environment`: "NAME=value" entries added to
    // the test's own environment. Throws std::runtime_error when it cannot be started.
    explicit Child(const std::vector<std::string>& argv, std::string_view input = {},
                   const std::vector<std::string>& environment = {});
    // The same with `socket` as standard input and output, as servers run under inetd. Its outcome has no `out`.
    Child(const std::vector<std::string>& argv, int socket);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    // What it wrote so far, as far as one of the waits below has read it.
    const std::string& out() const { return outcome_.out; }

    // Waits until standard output contains `text`; false when it ends, or `timeout` passes, without that.
    [[nodiscard]] bool waitForOutput(std::string_view text, std::chrono::milliseconds timeout = patience);
    // Sends `signal`; does nothing once the program was waited for.
    void signal(int signal);
    // Waits for its end; kills it when `timeout` passes first.
    Outcome wait(std::chrono::milliseconds timeout = patience);

private:
    using Deadline = std::chrono::steady_clock::time_point;
    // Reads what there is, waiting for some until `deadline`; false when nothing more will come.
    bool pump(Deadline deadline);
    void watch(pid_t pid);
    void reap();

    pid_t pid_ = -1;
    int pidfd_ = -1;
    int out_ = -1;
    int err_ = -1;
    bool ended_ = false;
    Outcome outcome_;
};

// Runs `argv` to its end. See Child.
Outcome run(const std::vector<std::string>& argv, std::string_view input = {},
            const std::vector<std::string>& environment = {}, std::chrono::milliseconds timeout = patience);

}  // namespace support
