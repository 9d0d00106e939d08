// Processes that are killed at random moments, on one file.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <random>
#include <sstream>

#include "effects.h"
#include "fixture.h"

namespace reliable_test {

namespace {

constexpr int rounds = 200;
constexpr std::int64_t numbersARound = 1'000'000;

// The sender program, with a pipe from its standard output.
class Sender {
public:
    Sender(const std::string& outbox, const std::string& effects, std::int64_t first) {
        std::array<int, 2> pipe{};
        if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        std::array<std::string, 4> texts{RELIABLE_SENDER, outbox, effects, std::to_string(first)};
        std::array<char*, 5> arguments{texts[0].data(), texts[1].data(), texts[2].data(), texts[3].data(), nullptr};
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

class KilledProcess : public ReliableTest {
protected:
    std::string effectsFile() const { return folder_.file("effects.db"); }

    // What was accepted before the process was killed at a random moment: half of the time one after its first
    // message, else any from its very start on.
    std::vector<std::int64_t> killedRound(int round) {
        Sender sender(file(), effectsFile(), round * numbersARound);
        if (round % 2 == 0 && !sender.waitForFirst()) throw std::runtime_error("the sender sends nothing");
        Sender::letRun(std::chrono::microseconds(std::uniform_int_distribution<int>(0, 30'000)(random_)));
        sender.kill();
        return sender.numbers();
    }

    // Handles what is left in the outbox.
    void drain(Effects& effects) {
        open();
        Mailbox last;
        const auto subscription = subscribe(numberMessage, [&](const ReliableEvent& event) {
            const bool done = effects.handle(event);
            if (textOf(event) == std::to_string(rounds * numbersARound)) last.put(event);
            return done;
        });
        ASSERT_EQ(send(std::to_string(rounds * numbersARound), numberMessage), ReliableCode::ok);
        ASSERT_TRUE(last.waitFor(1));
        close();
        EXPECT_EQ(depth(), 0U);
    }

    const unsigned seed_ = std::random_device{}();
    std::minstd_rand random_{seed_};
};

TEST_F(KilledProcess, LosesNothingThatWasAcceptedAndRepeatsAreKnownByTheirIdentifiers) {
    SCOPED_TRACE("seed " + std::to_string(seed_));
    std::vector<std::int64_t> accepted;
    for (int round = 0; round < rounds; ++round) {
        const auto numbers = killedRound(round);
        accepted.insert(accepted.end(), numbers.begin(), numbers.end());
    }
    Effects effects(effectsFile());
    drain(effects);

    const auto handled = effects.numbers();
    EXPECT_TRUE(std::is_sorted(handled.begin(), handled.end()));
    EXPECT_EQ(std::adjacent_find(handled.begin(), handled.end()), handled.end());
    std::vector<std::int64_t> lost;
    std::set_difference(accepted.begin(), accepted.end(), handled.begin(), handled.end(), std::back_inserter(lost));
    EXPECT_THAT(lost, testing::IsEmpty());
    EXPECT_GE(accepted.size(), static_cast<std::size_t>(rounds / 2));
    std::cout << "seed " << seed_ << ": " << accepted.size() << " accepted, " << handled.size() << " handled, "
              << effects.repeats() << " came again\n";
}

}  // namespace

}  // namespace reliable_test
