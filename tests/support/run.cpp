#include "support/run.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // declares C functions without saying so
}

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace support {
namespace {

void check(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what + ": " + std::strerror(errno));
}

// Standard input comes from memory: no pipe that could fill up, or break under the writer.
int inputFile(std::string_view input) {
    const int fd = memfd_create("input", MFD_CLOEXEC);
    check(fd >= 0, "memfd_create");
    while (!input.empty()) {
        const ssize_t written = write(fd, input.data(), input.size());
        check(written > 0, "write");
        input.remove_prefix(static_cast<std::size_t>(written));
    }
    check(lseek(fd, 0, SEEK_SET) == 0, "lseek");
    return fd;
}

struct Pipe {
    Pipe() { check(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe2"); }
    std::array<int, 2> ends{};
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> result = added;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string name(*entry, std::string_view(*entry).find('=') + 1);
        if (std::none_of(added.begin(), added.end(), [&](const auto& own) { return own.starts_with(name); })) {
            result.emplace_back(*entry);
        }
    }
    return result;
}

pid_t spawn(std::vector<std::string> argv, std::vector<std::string> environment, int in, int out, int err) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
    // What libraries open without closing it in children: an end of a socket kept open there is never seen closed.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t pid = -1;
    errno =
        posix_spawnp(&pid, argv.at(0).c_str(), &actions, nullptr, pointers(argv).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    check(errno == 0, argv[0]);
    return pid;
}

// Appends what can be read from `fd` now; closes it at its end.
void drain(int& fd, std::string& text) {
    std::array<char, 65536> buffer{};
    while (fd >= 0) {
        const ssize_t got = read(fd, buffer.data(), buffer.size());
        if (got > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            close(fd);
            fd = -1;
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

int millisecondsUntil(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

}  // namespace

Child::Child(const std::vector<std::string>& argv, std::string_view input,
             const std::vector<std::string>& environment) {
    const int in = inputFile(input);
    const Pipe out;
    const Pipe err;
    out_ = out.ends[0];
    err_ = err.ends[0];
    for (const int fd : {out_, err_}) check(fcntl(fd, F_SETFL, O_NONBLOCK) == 0, "fcntl");
    watch(spawn(argv, environmentWith(environment), in, out.ends[1], err.ends[1]));
    for (const int fd : {in, out.ends[1], err.ends[1]}) close(fd);
}

Child::Child(const std::vector<std::string>& argv, int socket) {
    const Pipe err;
    err_ = err.ends[0];
    check(fcntl(err_, F_SETFL, O_NONBLOCK) == 0, "fcntl");
    watch(spawn(argv, environmentWith({}), socket, socket, err.ends[1]));
    close(err.ends[1]);
}

void Child::watch(pid_t pid) {
    pid_ = pid;
    pidfd_ = pidfd_open(pid_, 0);
    check(pidfd_ >= 0, "pidfd_open");
}

Child::~Child() {
    signal(SIGKILL);
    reap();
    for (const int fd : {pidfd_, out_, err_}) {
        if (fd >= 0) close(fd);
    }
}

bool Child::pump(Deadline deadline) {
    if (ended_) return false;
    // A closed pipe is -1, which poll passes over.
    std::array<pollfd, 3> waits{{{pidfd_, POLLIN, 0}, {out_, POLLIN, 0}, {err_, POLLIN, 0}}};
    const int ready = poll(waits.data(), waits.size(), millisecondsUntil(deadline));
    if (ready <= 0) return ready < 0 && errno == EINTR;
    // What an ended program leaves in the pipes is read after its end was seen, so nothing is missed.
    if (waits[0].revents != 0) reap();
    drain(out_, outcome_.out);
    drain(err_, outcome_.err);
    return true;
}

bool Child::waitForOutput(std::string_view text, std::chrono::milliseconds timeout) {
    const Deadline deadline = std::chrono::steady_clock::now() + timeout;
    while (outcome_.out.find(text) == std::string::npos) {
        if (!pump(deadline)) return false;
    }
    return true;
}

void Child::signal(int signal) {
    if (!ended_) kill(pid_, signal);
}

Outcome Child::wait(std::chrono::milliseconds timeout) {
    const Deadline deadline = std::chrono::steady_clock::now() + timeout;
    while (pump(deadline)) {
    }
    if (!ended_) {
        outcome_.timedOut = true;
        signal(SIGKILL);
        reap();
        drain(out_, outcome_.out);
        drain(err_, outcome_.err);
    }
    return outcome_;
}

void Child::reap() {
    if (ended_) return;
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    ended_ = true;
    if (WIFEXITED(status)) outcome_.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome_.signal = WTERMSIG(status);
}

Outcome run(const std::vector<std::string>& argv, std::string_view input, const std::vector<std::string>& environment,
            std::chrono::milliseconds timeout) {
    return Child(argv, input, environment).wait(timeout);
}

}  // namespace support
