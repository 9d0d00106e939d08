// The reliable channel over servers that stop, are killed, lose their store, or are tampered with.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <thread>

#include "platform/log.h"
#include "platform/nats.h"
#include "support/folder.h"
#include "support/gate.h"
#include "support/mailbox.h"
#include "support/nats_admin.h"
#include "support/nats_server.h"
#include "support/patience.h"

namespace {

using frame::Delivery;
using frame::Payload;
using frame::ReliableMessage;
using support::eventually;
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
    // `configuration`: of the server, where it has its own store in that.
    explicit NatsReliable(const std::string& configuration = {}) : server_(configuration, configuration.empty()) {}

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

    NatsServer server_;
    Received received_;
    std::unique_ptr<frame::NatsEngine> sender_ = connect({3001, 1});
    std::unique_ptr<frame::NatsEngine> receiver_ = connect({3004, 1});
};

struct OwnStore {
    support::Folder folder;
    const std::string streams = folder.file("jetstream/$G/streams");

    // Where leaves may join.
    std::string configuration(const std::string& leafPort) const {
        return "server_name: hub\njetstream { domain: nec, store_dir: \"" + folder.file("") +
               "\" }\nleafnodes { listen: \"127.0.0.1:" + leafPort + "\" }\n";
    }
};

// A machine that lost its power: of what the broker had written, its disk has some files in an older state than others.
class NatsReliableGoingBack : protected OwnStore, public NatsReliable {
protected:
    NatsReliableGoingBack() : NatsReliable(configuration("-1")) {}

    void passAndAcknowledge(const std::string& identifier, std::uint64_t number) {
        ASSERT_EQ(publish(identifier), Delivery::kept);
        ASSERT_EQ(nextIdentifier(received_), identifier);
        ASSERT_TRUE(eventually([&] { return NatsAdmin(server_.url()).acknowledged(consumer) == number; }));
    }
    void saveMessages() const {
        std::filesystem::copy(messages_, folder.file("saved"), std::filesystem::copy_options::recursive);
    }
    // The consumers remember what they have handed out.
    void loseNewMessages() const {
        std::filesystem::remove_all(messages_);
        std::filesystem::rename(folder.file("saved"), messages_);
    }

private:
    const std::string messages_ = streams + "/nec-rm/msgs";
};

// The sender is at a server of its own, and so loses no connection when the one with the store goes.
class NatsReliableBehindALeaf : public NatsReliableGoingBack {
protected:
    NatsReliableBehindALeaf() {
        server_.configure(configuration(leafPort_));  // for when it comes back
        frame::NatsOptions options;
        options.servers = {leaf_.url()};
        sender_ = frame::connectNats({3001, 1}, options);
        awaitStore();
    }

    // Waits until the store answers there.
    void awaitStore() {
        ASSERT_TRUE(eventually([this] {
            try {
                NatsAdmin(leaf_.url()).messages();
                return true;
            } catch (const std::runtime_error&) {  // not joined yet
                return false;
            }
        }));
    }

private:
    std::string leafPort() const {
        const std::string before = "leafnode connections on 127.0.0.1:";
        const std::string log = server_.log();
        const std::size_t at = log.find(before) + before.size();
        return log.substr(at, log.find('\n', at) - at);
    }

    const std::string leafPort_ = leafPort();
    NatsServer leaf_{
        "server_name: leaf\nmappings: { \"$JS.API.>\": \"$JS.nec.API.>\" }\n"
        "leafnodes { reconnect: 1, remotes: [ { url: \"nats://127.0.0.1:" +
        leafPort_ + "\" } ] }\n"};
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

TEST_F(NatsReliable, ReceiverWithoutASenderMakesWhatIsMissing) {
    const auto subscription = receive();
    NatsAdmin admin(server_.url());
    ASSERT_TRUE(eventually([&] {
        try {
            admin.publish(subject, "stored", "3001.1");
            return true;
        } catch (const std::runtime_error&) {  // there is no stream yet
            return false;
        }
    }));
    EXPECT_EQ(nextIdentifier(received_), "stored");
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

// The server may still be about to delete its files, and would delete the new ones.
TEST_F(NatsReliable, StreamThatWasDeletedIsNotMadeAtOnceByOneWhoNeverSawIt) {
    ASSERT_EQ(publish("1"), Delivery::kept);
    NatsAdmin(server_.url()).deleteStream();
    sender_ = connect({3001, 2});
    EXPECT_EQ(sender_->publishReliable(message("2")), Delivery::down);
    EXPECT_EQ(publish("2"), Delivery::kept);
    const auto subscription = receive();
    EXPECT_EQ(nextIdentifier(received_), "2");
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

TEST_F(NatsReliable, StreamThatWasMadeAnewIsAnotherLifeAlsoWhenOthersHaveFilledIt) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    NatsAdmin admin(server_.url());
    admin.deleteStream();
    admin.makeStream();
    for (const char* identifier : {"o1", "o2", "o3"}) admin.publish(subject, identifier, "3001.9");
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

TEST_F(NatsReliable, MessageThatIsTooLargeForTheStreamHoldsUpNoOther) {
    NatsAdmin(server_.url()).makeStream(-1, -1, 1000);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    EXPECT_EQ(publish("m2", std::string(2000, 'x')), Delivery::refused);
    EXPECT_EQ(sender_->publishReliable(message("m3")), Delivery::kept);
    EXPECT_EQ(life(), before);
}

TEST_F(NatsReliable, MessageThatTheSenderMayNotSendHoldsUpNoOther) {
    server_.stop();
    server_.configure(
        "no_auth_user: sender\n"
        "authorization { users = [ { user: sender, password: x, permissions: { publish: { deny: nec.rm.0x1 } } } ] }");
    server_.start();
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto before = life();
    EXPECT_EQ(sender_->publishReliable({"m2", 1, {3001, 1}, Payload(std::string_view("record"))}), Delivery::refused);
    EXPECT_EQ(sender_->publishReliable(message("m3")), Delivery::kept);
    EXPECT_EQ(life(), before);
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

// Each time by a sink that goes, so that the message comes again at once.
TEST_F(NatsReliable, MessageThatWasRefusedOftenWaitsForItsPiecesToo) {
    const std::string piece(std::size_t{512} << 10U, 'x');
    NatsAdmin admin(server_.url());
    admin.makeStream();
    admin.makeConsumer(consumer, subject, 1000);  // what comes to a sink that has just gone comes again then
    ASSERT_EQ(publish("m1", piece + piece + "rest"), Delivery::kept);
    support::Mailbox<bool> subscribed;
    support::Mailbox<bool> refused;
    frame::Subscription subscription;
    for (int i = 0; i < 25; ++i) {
        subscription = receiver_->subscribeReliable(id, [&](const ReliableMessage&) {
            EXPECT_TRUE(subscribed.take());
            subscription = {};
            refused.put(true);
            return false;
        });
        subscribed.put(true);
        ASSERT_TRUE(refused.take());
    }
    admin.deleteMessage(2);
    subscription = receive();
    EXPECT_FALSE(received_.take(std::chrono::seconds(3)));
    admin.publish(std::string(subject) + ".data.m1.1", "", "", "", piece);
    EXPECT_EQ(nextIdentifier(received_), "m1");
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

// It has five seconds, unless it is known to be busy.
TEST_F(NatsReliable, SlowSinkKeepsItsMessage) {
    NatsAdmin admin(server_.url());
    admin.makeStream();
    admin.makeConsumer(consumer, subject, 5000);
    std::atomic<int> calls{0};
    support::Gate never;
    support::Gate done;
    const auto other = connect({3004, 2});
    const auto slowly = [&](const ReliableMessage&) {
        ++calls;
        EXPECT_FALSE(never.pass(std::chrono::seconds(8)));
        done.open();
        return true;
    };
    const auto a = receiver_->subscribeReliable(id, slowly);
    const auto b = other->subscribeReliable(id, slowly);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_TRUE(done.pass());
    EXPECT_EQ(calls, 1);
}

TEST_F(NatsReliableGoingBack, NewMessagesAreHandedOutThoughTheirConsumerWasAhead) {
    const auto subscription = receive();
    passAndAcknowledge("1", 1);
    server_.stop();
    saveMessages();
    server_.start();
    passAndAcknowledge("2", 2);
    passAndAcknowledge("3", 3);
    server_.stop();
    loseNewMessages();
    server_.start();
    ASSERT_EQ(publish("4"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "4");
}

// The machine of the store is away for longer than the sender takes for granted that nothing changed.
TEST_F(NatsReliableBehindALeaf, NewMessagesAreHandedOutThoughNoConnectionOfTheSenderWasLost) {
    const auto subscription = receive();
    passAndAcknowledge("1", 1);
    server_.stop();
    saveMessages();
    server_.start();
    awaitStore();
    passAndAcknowledge("2", 2);
    passAndAcknowledge("3", 3);
    server_.stop();
    loseNewMessages();
    EXPECT_FALSE(received_.take(std::chrono::seconds(4)));
    server_.start();
    awaitStore();
    ASSERT_EQ(publish("4"), Delivery::kept);
    EXPECT_EQ(nextIdentifier(received_), "4");
    EXPECT_EQ(sender_->status().reconnects, 0U);
}
