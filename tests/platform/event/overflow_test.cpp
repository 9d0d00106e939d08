// A queue that is full.
#include <atomic>

#include "event/queue.h"
#include "fixture.h"
#include "platform/log.h"
#include "support/folder.h"

using frame::Event;
using frame::EventQueue;
using support::Gate;

namespace {

// Its handler, once it is inside the first event, handles no more until it is let go.
class OverflowTest : public EventTest {
protected:
    ~OverflowTest() override { frame::closeLog(); }

    void holdHandler() {
        raise(neCreated, "");
        ASSERT_TRUE(entered_.pass());
    }
    bool handled(int count) {
        while (handledCount_ < count)
            if (!steps_.take()) return false;
        return true;
    }
    std::string log() const { return support::contentOf(folder_.file("log")); }

    Gate leave_;

private:
    void openLog() { frame::openLog({folder_.file("log"), frame::LogLevel::info, true}, 1, 1); }

    support::Folder folder_;
    Gate entered_;
    std::atomic<int> handledCount_{0};
    support::Mailbox<int> steps_;
    frame::Subscription subscription_ = (openLog(), extendedManager().Subscribe(neCreated, [this](const Event&) {
        entered_.open();
        EXPECT_TRUE(leave_.pass());
        steps_.put(++handledCount_);
    }));
};

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
}

}  // namespace

TEST_F(OverflowTest, EventBeyondTheMostThatMayWaitIsDroppedAndTheRaiserIsTold) {
    holdHandler();
    constexpr int most = EventQueue::capacity;
    for (int i = 1; i < most; ++i) ASSERT_EQ(raise(neCreated, "x"), teEventRaised) << i;
    EXPECT_EQ(raise(neCreated, "one too many"), teEventOverflow);
    EXPECT_EQ(raise(neCreated, "another"), teEventOverflow);
    EXPECT_EQ(raise(marker, "for nobody"), teEventRaised);
    leave_.open();
    ASSERT_TRUE(handled(most));
    EXPECT_EQ(raise(neCreated, "fits again"), teEventRaised);
    ASSERT_TRUE(handled(most + 1));
    managers_.reset();
    EXPECT_EQ(count(log(), "event queue was full: 2 events dropped"), 1U) << log();
}

TEST_F(OverflowTest, RecordsBeyondTheOctetsThatMayWaitAreDropped) {
    holdHandler();
    const AsnOcts large(std::string(EventQueue::octetCapacity / 8, 'x'));
    const auto raiseLarge = [&] { return extendedManager().RaiseEvent(neCreated, 0, new TEAsnEventParam(large)); };
    for (int i = 0; i < 7; ++i) ASSERT_EQ(raiseLarge(), teEventRaised);
    EXPECT_EQ(raiseLarge(), teEventOverflow);
    EXPECT_EQ(raise(neCreated, "a small one still fits"), teEventRaised);
    leave_.open();
    ASSERT_TRUE(handled(9));
    EXPECT_EQ(raiseLarge(), teEventRaised);
}

TEST_F(OverflowTest, OtherProcessesGetAnEventThatTheOwnQueueRefuses) {
    holdHandler();
    support::Mailbox<unsigned long> elsewhere;
    while (raise(neCreated, "x") == teEventRaised) {
    }
    const auto sink =
        otherEngine_->subscribeEvent(neCreated, [&](const frame::EventMessage& event) { elsewhere.put(event.id); });
    EXPECT_EQ(raise(neCreated, "x"), teEventOverflow);
    EXPECT_EQ(elsewhere.take(), neCreated);
    leave_.open();
}

TEST_F(OverflowTest, ClassicManagerTellsOfAFullQueueToo) {
    Gate leave;
    const auto subscription = classicManager().Subscribe(neCreated, [&](const Event&) { EXPECT_TRUE(leave.pass()); });
    std::size_t accepted = 0;
    while (classicManager().RaiseEvent(neCreated, 0, nullptr) == teEventRaised) ++accepted;
    EXPECT_EQ(accepted, EventQueue::capacity);
    leave.open();
}
