// Processes that are killed at random moments, on one file.
#include <algorithm>
#include <random>

#include "effects.h"
#include "fixture.h"
#include "sender.h"

namespace reliable_test {

namespace {

constexpr int rounds = 200;
constexpr std::int64_t numbersARound = 1'000'000;

class KilledProcess : public ReliableTest {
protected:
    std::string effectsFile() const { return folder_.file("effects.db"); }

    // What was accepted before the process was killed at a random moment: half of the time one after its first
    // message, else any from its very start on.
    std::vector<std::int64_t> killedRound(int round) {
        Sender sender({file(), effectsFile(), std::to_string(round * numbersARound)});
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
