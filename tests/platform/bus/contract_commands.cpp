// The contract of bus engines for command messages.
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "contract.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::CommandSink;
using frame::Payload;
using frame::RequestCode;
using frame::Subscription;
using support::Gate;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusCommandContract);

namespace {

using Texts = support::Mailbox<std::string>;

constexpr CProcID anyOfType{hereAddress.procType, 0};
constexpr CProcID nobody{4000, 1};

CommandSink into(Texts& texts) {
    return [&texts](const Payload& message) { texts.put(std::string(message.view())); };
}

std::string next(Texts& texts) {
    return texts.take().value_or("nothing in time");
}

}  // namespace

RequestCode BusCommandContract::send(const CProcID& to, std::string_view message) {
    return here_->sendCommand(to, Payload(message));
}

TEST_P(BusCommandContract, MessageArrivesAsItIs) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    EXPECT_EQ(send(thereAddress, std::string_view("a\0b", 3)), RequestCode::ok);
    EXPECT_EQ(send(thereAddress, ""), RequestCode::ok);
    EXPECT_EQ(next(texts), std::string("a\0b", 3));
    EXPECT_EQ(next(texts), "");
}

TEST_P(BusCommandContract, MessageToAnyProcessOfATypeReachesOneThatReceivesThem) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    EXPECT_EQ(send(anyOfType, "message"), RequestCode::ok);
    EXPECT_EQ(next(texts), "message");
}

TEST_P(BusCommandContract, MessageToOneProcessReachesNoOther) {
    Texts here;
    Texts there;
    const Subscription receivingHere = here_->receiveCommands(into(here));
    const Subscription receivingThere = there_->receiveCommands(into(there));
    EXPECT_EQ(send(hereAddress, "here"), RequestCode::ok);
    EXPECT_EQ(send(thereAddress, "there"), RequestCode::ok);
    EXPECT_EQ(next(here), "here");
    EXPECT_EQ(next(there), "there");
    EXPECT_TRUE(here.empty());
    EXPECT_TRUE(there.empty());
}

TEST_P(BusCommandContract, MessageThatNobodyReceivesIsRefused) {
    EXPECT_EQ(send(nobody, "message"), RequestCode::noProcess);
    EXPECT_EQ(send(thereAddress, "message"), RequestCode::noProcess);
    EXPECT_EQ(send(anyOfType, "message"), RequestCode::noProcess);
}

TEST_P(BusCommandContract, LargeMessagePassesWhole) {
    const std::string large(1U << 19, 'x');
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    EXPECT_EQ(send(thereAddress, large), RequestCode::ok);
    EXPECT_TRUE(next(texts) == large);
}

TEST_P(BusCommandContract, TooLargeMessageIsRefused) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    EXPECT_EQ(send(thereAddress, std::string(frame::mostRequestOctets + 1, 'x')), RequestCode::tooLarge);
    EXPECT_EQ(send(thereAddress, "next"), RequestCode::ok);
    EXPECT_EQ(next(texts), "next");
}

TEST_P(BusCommandContract, MessagesOfOneThreadArriveInTheirOrder) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    for (int i = 0; i < 100; ++i) EXPECT_EQ(send(thereAddress, std::to_string(i)), RequestCode::ok);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(next(texts), std::to_string(i));
}

TEST_P(BusCommandContract, MessagesOfManyThreadsAllArrive) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this] {
            for (int i = 0; i < 200; ++i) EXPECT_EQ(send(thereAddress, "message"), RequestCode::ok);
        });
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 800; ++i) ASSERT_EQ(next(texts), "message");
}

TEST_P(BusCommandContract, SinkMaySendMessages) {
    Texts texts;
    const Subscription receiving = here_->receiveCommands(into(texts));
    const Subscription answering = there_->receiveCommands(
        [this](const Payload& message) { EXPECT_EQ(there_->sendCommand(hereAddress, message), RequestCode::ok); });
    EXPECT_EQ(send(thereAddress, "message"), RequestCode::ok);
    EXPECT_EQ(next(texts), "message");
}

TEST_P(BusCommandContract, SecondSinkOfAProcessIsRefusedByName) {
    Texts texts;
    const Subscription receiving = there_->receiveCommands(into(texts));
    try {
        const Subscription second = there_->receiveCommands([](const Payload&) { ADD_FAILURE() << "was called"; });
        FAIL() << "was taken";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "process 3001:2 receives commands already");
    }
    EXPECT_EQ(send(thereAddress, "message"), RequestCode::ok);
    EXPECT_EQ(next(texts), "message");
}

TEST_P(BusCommandContract, EndedSinkReceivesNoMoreAndAnotherMayTakeItsPlace) {
    Texts first;
    Texts second;
    Subscription receiving = there_->receiveCommands(into(first));
    receiving = {};
    EXPECT_EQ(send(thereAddress, "lost"), RequestCode::noProcess);
    receiving = there_->receiveCommands(into(second));
    EXPECT_EQ(send(thereAddress, "message"), RequestCode::ok);
    EXPECT_EQ(next(second), "message");
    EXPECT_TRUE(first.empty());
}

TEST_P(BusCommandContract, SinkThatHasEndedIsNotRunning) {
    Gate entered;
    Gate leave;
    bool left = false;
    Subscription receiving = there_->receiveCommands([&](const Payload&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        left = true;
    });
    std::thread sending([this] { EXPECT_EQ(send(thereAddress, "message"), RequestCode::ok); });
    ASSERT_TRUE(entered.pass());
    leave.open();
    receiving = {};
    EXPECT_TRUE(left);
    sending.join();
}

TEST_P(BusCommandContract, DestroyedEngineReceivesNoMore) {
    Texts texts;
    Subscription receiving = there_->receiveCommands(into(texts));
    there_.reset();
    EXPECT_EQ(send(thereAddress, "message"), RequestCode::noProcess);
    receiving = {};
}
