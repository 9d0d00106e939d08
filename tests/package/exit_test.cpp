// Programs that end while libnec is at work in another thread.
#include <gtest/gtest.h>

#include "support/run.h"

namespace {

void expectCleanExits(const char* process) {
    for (int run = 0; run < 20; ++run) {
        const support::Outcome outcome = support::run({EXITS_WHILE_RAISING, process});
        ASSERT_EQ(outcome.exitStatus, 0) << "signal " << outcome.signal << ", " << outcome.err;
    }
}

TEST(ExitWhileAnotherThreadRaisesEvents, IsCleanAfterTheProcessIsGone) {
    expectCleanExits("gone");
}

TEST(ExitWhileAnotherThreadRaisesEvents, IsCleanWithTheProcessAlive) {
    expectCleanExits("alive");
}

}  // namespace
