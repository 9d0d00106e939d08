// The program that the tests kill.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace reliable_test {

// The sender program, with a pipe from its standard output.
class Sender {
public:
    // Throws std::runtime_error when it cannot be started.
    explicit Sender(std::vector<std::string> texts) {
        std::array<int, 2> pipe{};
        if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        std::string program = RELIABLE_SENDER;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        std::vector<char*> arguments{program.data()};
        for (std::string& text : texts) arguments.push_back(text.data());
        arguments.push_back(nullptr);
        const int failed = posix_spawn(&pid_, RELIABLE_SENDER, &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(pipe[1]);
        output_ = pipe[0];
        if (failed != 0) throw std::runtime_error("cannot start " RELIABLE_SENDER);
    }
    ~Sender() {
        kill();
        close(output_);
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    // Waits for the first number it says; false when it ends, or time passes, without one.
    [[nodiscard]] bool waitForFirst() const {
        pollfd descriptor{output_, POLLIN, 0};
        return poll(&descriptor, 1, 60'000) == 1 && (descriptor.revents & POLLIN) != 0;
    }
    // Lets it run for so long.
    static void letRun(std::chrono::microseconds time) {
        const timespec duration{0, std::chrono::nanoseconds(time).count()};
        ppoll(nullptr, 0, &duration, nullptr);
    }
    void kill() {
        if (pid_ < 0) return;
        ::kill(pid_, SIGKILL);
        waitpid(std::exchange(pid_, -1), nullptr, 0);
    }
    // The numbers it said. It has been killed.
    std::vector<std::int64_t> numbers() const {
        std::string text;
        std::array<char, 65536> octets{};
        for (ssize_t size = 0; (size = read(output_, octets.data(), octets.size())) > 0;)
            text.append(octets.data(), static_cast<std::size_t>(size));
        std::istringstream lines(text);
        std::vector<std::int64_t> numbers;
        for (std::int64_t number = 0; lines >> number;) numbers.push_back(number);
        return numbers;
    }

private:
    pid_t pid_ = -1;
    int output_ = -1;
};

}  // namespace reliable_test
