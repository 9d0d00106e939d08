// The contract of bus engines for reliable messages.
#include <atomic>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "contract.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::Delivery;
using frame::Payload;
using frame::ReliableMessage;
using frame::Subscription;
using support::Gate;
using Received = support::Mailbox<ReliableMessage>;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusReliableContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusHandingContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusKeepingContract);

namespace {

constexpr unsigned long id = 0xB0762A;
constexpr unsigned long otherId = 0xB0762B;

ReliableMessage message(std::string identifier = "m1", std::string_view record = "record", unsigned long to = id) {
    return {std::move(identifier), to, hereAddress, Payload(record)};
}

frame::ReliableSink into(Received& received) {
    return [&received](const ReliableMessage& taken) {
        received.put(taken);
        return true;
    };
}

std::string nextIdentifier(Received& received) {
    const auto taken = received.take();
    return taken ? taken->identifier : "nothing in time";
}

}  // namespace

TEST_P(BusReliableContract, AcknowledgedMessageIsDone) {
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(here_->publishReliable(message("m1", std::string("a\0b", 3))), orKept(Delivery::done));
    const auto taken = received.take();
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->identifier, "m1");
    EXPECT_EQ(taken->id, id);
    EXPECT_EQ(taken->sender, hereAddress);
    EXPECT_EQ(taken->record.view(), std::string_view("a\0b", 3));
}

TEST_P(BusReliableContract, EmptyRecordArrivesEmpty) {
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(here_->publishReliable(message("m1", "")), orKept(Delivery::done));
    const auto taken = received.take();
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->record.size(), 0U);
}

TEST_P(BusReliableContract, RecordOf1MiBArrivesWhole) {
    std::string record(1U << 20, 'x');
    for (std::size_t i = 0; i < record.size(); i += 997) record[i] = static_cast<char>(i);
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(here_->publishReliable(message("m1", record)), orKept(Delivery::done));
    const auto taken = received.take();
    ASSERT_TRUE(taken);
    EXPECT_TRUE(taken->record.view() == record);
}

TEST_P(BusReliableContract, MessagesOfOneThreadArriveInTheirOrder) {
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    for (int i = 0; i < 200; ++i) ASSERT_EQ(here_->publishReliable(message(std::to_string(i))), orKept(Delivery::done));
    for (int i = 0; i < 200; ++i) ASSERT_EQ(nextIdentifier(received), std::to_string(i));
}

TEST_P(BusReliableContract, ManyThreadsGetTheirMessagesThroughOneAtATime) {
    std::atomic<int> inside{0};
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, [&](const ReliableMessage& taken) {
        EXPECT_EQ(++inside, 1);
        received.put(taken);
        --inside;
        return true;
    });
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 100; ++i)
                EXPECT_EQ(here_->publishReliable(message(std::to_string(thread * 100 + i))), orKept(Delivery::done));
        });
    for (std::thread& thread : threads) thread.join();
    std::set<std::string> identifiers;
    for (int i = 0; i < 400; ++i) identifiers.insert(nextIdentifier(received));
    EXPECT_EQ(identifiers.size(), 400U);
}

TEST_P(BusReliableContract, EndedSubscriptionIsNotCalledAnyMore) {
    Received ended;
    Received staying;
    Subscription subscription = there_->subscribeReliable(id, into(ended));
    const Subscription other = here_->subscribeReliable(id, into(staying));
    subscription = {};
    EXPECT_EQ(here_->publishReliable(message()), orKept(Delivery::done));
    EXPECT_EQ(nextIdentifier(staying), "m1");
    EXPECT_TRUE(ended.empty());
}

TEST_P(BusReliableContract, EndingASubscriptionWaitsForItsSink) {
    Gate entered;
    Gate leave;
    std::atomic<bool> finished{false};
    Subscription subscription = there_->subscribeReliable(id, [&](const ReliableMessage&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        finished = true;
        return true;
    });
    std::thread publisher([this] { EXPECT_EQ(here_->publishReliable(message()), orKept(Delivery::done)); });
    EXPECT_TRUE(entered.pass());
    std::thread ender([&] {
        subscription = {};
        EXPECT_TRUE(finished);
    });
    leave.open();
    ender.join();
    publisher.join();
}

TEST_P(BusReliableContract, SinkMayEndItsOwnSubscription) {
    Received received;
    Subscription subscription;
    subscription = there_->subscribeReliable(id, [&](const ReliableMessage& taken) {
        subscription = {};
        received.put(taken);
        return true;
    });
    EXPECT_EQ(here_->publishReliable(message("m1")), orKept(Delivery::done));
    EXPECT_EQ(nextIdentifier(received), "m1");
    EXPECT_EQ(here_->publishReliable(message("m2")), orKept(Delivery::noReceiver));
    EXPECT_TRUE(received.empty());
}

TEST_P(BusReliableContract, SinkMayPublishOtherMessages) {
    Received received;
    const Subscription answers = here_->subscribeReliable(otherId, into(received));
    const Subscription subscription = there_->subscribeReliable(id, [&](const ReliableMessage&) {
        return there_->publishReliable(message("answer", "", otherId)) == orKept(Delivery::done);
    });
    EXPECT_EQ(here_->publishReliable(message()), orKept(Delivery::done));
    EXPECT_EQ(nextIdentifier(received), "answer");
}

TEST_P(BusReliableContract, DestroyedEngineLosesItsSubscriptions) {
    Received received;
    support::Mailbox<int> changes;
    Subscription outliving = there_->subscribeReliable(id, into(received));
    Subscription watch = there_->watchReliable([&] { changes.put(1); });
    there_.reset();
    EXPECT_EQ(here_->publishReliable(message()), orKept(Delivery::noReceiver));
    const Subscription subscription = here_->subscribeReliable(otherId, into(received));
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(received.empty());
    outliving = {};
    watch = {};
}

TEST_P(BusHandingContract, MessageThatNobodyTakesHasNoReceiver) {
    Received received;
    const Subscription subscription = there_->subscribeReliable(otherId, into(received));
    EXPECT_EQ(here_->publishReliable(message()), Delivery::noReceiver);
}

TEST_P(BusHandingContract, RefusedMessageComesAgainUntilItIsAcknowledged) {
    Received received;
    std::atomic<int> tries{0};
    const Subscription subscription = there_->subscribeReliable(id, [&](const ReliableMessage& taken) {
        if (++tries < 3) return false;
        received.put(taken);
        return true;
    });
    EXPECT_EQ(here_->publishReliable(message()), Delivery::refused);
    EXPECT_EQ(here_->publishReliable(message()), Delivery::refused);
    EXPECT_EQ(here_->publishReliable(message()), Delivery::done);
    EXPECT_EQ(nextIdentifier(received), "m1");
    EXPECT_EQ(tries, 3);
}

TEST_P(BusHandingContract, MessageReachesEveryProcessTheSendersOwnIncluded) {
    Received here;
    Received there;
    const Subscription a = here_->subscribeReliable(id, into(here));
    const Subscription b = there_->subscribeReliable(id, into(there));
    EXPECT_EQ(here_->publishReliable(message()), Delivery::done);
    EXPECT_EQ(nextIdentifier(here), "m1");
    EXPECT_EQ(nextIdentifier(there), "m1");
}

TEST_P(BusHandingContract, MessageIsRefusedWhenOneOfItsReceiversRefusesIt) {
    Received received;
    const Subscription a = here_->subscribeReliable(id, into(received));
    const Subscription b = there_->subscribeReliable(id, [](const ReliableMessage&) { return false; });
    EXPECT_EQ(here_->publishReliable(message()), Delivery::refused);
    EXPECT_EQ(nextIdentifier(received), "m1");
}

TEST_P(BusHandingContract, WatcherHearsOfNewReceiversWhoeverTheyAre) {
    support::Mailbox<int> changes;
    Received received;
    const Subscription watch = here_->watchReliable([&] { changes.put(1); });
    const Subscription own = here_->subscribeReliable(id, into(received));
    EXPECT_TRUE(changes.take());
    const Subscription others = there_->subscribeReliable(id, into(received));
    EXPECT_TRUE(changes.take());
}

TEST_P(BusHandingContract, MessagePassesOnceTheWatcherHasHeardOfAReceiver) {
    Gate changed;
    Received received;
    const Subscription watch = here_->watchReliable([&] { changed.open(); });
    ASSERT_EQ(here_->publishReliable(message()), Delivery::noReceiver);
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    ASSERT_TRUE(changed.pass());
    EXPECT_EQ(here_->publishReliable(message()), Delivery::done);
    EXPECT_EQ(nextIdentifier(received), "m1");
}

TEST_P(BusHandingContract, EndedWatcherHearsNothing) {
    support::Mailbox<int> ended;
    Gate heard;
    Received received;
    Subscription watch = here_->watchReliable([&] { ended.put(1); });
    const Subscription other = here_->watchReliable([&] { heard.open(); });
    watch = {};
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_TRUE(heard.pass());
    EXPECT_TRUE(ended.empty());
}

TEST_P(BusKeepingContract, MessageThatNobodyTakesIsKeptForItsReceiver) {
    Received received;
    const Subscription other = there_->subscribeReliable(otherId, into(received));
    EXPECT_EQ(here_->publishReliable(message("m1")), Delivery::kept);
    EXPECT_EQ(here_->publishReliable(message("m2")), Delivery::kept);
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(nextIdentifier(received), "m1");
    EXPECT_EQ(nextIdentifier(received), "m2");
}

TEST_P(BusKeepingContract, RefusedMessageComesAgainBeforeThoseBehindIt) {
    Received received;
    std::atomic<int> tries{0};
    const Subscription subscription = there_->subscribeReliable(id, [&](const ReliableMessage& taken) {
        received.put(taken);
        return ++tries > 2;
    });
    EXPECT_EQ(here_->publishReliable(message("m1")), Delivery::kept);
    EXPECT_EQ(here_->publishReliable(message("m2")), Delivery::kept);
    for (const char* expected : {"m1", "m1", "m1", "m2"}) EXPECT_EQ(nextIdentifier(received), expected);
}

TEST_P(BusKeepingContract, OthersPassARefusedMessage) {
    Received received;
    const Subscription refusing = there_->subscribeReliable(id, [](const ReliableMessage&) { return false; });
    const Subscription subscription = there_->subscribeReliable(otherId, into(received));
    EXPECT_EQ(here_->publishReliable(message("refused")), Delivery::kept);
    EXPECT_EQ(here_->publishReliable(message("passes", "", otherId)), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received), "passes");
}

TEST_P(BusKeepingContract, MessageReachesOneProcessOfEachTypeTheSendersIncluded) {
    const auto elsewhere = connect(elsewhereAddress);
    Received ofOwnType;
    Received ofOther;
    const Subscription a = here_->subscribeReliable(id, into(ofOwnType));
    const Subscription b = there_->subscribeReliable(id, into(ofOwnType));
    const Subscription c = elsewhere->subscribeReliable(id, into(ofOther));
    for (const char* identifier : {"m1", "m2"}) EXPECT_EQ(here_->publishReliable(message(identifier)), Delivery::kept);
    for (const char* identifier : {"m1", "m2"}) EXPECT_EQ(nextIdentifier(ofOwnType), identifier);
    for (const char* identifier : {"m1", "m2"}) EXPECT_EQ(nextIdentifier(ofOther), identifier);
    EXPECT_TRUE(ofOwnType.empty());
}

TEST_P(BusKeepingContract, MessageThatOneProcessRefusesReachesAnotherOfItsType) {
    Received received;
    const Subscription a = here_->subscribeReliable(id, into(received));
    const Subscription b = there_->subscribeReliable(id, [](const ReliableMessage&) { return false; });
    EXPECT_EQ(here_->publishReliable(message()), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received), "m1");
}

TEST_P(BusKeepingContract, MessageIsKeptForATypeWhoseProcessesAreGone) {
    Received received;
    { const Subscription subscription = there_->subscribeReliable(id, into(received)); }
    there_.reset();
    EXPECT_EQ(here_->publishReliable(message()), Delivery::kept);
    there_ = connect(thereAddress);
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(nextIdentifier(received), "m1");
}

TEST_P(BusKeepingContract, RepeatIsKeptOnce) {
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    for (const char* identifier : {"m1", "m1", "m2"})
        EXPECT_EQ(here_->publishReliable(message(identifier)), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received), "m1");
    EXPECT_EQ(nextIdentifier(received), "m2");
}

TEST_P(BusKeepingContract, LargestRecordArrivesWhole) {
    std::string record(std::size_t{64} << 20U, 'x');
    for (std::size_t i = 0; i < record.size(); i += 997) record[i] = static_cast<char>(i);
    Received received;
    const Subscription subscription = there_->subscribeReliable(id, into(received));
    EXPECT_EQ(here_->publishReliable(message("m1", record)), Delivery::kept);
    const auto taken = received.take();
    ASSERT_TRUE(taken);
    EXPECT_TRUE(taken->record.view() == record);
}

TEST_P(BusKeepingContract, LifeStaysTheSameWhileNothingIsLost) {
    const auto life = here_->keptLife();
    EXPECT_TRUE(life);
    EXPECT_EQ(here_->publishReliable(message()), Delivery::kept);
    EXPECT_EQ(here_->keptLife(), life);
}
