// Rounds in which a sender is killed, on one file.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>
#include <random>

#include "effects.h"
#include "fixture.h"
#include "sender.h"

namespace reliable_test {

inline constexpr std::int64_t numbersARound = 1'000'000;

// `Fixture`: what opens, sends and subscribes.
template <class Fixture>
class Killed : public Fixture {
protected:
    std::string effectsFile() const { return this->folder_.file("effects.db"); }

    // What was accepted before the process was killed at a random moment.
    virtual std::vector<std::int64_t> killedRound(int round) = 0;

    void losesNothingIn(int rounds) {
        SCOPED_TRACE("seed " + std::to_string(seed_));
        std::vector<std::int64_t> accepted;
        for (int round = 0; round < rounds; ++round) {
            const auto numbers = killedRound(round);
            accepted.insert(accepted.end(), numbers.begin(), numbers.end());
        }
        Effects effects(effectsFile());
        ASSERT_NO_FATAL_FAILURE(drain(effects, std::to_string(rounds * numbersARound)));

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

    const unsigned seed_ = std::random_device{}();
    std::minstd_rand random_{seed_};

private:
    // Handles what is left in the outbox, and a message behind it.
    void drain(Effects& effects, const std::string& end) {
        this->open();
        Mailbox last;
        const auto subscription = subscribe(numberMessage, [&](const frame::ReliableEvent& event) {
            const bool done = effects.handle(event);
            if (textOf(event) == end) last.put(event);
            return done;
        });
        ASSERT_EQ(send(end, numberMessage), frame::ReliableCode::ok);
        ASSERT_TRUE(last.waitFor(1));
        this->close();
    }
};

}  // namespace reliable_test
