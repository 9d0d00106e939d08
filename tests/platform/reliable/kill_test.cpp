// Processes that are killed at random moments, on one file.
#include "killed.h"

namespace reliable_test {

namespace {

class KilledProcess : public Killed<ReliableTest> {
protected:
    // Half of the time it is killed after its first message, else at any moment from its very start on.
    std::vector<std::int64_t> killedRound(int round) override {
        Sender sender({file(), effectsFile(), std::to_string(round * numbersARound)});
        if (round % 2 == 0 && !sender.waitForFirst()) throw std::runtime_error("the sender sends nothing");
        Sender::letRun(std::chrono::microseconds(std::uniform_int_distribution<int>(0, 30'000)(random_)));
        sender.kill();
        return sender.numbers();
    }
};

TEST_F(KilledProcess, LosesNothingThatWasAcceptedAndRepeatsAreKnownByTheirIdentifiers) {
    losesNothingIn(200);
    EXPECT_EQ(depth(), 0U);
}

}  // namespace

}  // namespace reliable_test
