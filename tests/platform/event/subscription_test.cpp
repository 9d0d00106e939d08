// From when to when a handler is called.
#include <atomic>
#include <thread>

#include "fixture.h"

using frame::Event;
using frame::Subscription;
using support::Gate;

namespace {

// Keeps the extended manager's thread inside a handler until it is released.
class Held {
public:
    Held() {
        EXPECT_EQ(raise(holding, ""), teEventRaised);
        EXPECT_TRUE(entered_.pass());
    }
    ~Held() { leave_.open(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    static constexpr unsigned long holding = 99;
    Gate entered_;
    Gate leave_;
    Subscription subscription_ = extendedManager().Subscribe(holding, [this](const Event&) {
        entered_.open();
        EXPECT_TRUE(leave_.pass());
    });
};

}  // namespace

using SubscriptionTest = EventTest;

TEST_F(SubscriptionTest, EventRaisedBeforeAHandlerSubscribedIsNotForIt) {
    Texts early;
    Texts late;
    const auto first = extendedManager().Subscribe(neCreated, into(early));
    Subscription second;
    {
        const Held held;
        raise(neCreated, "before");
        second = extendedManager().Subscribe(neCreated, into(late));
        raise(neCreated, "after");
    }
    EXPECT_EQ(next(early), "before");
    EXPECT_EQ(next(early), "after");
    EXPECT_EQ(next(late), "after");
}

TEST_F(SubscriptionTest, HandlerIsNotCalledOnceItsSubscriptionHasEnded) {
    Texts ended;
    Texts staying;
    Subscription subscription = extendedManager().Subscribe(neCreated, into(ended));
    const auto another = extendedManager().Subscribe(neCreated, into(staying));
    {
        const Held held;
        raise(neCreated, "queued");
        subscription = {};
    }
    EXPECT_EQ(next(staying), "queued");
    EXPECT_TRUE(ended.empty());
}

TEST_F(SubscriptionTest, HandlersAfterTheLastOneEndedAreCalledOnceAnEvent) {
    for (const char* text : {"a", "b", "c"}) {
        Texts texts;
        const auto first = extendedManager().Subscribe(neCreated, into(texts));
        raise(neCreated, text);
        EXPECT_EQ(next(texts), text);
        raise(neCreated, "again");
        EXPECT_EQ(next(texts), "again");
    }
}

TEST_F(SubscriptionTest, EndingASubscriptionWaitsForItsHandler) {
    Gate entered;
    Gate leave;
    std::atomic<bool> finished{false};
    Subscription subscription = extendedManager().Subscribe(neCreated, [&](const Event&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        finished = true;
    });
    raise(neCreated, "");
    ASSERT_TRUE(entered.pass());
    std::thread ender([&] {
        subscription = {};
        EXPECT_TRUE(finished);
    });
    leave.open();
    ender.join();
}

TEST_F(SubscriptionTest, HandlerMayEndItsOwnSubscription) {
    Texts once;
    Texts every;
    Subscription subscription;
    Gate stored;
    subscription = extendedManager().Subscribe(neCreated, [&](const Event& event) {
        EXPECT_TRUE(stored.pass());
        subscription = {};
        once.put(textOf(event));
    });
    stored.open();
    const auto another = extendedManager().Subscribe(neCreated, into(every));
    raise(neCreated, "first");
    raise(neCreated, "second");
    EXPECT_EQ(next(every), "first");
    EXPECT_EQ(next(every), "second");
    EXPECT_EQ(next(once), "first");
    EXPECT_TRUE(once.empty());
}

TEST_F(SubscriptionTest, HandlerMayRaiseAndSubscribe) {
    Texts answers;
    Subscription answering;
    const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event& event) {
        answering = extendedManager().Subscribe(marker, into(answers));
        EXPECT_EQ(raise(marker, "answer to " + textOf(event)), teEventRaised);
    });
    raise(neCreated, "question");
    EXPECT_EQ(next(answers), "answer to question");
}

TEST_F(SubscriptionTest, TokenThatOutlivesTheManagersIsHarmless) {
    Texts texts;
    Subscription classic = classicManager().Subscribe(neCreated, into(texts));
    Subscription extended = extendedManager().Subscribe(neCreated, into(texts));
    managers_.reset();
    engine_.reset();
    classic = {};
    extended = {};
    EXPECT_TRUE(texts.empty());
}

TEST_F(SubscriptionTest, SubscriptionsComeAndGoWhileThreadsRaise) {
    std::atomic<bool> stop{false};
    std::atomic<int> calledTooLate{0};
    std::thread raiser([&] {
        while (!stop) raise(neCreated, "x");
    });
    for (int i = 0; i < 100; ++i) {
        std::atomic<bool> alive{true};
        Gate called;
        Subscription subscription = extendedManager().Subscribe(neCreated, [&](const Event&) {
            if (!alive) ++calledTooLate;
            called.open();
        });
        EXPECT_TRUE(called.pass());
        subscription = {};
        alive = false;
    }
    stop = true;
    raiser.join();
    EXPECT_EQ(calledTooLate, 0);
}
