// The reliable channel over NATS: what stays in the outbox, and nothing is lost whatever happens to the broker.
#include "platform/nats.h"

#include <filesystem>

#include "killed.h"
#include "support/file_size_limit.h"
#include "support/nats_admin.h"
#include "support/nats_server.h"

namespace reliable_test {

namespace {

constexpr std::chrono::hours forEver{1000};

class ReliableOverNats : public testing::Test {
protected:
    void open(std::chrono::milliseconds hold = forEver) {
        frame::NatsOptions options;
        options.servers = {server_.url()};
        engine_ = frame::connectNats(self, options);
        frame::ReliableOptions outbox;
        outbox.file = file();
        outbox.hold = hold;
        channel_.emplace(*engine_, outbox);
    }
    void close() {
        channel_.reset();
        engine_.reset();
    }
    void sendNumbers(int from, int to) {
        for (int i = from; i < to; ++i) ASSERT_EQ(send(std::to_string(i), numberMessage), ReliableCode::ok);
    }
    static std::vector<std::string> numbers(int to) {
        std::vector<std::string> texts;
        texts.reserve(static_cast<std::size_t>(to));
        for (int i = 0; i < to; ++i) texts.push_back(std::to_string(i));
        return texts;
    }
    void loseStore() {
        server_.kill();
        server_.loseStore();
        server_.start();
    }
    // Keeps what the broker's store holds now, and makes it hold that again.
    void setAside() {
        server_.stop();
        std::filesystem::copy(store(), folder_.file("aside"), std::filesystem::copy_options::recursive);
        server_.start();
    }
    void putBack() {
        server_.kill();
        server_.loseStore();
        std::filesystem::copy(folder_.file("aside"), store(), std::filesystem::copy_options::recursive);
        server_.start();
    }
    std::filesystem::path store() const { return std::filesystem::path(server_.logFile()).replace_filename("store"); }
    std::string file() const { return folder_.file("outbox.db"); }
    std::uint64_t depth() const { return frame::readOutbox(file(), 0).depth; }

    support::Folder folder_;
    support::NatsServer server_{"", true};
    std::unique_ptr<frame::BusEngine> engine_;
    std::optional<frame::ReliableChannel> channel_;
};

TEST_F(ReliableOverNats, MessageStaysForTheHoldTime) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    sendNumbers(0, 3);
    ASSERT_TRUE(mailbox.waitFor(3));
    close();
    EXPECT_EQ(depth(), 3U);
}

TEST_F(ReliableOverNats, MessageLeavesAfterTheHoldTime) {
    open(std::chrono::milliseconds(1));
    sendNumbers(0, 3);
    EXPECT_TRUE(eventually([this] { return depth() == 0; }));
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(3));
    EXPECT_EQ(mailbox.texts(), numbers(3));
}

TEST_F(ReliableOverNats, MessageSentWithoutABrokerArrivesOnceThereIsOne) {
    server_.kill();
    open();
    sendNumbers(0, 3);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    server_.start();
    ASSERT_TRUE(mailbox.waitFor(3));
    EXPECT_EQ(mailbox.texts(), numbers(3));
}

TEST_F(ReliableOverNats, WhatTheBrokerLostIsHandedOverAgainInItsOrder) {
    open();
    sendNumbers(0, 300);
    loseStore();
    sendNumbers(300, 400);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(400));
    EXPECT_EQ(mailbox.texts(), numbers(400));
}

TEST_F(ReliableOverNats, ReceiverSeesEachMessageOnceWhateverTheBrokerLost) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    sendNumbers(0, 100);
    loseStore();
    sendNumbers(100, 200);
    ASSERT_TRUE(mailbox.waitFor(200));
    support::NatsAdmin(server_.url()).deleteStream();
    sendNumbers(200, 300);
    ASSERT_TRUE(mailbox.waitFor(300));
    server_.kill();
    server_.start();
    sendNumbers(300, 400);
    ASSERT_TRUE(mailbox.waitFor(400));
    EXPECT_EQ(mailbox.texts(), numbers(400));
}

// As a machine does that has lost power before its disk had everything.
TEST_F(ReliableOverNats, BrokerWhoseStoreWentBackIsFilledAgain) {
    open();
    sendNumbers(0, 50);
    ASSERT_TRUE(eventually([this] { return support::NatsAdmin(server_.url()).messages() == 50; }));
    setAside();
    sendNumbers(50, 100);
    ASSERT_TRUE(eventually([this] { return support::NatsAdmin(server_.url()).messages() == 100; }));
    putBack();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    sendNumbers(100, 150);
    ASSERT_TRUE(mailbox.waitFor(150));
    EXPECT_EQ(mailbox.texts(), numbers(150));
}

TEST_F(ReliableOverNats, StreamThatIsDeletedWhileNothingIsSentIsFilledAgain) {
    open();
    sendNumbers(0, 10);
    support::NatsAdmin admin(server_.url());
    ASSERT_TRUE(eventually([&] { return admin.messages() == 10; }));
    admin.deleteStream();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(10));
    EXPECT_EQ(mailbox.texts(), numbers(10));
}

TEST_F(ReliableOverNats, RestartedSenderHandsOverAgainWhatReceiversDrop) {
    open();
    Mailbox mailbox;
    {
        const auto subscription = mailbox.takeAll();
        sendNumbers(0, 10);
        ASSERT_TRUE(mailbox.waitFor(10));
    }
    close();
    support::NatsAdmin(server_.url()).deleteStream();
    open();
    const auto subscription = mailbox.takeAll();
    sendNumbers(10, 20);
    ASSERT_TRUE(mailbox.waitFor(20));
    EXPECT_EQ(mailbox.texts(), numbers(20));
}

TEST_F(ReliableOverNats, FullStreamHoldsMessagesUntilThereIsRoom) {
    support::NatsAdmin admin(server_.url());
    admin.makeStream(5);
    open();
    sendNumbers(0, 10);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(5));
    admin.emptyStream();
    ASSERT_TRUE(mailbox.waitFor(10));
    EXPECT_EQ(mailbox.texts(), numbers(10));
}

TEST_F(ReliableOverNats, FullDiskOfTheBrokerHoldsMessagesUntilThereIsRoom) {
    const std::string large(100'000, 'x');
    server_.stop();
    {
        const support::FileSizeLimit limit(1'000'000);
        server_.start();
    }
    open();
    for (int i = 0; i < 30; ++i) ASSERT_EQ(send(std::to_string(i) + large), ReliableCode::ok);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    EXPECT_FALSE(mailbox.waitFor(30, std::chrono::seconds(3)));
    server_.kill();
    server_.start();
    ASSERT_TRUE(mailbox.waitFor(30));
    const std::vector<std::string> texts = mailbox.texts();
    for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_TRUE(texts[i] == std::to_string(i) + large) << i;
}

TEST_F(ReliableOverNats, LargestRecordArrives) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    const std::string text((std::size_t{64} << 20U) - 6, 'x');
    ASSERT_EQ(send(text), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    EXPECT_TRUE(textOf(mailbox.events().front()) == text);
}

class KilledOverNats : public Killed<ReliableOverNats> {
protected:
    int random(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }
    void letRun() { Sender::letRun(std::chrono::microseconds(random(150'000))); }

    // What may happen to a broker.
    void harm(int kind) {
        switch (kind) {
            case 0:
                server_.kill();
                return server_.start();
            case 1:
                return loseStore();
            case 2:
                server_.stop();
                letRun();
                return server_.start();
            case 3:
                server_.freeze();
                letRun();
                return server_.thaw();
            default:
                break;
        }
    }

    // The process is sender and receiver in one.
    std::vector<std::int64_t> killedRound(int round) override {
        Sender sender({file(), effectsFile(), std::to_string(round * numbersARound), server_.url()});
        if (round % 3 != 0 && !sender.waitForFirst()) throw std::runtime_error("the sender sends nothing");
        letRun();
        harm(round % 5);
        letRun();
        sender.kill();
        return sender.numbers();
    }
};

TEST_F(KilledOverNats, NothingThatWasAcceptedIsLostAndOrderIsKept) {
    losesNothingIn(15);
}

}  // namespace

}  // namespace reliable_test
