// The reliable channel over servers that stop, are killed, lose their store, or are tampered with.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "platform/log.h"
#include "platform/nats.h"
#include "support/gate.h"
#include "support/mailbox.h"
#include "support/nats_admin.h"
#include "support/nats_server.h"

namespace {

using frame::Delivery;
using frame::Payload;
using frame::ReliableMessage;
using support::NatsAdmin;
using support::NatsServer;
using Received = support::Mailbox<ReliableMessage>;

constexpr unsigned long id = 0xB0762A;
constexpr const char* subject = "nec.rm.0xB0762A";
constexpr const char* consumer = "t3004-0xB0762A";

ReliableMessage message(std::string identifier, std::string_view record = "record") {
    return {std::move(identifier), id, {3001, 1}, Payload(record)};
}

std::string nextIdentifier(Received& received) {
    const auto taken = received.take();
    return taken ? taken->identifier : "nothing in time";
}

class NatsReliable : public testing::Test {
protected:
    std::unique_ptr<frame::NatsEngine> connect(CProcID address) const {
        frame::NatsOptions options;
        options.servers = {server_.url()};
        return frame::connectNats(address, options);
    }

    // What comes of handing it over, again and again while the bus is down.
    Delivery publish(const std::string& identifier, std::string_view record = "record") {
        const auto deadline = std::chrono::steady_clock::now() + support::patience;
        Delivery delivery = Delivery::down;
        while (delivery == Delivery::down && std::chrono::steady_clock::now() < deadline) {
            delivery = sender_->publishReliable(message(identifier, record));
            if (delivery == Delivery::down) std::this_thread::yield();
        }
        return delivery;
    }
    // Which life it is, once that can be told.
    std::optional<std::uint64_t> life() {
        const auto deadline = std::chrono::steady_clock::now() + support::patience;
        std::optional<std::uint64_t> life;
        while (!life && std::chrono::steady_clock::now() < deadline) life = sender_->keptLife();
        return life;
    }
    [[nodiscard]] frame::Subscription receive() {
        return receiver_->subscribeReliable(id, [this](const ReliableMessage& taken) {
            received_.put(taken);
            return true;
        });
    }

    NatsServer server_{"", true};
    Received received_;
    std::unique_ptr<frame::NatsEngine> sender_ = connect({3001, 1});
    std::unique_ptr<frame::NatsEngine> receiver_ = connect({3004, 1});
};

}  // namespace

TEST_F(NatsReliable, MessageSurvivesARestartOfTheServer) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    server_.stop();
    EXPECT_EQ(sender_->publishReliable(message("m2")), Delivery::down);
    server_.start();
    ASSERT_EQ(publish("m2"), Delivery::kept);
    const auto subscription = receive();
    EXPECT_EQ(nextIdentifier(received_), "m1");
    EXPECT_EQ(nextIdentifier(received_), "m2");
}

TEST_F(NatsReliable, ReceiverGoesOnAfterTheServerWasKilled) {
    const auto subscription = receive();
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "m1");
    server_.kill();
    server_.start();
    ASSERT_EQ(publish("m2"), Delivery::kept);
    std::string next = nextIdentifier(received_);
    if (next == "m1") next = nextIdentifier(received_);  // its acknowledgement was killed with the server
    EXPECT_EQ(next, "m2");
}

TEST_F(NatsReliable, LossOfTheConnectionIsAnotherLife) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    server_.kill();
    server_.start();
    EXPECT_NE(life(), before);
}

TEST_F(NatsReliable, NothingIsStoredAfterALossBeforeItWasTold) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    server_.kill();
    server_.loseStore();
    server_.start();
    const auto deadline = std::chrono::steady_clock::now() + support::patience;
    NatsAdmin admin(server_.url());
    bool there = false;
    while (!there && std::chrono::steady_clock::now() < deadline) {
        EXPECT_EQ(sender_->publishReliable(message("m2")), Delivery::down);
        there = sender_->status().state == frame::NatsStatus::State::connected && sender_->keptLife().has_value();
    }
    ASSERT_TRUE(there);
    EXPECT_EQ(admin.messages(), 0U);
    EXPECT_EQ(sender_->publishReliable(message("m1")), Delivery::kept);
}

TEST_F(NatsReliable, ServerWithoutItsStoreIsUsedAsANewOne) {
    const auto subscription = receive();
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "m1");
    server_.kill();
    server_.loseStore();
    server_.start();
    ASSERT_EQ(publish("m2"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "m2");
}

TEST_F(NatsReliable, DeletedStreamIsAnotherLife) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    NatsAdmin(server_.url()).deleteStream();
    EXPECT_NE(life(), before);
    EXPECT_EQ(publish("m1"), Delivery::kept);
    const auto subscription = receive();
    EXPECT_EQ(nextIdentifier(received_), "m1");
}

TEST_F(NatsReliable, StreamThatWasMadeAnewIsAnotherLife) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    NatsAdmin admin(server_.url());
    admin.deleteStream();
    admin.makeStream();
    EXPECT_EQ(publish("m2"), Delivery::kept);
    EXPECT_NE(life(), before);
}

TEST_F(NatsReliable, DeletedConsumerIsMadeAgainAndNothingIsLost) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto subscription = receive();
    EXPECT_EQ(nextIdentifier(received_), "m1");
    NatsAdmin(server_.url()).deleteConsumer(consumer);
    ASSERT_EQ(publish("m2"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "m1");  // a new one begins with the oldest
    EXPECT_EQ(nextIdentifier(received_), "m2");
}

TEST_F(NatsReliable, FullStreamRefusesUntilThereIsRoom) {
    NatsAdmin admin(server_.url());
    admin.makeStream(1);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_EQ(publish("m2"), Delivery::refused);
    EXPECT_EQ(publish("m2"), Delivery::refused);
    admin.emptyStream();
    EXPECT_EQ(publish("m2"), Delivery::kept);
}

TEST_F(NatsReliable, FullStoreOfTheServerRefuses) {
    server_.stop();
    server_.configure("jetstream { max_file_store: 4MB }");
    server_.start();
    const std::string record(std::size_t{400} << 10U, 'x');
    Delivery delivery = Delivery::kept;
    int kept = -1;
    for (; kept < 20 && delivery == Delivery::kept; ++kept) delivery = publish('m' + std::to_string(kept + 1), record);
    EXPECT_EQ(delivery, Delivery::refused);
    EXPECT_GT(kept, 5);
    const auto subscription = receive();
    for (int i = 0; i < kept; ++i) EXPECT_EQ(nextIdentifier(received_), 'm' + std::to_string(i));
}

TEST_F(NatsReliable, FullStreamIsLoggedOnce) {
    NatsAdmin(server_.url()).makeStream(1);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const frame::LogCapture log;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(sender_->publishReliable(message("m2")), Delivery::refused);
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_THAT(log.records().front().text, testing::HasSubstr("maximum messages exceeded"));
}

TEST_F(NatsReliable, RubbishIsDroppedAndHoldsUpNothing) {
    NatsAdmin admin(server_.url());
    admin.makeStream();
    admin.publish(subject, "", "3001.1");
    admin.publish(subject, "a b", "3001.1");
    admin.publish(subject, "x..y", "3001.1");
    admin.publish(subject, "r1", "");
    admin.publish(subject, "r2", "3001");
    admin.publish(subject, "r3", "3001.1", "1");
    admin.publish(subject, "r4", "3001.1", "5 4");
    admin.publish(subject, "r5", "3001.1", "1 67108865");
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto subscription = receive();
    EXPECT_EQ(nextIdentifier(received_), "m1");
    EXPECT_EQ(receiver_->status().refused, 8U);
}

TEST_F(NatsReliable, MessageWithoutAllOfItsPiecesWaitsForThem) {
    const std::string piece(std::size_t{512} << 10U, 'x');
    ASSERT_EQ(publish("m1", piece + piece + "rest"), Delivery::kept);
    ASSERT_EQ(publish("m2"), Delivery::kept);
    NatsAdmin admin(server_.url());
    EXPECT_EQ(admin.messages(), 5U);
    admin.deleteMessage(2);
    const auto subscription = receive();
    EXPECT_FALSE(received_.take(std::chrono::seconds(1)));
    admin.publish(std::string(subject) + ".data.m1.1", "", "", "", piece);
    const auto taken = received_.take();
    ASSERT_TRUE(taken);
    EXPECT_TRUE(taken->record.view() == piece + piece + "rest");
    EXPECT_EQ(nextIdentifier(received_), "m2");
}

TEST_F(NatsReliable, WatcherHearsOfAConnection) {
    support::Gate found;
    server_.kill();
    const auto watch = sender_->watchReliable([&found] { found.open(); });
    server_.start();
    EXPECT_TRUE(found.pass());
}

TEST_F(NatsReliable, MessageOfADeadProcessReachesAnotherOfItsType) {
    NatsAdmin admin(server_.url());
    admin.makeStream();
    admin.makeConsumer(consumer, subject, 1000);
    support::Gate entered;
    support::Gate leave;
    const auto stuck = connect({3004, 2});
    auto subscription = stuck->subscribeReliable(id, [&](const ReliableMessage&) {
        entered.open();
        return leave.pass();
    });
    ASSERT_EQ(publish("m1"), Delivery::kept);
    ASSERT_EQ(publish("m2"), Delivery::kept);
    ASSERT_TRUE(entered.pass());
    const auto other = receive();
    EXPECT_EQ(nextIdentifier(received_), "m1");
    EXPECT_EQ(nextIdentifier(received_), "m2");
    leave.open();
}

// It has 10 seconds, unless it is known to be busy.
TEST_F(NatsReliable, SlowSinkKeepsItsMessage) {
    std::atomic<int> calls{0};
    support::Gate done;
    const auto other = connect({3004, 2});
    const auto slowly = [&](const ReliableMessage&) {
        ++calls;
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(13);
        while (std::chrono::steady_clock::now() < until) std::this_thread::yield();
        done.open();
        return true;
    };
    const auto a = receiver_->subscribeReliable(id, slowly);
    const auto b = other->subscribeReliable(id, slowly);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_TRUE(done.pass());
    EXPECT_EQ(calls, 1);
}
