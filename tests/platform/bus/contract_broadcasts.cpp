// The contract of bus engines for broadcasts.
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "contract.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::BroadcastMessage;
using frame::BroadcastSink;
using frame::Payload;
using frame::RequestCode;
using frame::Subscription;
using support::Gate;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusBroadcastContract);

namespace {

using Messages = support::Mailbox<BroadcastMessage>;

constexpr std::uint32_t command = 4193191;
constexpr std::uint16_t target = 3003;

BroadcastSink into(Messages& messages) {
    return [&messages](const BroadcastMessage& message) { messages.put(message); };
}

std::string nextText(Messages& messages) {
    const auto message = messages.take();
    return message ? std::string(message->record.view()) : "nothing in time";
}

}  // namespace

RequestCode BusBroadcastContract::send(std::string_view record, std::uint16_t to) {
    return here_->broadcast({command, to, hereAddress, Payload(record)});
}

TEST_P(BusBroadcastContract, MessageReachesEveryProcessThatSubscribedWithAllItCarries) {
    const auto third = connect({4711, 1});
    std::vector<Messages> inboxes(3);
    const Subscription here = here_->subscribeBroadcast(target, into(inboxes[0]));
    const Subscription there = there_->subscribeBroadcast(target, into(inboxes[1]));
    const Subscription elsewhere = third->subscribeBroadcast(target, into(inboxes[2]));
    ASSERT_EQ(send(std::string_view("a\0b", 3)), RequestCode::ok);
    for (Messages& inbox : inboxes) {
        const auto message = inbox.take();
        ASSERT_TRUE(message);
        EXPECT_EQ(message->command, command);
        EXPECT_EQ(message->target, target);
        EXPECT_EQ(message->sender, hereAddress);
        EXPECT_EQ(message->record.view(), std::string_view("a\0b", 3));
    }
}

TEST_P(BusBroadcastContract, EverySubscriptionOfAProcessGetsIt) {
    Messages first;
    Messages second;
    const Subscription one = there_->subscribeBroadcast(target, into(first));
    const Subscription two = there_->subscribeBroadcast(target, into(second));
    ASSERT_EQ(send("record"), RequestCode::ok);
    EXPECT_EQ(nextText(first), "record");
    EXPECT_EQ(nextText(second), "record");
}

TEST_P(BusBroadcastContract, OtherTargetsAreNotHeard) {
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    ASSERT_EQ(send("other", target + 1), RequestCode::ok);
    ASSERT_EQ(send("mine"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "mine");
}

TEST_P(BusBroadcastContract, MessageThatNobodyHearsIsSent) {
    EXPECT_EQ(send("record"), RequestCode::ok);
}

TEST_P(BusBroadcastContract, WhoSubscribesLaterHearsOnlyWhatIsSentThen) {
    ASSERT_EQ(send("before"), RequestCode::ok);
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    ASSERT_EQ(send("after"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "after");
}

TEST_P(BusBroadcastContract, MessagesOfOneThreadArriveInTheirOrder) {
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    for (int i = 0; i < 200; ++i) ASSERT_EQ(send(std::to_string(i)), RequestCode::ok);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(nextText(messages), std::to_string(i));
}

TEST_P(BusBroadcastContract, RecordsOfAnySizeArriveWhole) {
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    for (const std::size_t size : {std::size_t{1}, std::size_t{524287}, std::size_t{524288}, std::size_t{524289},
                                   std::size_t{3} << 20U, std::size_t{33} << 20U}) {
        std::string record(size, 'x');
        for (std::size_t at = 0; at < size; at += 4099) record[at] = static_cast<char>(at % 251);
        ASSERT_EQ(send(record), RequestCode::ok);
        EXPECT_TRUE(nextText(messages) == record) << size;
    }
}

TEST_P(BusBroadcastContract, TooLargeRecordIsRefusedAndReachesNobody) {
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    EXPECT_EQ(send(std::string(frame::mostBroadcastOctets + 1, 'x')), RequestCode::tooLarge);
    ASSERT_EQ(send("after"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "after");
}

TEST_P(BusBroadcastContract, SlowSinkHoldsUpNeitherTheSenderNorOthers) {
    Gate gate;
    Messages slow;
    Messages quick;
    const Subscription slowly = there_->subscribeBroadcast(target, [&](const BroadcastMessage& message) {
        EXPECT_TRUE(gate.pass());
        slow.put(message);
    });
    const Subscription quickly = there_->subscribeBroadcast(target, into(quick));
    for (const char* text : {"one", "two", "three"}) ASSERT_EQ(send(text), RequestCode::ok);
    for (const char* text : {"one", "two", "three"}) EXPECT_EQ(nextText(quick), text);
    EXPECT_TRUE(slow.empty());
    gate.open();
    for (const char* text : {"one", "two", "three"}) EXPECT_EQ(nextText(slow), text);
}

TEST_P(BusBroadcastContract, SinkThatThrowsGetsTheNextOneAllTheSame) {
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, [&](const BroadcastMessage& message) {
        messages.put(message);
        throw std::runtime_error("cannot");
    });
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_EQ(send("two"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "one");
    EXPECT_EQ(nextText(messages), "two");
}

TEST_P(BusBroadcastContract, SubscriptionMayEndInsideItsSinkAndIsNotCalledAgain) {
    Messages messages;
    Subscription receiving;
    Gate assigned;
    receiving = there_->subscribeBroadcast(target, [&](const BroadcastMessage& message) {
        EXPECT_TRUE(assigned.pass());
        receiving = {};
        messages.put(message);
    });
    assigned.open();
    Messages others;
    const Subscription other = there_->subscribeBroadcast(target, into(others));
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_EQ(send("two"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "one");
    EXPECT_EQ(nextText(others), "one");
    EXPECT_EQ(nextText(others), "two");
    there_.reset();  // waits for the thread of the sink
    EXPECT_TRUE(messages.empty());
}

TEST_P(BusBroadcastContract, EndOfAnEngineWaitsForASinkThatHasEndedItsSubscription) {
    Gate ended;
    Gate leave;
    std::atomic<bool> left{false};
    Subscription receiving;
    Gate assigned;
    receiving = there_->subscribeBroadcast(target, [&](const BroadcastMessage&) {
        EXPECT_TRUE(assigned.pass());
        receiving = {};
        ended.open();
        EXPECT_TRUE(leave.pass());
        left = true;
    });
    assigned.open();
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_TRUE(ended.pass());
    const std::jthread opener([&leave] { leave.open(); });
    there_.reset();
    EXPECT_TRUE(left);
}

TEST_P(BusBroadcastContract, TwoWhoEndASubscriptionBothWaitForItsSink) {
    Gate entered;
    Gate leave;
    std::atomic<bool> left{false};
    Subscription receiving = there_->subscribeBroadcast(target, [&](const BroadcastMessage&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        left = true;
    });
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_TRUE(entered.pass());
    const std::jthread ending([this, &left] {
        there_.reset();
        EXPECT_TRUE(left);
    });
    const std::jthread opener([&leave] { leave.open(); });
    receiving = {};
    EXPECT_TRUE(left);
}

TEST_P(BusBroadcastContract, EndOfASubscriptionWaitsForItsSinkWhichIsNotCalledAgain) {
    Gate entered;
    Gate leave;
    std::atomic<int> handled{0};
    Subscription receiving = there_->subscribeBroadcast(target, [&](const BroadcastMessage&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        ++handled;
    });
    Messages others;
    const Subscription other = there_->subscribeBroadcast(target, into(others));
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_TRUE(entered.pass());
    const std::jthread opener([&leave] { leave.open(); });
    receiving = {};
    EXPECT_EQ(handled, 1);
    ASSERT_EQ(send("two"), RequestCode::ok);
    EXPECT_EQ(nextText(others), "one");
    EXPECT_EQ(nextText(others), "two");
    EXPECT_EQ(handled, 1);
}

TEST_P(BusBroadcastContract, ReceiverThatIsGoneHarmsNobody) {
    Messages messages;
    Messages lost;
    const Subscription receiving = here_->subscribeBroadcast(target, into(messages));
    const Subscription gone = there_->subscribeBroadcast(target, into(lost));
    there_.reset();
    ASSERT_EQ(send("record"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "record");
    EXPECT_TRUE(lost.empty());
}

TEST_P(BusBroadcastContract, ReceiverThatGoesInTheMiddleHarmsNobody) {
    Gate entered;
    Gate leave;
    Messages messages;
    const Subscription receiving = here_->subscribeBroadcast(target, into(messages));
    const Subscription going = there_->subscribeBroadcast(target, [&](const BroadcastMessage&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
    });
    ASSERT_EQ(send("one"), RequestCode::ok);
    ASSERT_TRUE(entered.pass());
    {
        const std::jthread ending([this] { there_.reset(); });
        for (const char* text : {"two", "three"}) EXPECT_EQ(send(text), RequestCode::ok);
        for (const char* text : {"one", "two", "three"}) EXPECT_EQ(nextText(messages), text);
        leave.open();
    }
    EXPECT_EQ(send("four"), RequestCode::ok);
    EXPECT_EQ(nextText(messages), "four");
}

TEST_P(BusBroadcastContract, ManyThreadsSendWhileOthersComeAndGo) {
    constexpr int threads = 4;
    constexpr int messagesEach = 100;
    Messages messages;
    const Subscription receiving = there_->subscribeBroadcast(target, into(messages));
    std::vector<std::thread> senders;
    senders.reserve(threads);
    for (int thread = 0; thread < threads; ++thread)
        senders.emplace_back([&] {
            for (int i = 0; i < messagesEach; ++i) EXPECT_EQ(send("record"), RequestCode::ok);
        });
    for (int i = 0; i < 50; ++i)
        const Subscription passing = here_->subscribeBroadcast(target, [](const BroadcastMessage&) {});
    for (std::thread& sender : senders) sender.join();
    for (int i = 0; i < threads * messagesEach; ++i) ASSERT_EQ(nextText(messages), "record");
}
