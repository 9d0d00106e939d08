// The thread that what came waits for: whatever one message does there, the next one has its turn.
#include "bus/nats/executor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "platform/log.h"
#include "support/folder.h"
#include "support/gate.h"

TEST(NatsExecutor, WorkThatThrowsIsLoggedWithABoundAndTheNextIsDone) {
    const support::Folder folder;
    frame::LogOptions log;
    log.file = folder.file("log");
    frame::openLog(log, 1, 1);
    {
        frame::nats::Executor<std::function<void()>> executor;
        support::Gate done;
        constexpr int count = 200;
        for (int i = 0; i < count; ++i) executor.push([] { throw std::runtime_error("too bad"); });
        executor.push([] { throw 1; });
        executor.push([&] { done.open(); });
        EXPECT_TRUE(done.pass());
    }
    frame::closeLog();
    const std::string text = support::contentOf(folder.file("log"));
    EXPECT_NE(text.find("a message is dropped: too bad"), std::string::npos) << text;
    EXPECT_LT(std::count(text.begin(), text.end(), '\n'), 100);
}
