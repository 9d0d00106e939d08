// What Send accepts, what it refuses, and the door.
#include <thread>

#include "fixture.h"
#include "platform/log.h"

namespace reliable_test {

namespace {

constexpr std::size_t largestRecord = std::size_t{64} * 1024 * 1024;
constexpr std::size_t header = 6;  // of an octet string of that size

using ReliableSend = ReliableTest;

TEST_F(ReliableSend, AcceptedMessageIsInTheFile) {
    open();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    EXPECT_EQ(depth(), 1U);
}

TEST_F(ReliableSend, LargestRecordIsAccepted) {
    open();
    EXPECT_EQ(send(std::string(largestRecord - header, 'x')), ReliableCode::ok);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(1));
    EXPECT_EQ(mailbox.events().front().record.size(), largestRecord);
}

TEST_F(ReliableSend, LargerRecordIsRefused) {
    open();
    const frame::LogCapture log;
    EXPECT_EQ(send(std::string(largestRecord - header + 1, 'x')), ReliableCode::tooLarge);
    EXPECT_EQ(log.records().size(), 1U);
    EXPECT_EQ(depth(), 0U);
}

TEST_F(ReliableSend, MessageBeyondTheLimitIsRefusedUntilOthersAreDelivered) {
    open(2);
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    {
        const frame::LogCapture log;
        EXPECT_EQ(send("three"), ReliableCode::full);
        ASSERT_EQ(log.records().size(), 1U);
        EXPECT_THAT(log.records().front().text, testing::HasSubstr("0xB0762A"));
    }
    EXPECT_EQ(depth(), 2U);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_TRUE(eventually([] { return send("three") == ReliableCode::ok; }));  // the acknowledgements are on their way
}

TEST_F(ReliableSend, OutboxThatFillsIsToldOnceAndSoIsItsRoom) {
    frame::LogOptions log;
    log.file = folder_.file("log");
    frame::openLog(log, 1, 1);
    open(8);
    for (int i = 0; i < 7; ++i) ASSERT_EQ(send("text"), ReliableCode::ok);
    Mailbox mailbox;
    {
        const auto subscription = mailbox.takeAll();
        EXPECT_TRUE(eventually([this] { return channel_->status().depth == 0; }));
    }
    close();
    frame::closeLog();
    const std::string text = support::contentOf(log.file);
    const std::string filling = "5 reliable messages wait in the outbox, which holds 8 at most";
    EXPECT_NE(text.find(filling), std::string::npos) << text;
    EXPECT_EQ(text.find("at most"), text.rfind("at most")) << text;
    EXPECT_NE(text.find("2 reliable messages wait in the outbox: there is room in it again"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("again"), text.rfind("again")) << text;
}

TEST_F(ReliableSend, StatusTellsWhatWaitsAndWhatIsHeld) {
    open();
    EXPECT_EQ(channel_->status().depth, 0U);
    ASSERT_EQ(send("for nobody"), ReliableCode::ok);
    EXPECT_EQ(channel_->status().depth, 1U);
    EXPECT_EQ(channel_->status().held, 0U);
    bus_.answer(frame::Delivery::kept);
    ASSERT_EQ(send("for a store", otherId), ReliableCode::ok);
    // The first one as well, when it is offered again.
    EXPECT_TRUE(eventually([this] { return channel_->status().held != 0; }));
    EXPECT_EQ(channel_->status().depth, 2U);
}

// A record whose encoding fails as that of one with a null field does.
class Broken : public AsnOcts {
public:
    AsnLen BEnc(AsnBuf&, int) const override {
        throw new CSM_Exception(-58, __LINE__, __func__, __FILE__, "required field source is null");
    }
};

TEST_F(ReliableSend, RecordThatCannotBeEncodedIsRefused) {
    open();
    const frame::LogCapture log;
    const int code = NSTE_util::ReliableEventProxy::Instance()->Send(someId, Broken());
    EXPECT_EQ(code, static_cast<int>(ReliableCode::unencodable));
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_THAT(log.records().front().text, testing::HasSubstr("required field source is null"));
    EXPECT_EQ(depth(), 0U);
}

TEST_F(ReliableSend, ManyThreadsSendAtOnceAndEachKeepsItsOrder) {
    constexpr int threads = 8;
    constexpr int each = 100;
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    std::vector<std::thread> senders;
    senders.reserve(threads);
    for (int thread = 0; thread < threads; ++thread)
        senders.emplace_back([thread] {
            for (int i = 0; i < each; ++i) EXPECT_EQ(send(std::to_string(thread * each + i)), ReliableCode::ok);
        });
    for (auto& sender : senders) sender.join();
    ASSERT_TRUE(mailbox.waitFor(std::size_t{threads} * each));
    std::vector<int> next(threads, 0);
    for (const auto& text : mailbox.texts()) {
        const int number = std::stoi(text);
        EXPECT_EQ(number % each, next[static_cast<std::size_t>(number / each)]++);
    }
    close();
    EXPECT_EQ(depth(), 0U);
}

TEST_F(ReliableSend, ThereIsNoDoorWithoutAChannel) {
    EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
    open();
    EXPECT_NE(NSTE_util::ReliableEventProxy::Instance(), nullptr);
    close();
    EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
}

TEST_F(ReliableSend, DoorOfAProcessThatIsGoneSaysSo) {
    open();
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    close();
    const frame::LogCapture log;
    EXPECT_EQ(proxy->Send(someId, AsnOcts("text")), static_cast<int>(ReliableCode::closed));
    EXPECT_EQ(log.records().size(), 1U);
    EXPECT_FALSE(proxy->Subscribe(someId, [](const ReliableEvent&) { return true; }));
}

TEST_F(ReliableSend, SubscriptionMayOutliveTheChannel) {
    open();
    Mailbox mailbox;
    auto subscription = mailbox.takeAll();
    close();
    open();
    ASSERT_EQ(send("for nobody"), ReliableCode::ok);
    ASSERT_TRUE(bus_.waitForCalls(1));
    subscription = {};
    EXPECT_TRUE(mailbox.events().empty());
}

TEST_F(ReliableSend, SecondChannelOfAProgramIsRefused) {
    open();
    const auto second = local_.connect({3001, 8});
    EXPECT_THROW(frame::ReliableChannel(*second, {folder_.file("second.db"), 1}), std::logic_error);
    EXPECT_EQ(send("text"), ReliableCode::ok);
}

TEST_F(ReliableSend, SendersAreTurnedAwayWhileTheChannelCloses) {
    open();
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    std::uint64_t accepted = 0;
    std::thread sender([&] {
        while (proxy->Send(someId, AsnOcts("text")) == 0) ++accepted;
    });
    ASSERT_TRUE(bus_.waitForCalls(1));
    close();
    sender.join();
    EXPECT_EQ(depth(), accepted);
}

}  // namespace

}  // namespace reliable_test
