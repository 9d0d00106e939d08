// The NE lifecycle notifications, over real event managers, a real bus and a real outbox.
#include "nec/nenotify.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nec/records.h"
#include "nenotify/internal.h"
#include "platform/event.h"
#include "platform/log.h"
#include "platform/reliable.h"
#include "platform/task.h"
#include "support/folder.h"
#include "support/forwarding_bus.h"
#include "support/mailbox.h"

namespace {

constexpr unsigned long created = 0x217006;
constexpr unsigned long transferred = 0x217007;
constexpr unsigned long deleted = 0x217008;
constexpr unsigned long transferMessage = 0xB0762A;
// Raised by the tests behind what they look at: whatever was raised before it has arrived when it arrives.
constexpr unsigned long marker = 1;

// A notification as it arrived.
struct Notice {
    unsigned long id = 0;
    CProcID src;
    CProcID snk;
    std::vector<int> neIds;

    friend bool operator==(const Notice& a, const Notice& b) {
        return a.id == b.id && a.src == b.src && a.snk == b.snk && a.neIds == b.neIds;
    }
    friend std::ostream& operator<<(std::ostream& os, const Notice& notice) {
        os << std::hex << notice.id << std::dec << " from " << frame::toText(notice.src) << " to "
           << frame::toText(notice.snk) << ':';
        for (const int neId : notice.neIds) os << ' ' << neId;
        return os;
    }
};

CProcID addressOf(const asn_frame::AsnFrameProcID& record) {
    return {static_cast<std::uint16_t>(record.procType), static_cast<std::uint16_t>(record.procHandle)};
}

template <class Received>
Notice noticeOf(const Received& received) {
    Notice notice;
    notice.id = received.id;
    if (received.id == marker) return notice;
    asn_frame::AsnDevIDListOfNEMgr record;
    EXPECT_TRUE(received.decode(record));
    notice.src = addressOf(*record.srcProcID);
    if (record.snkProcID != nullptr) notice.snk = addressOf(*record.snkProcID);
    for (const auto* node = record.devIDList.first; node != nullptr; node = node->next) {
        notice.neIds.push_back(*node->element);
    }
    EXPECT_EQ(record.ownerType, 0);
    EXPECT_FALSE(record.procState);
    EXPECT_FALSE(record.server);
    return notice;
}

int failedSendsIn(const frame::LogCapture& capture) {
    int lines = 0;
    for (const frame::LogRecord& record : capture.records()) {
        if (record.text != "NSTE_util::ReliableEventProxy::Instance()->Send fail") continue;
        EXPECT_EQ(record.kind, frame::LogRecord::Kind::trace);
        ++lines;
    }
    return lines;
}

// Looks into the outbox whenever an event is published.
class WatchedBus : public support::ForwardingBus {
public:
    WatchedBus(std::unique_ptr<frame::BusEngine> engine, std::string outbox)
        : ForwardingBus(std::move(engine)), outbox_(std::move(outbox)) {}

    frame::BusCode publishEvent(const frame::EventMessage& event) override {
        if (event.id == transferred) waiting.push_back(frame::readOutbox(outbox_, 0).depth);
        return ForwardingBus::publishEvent(event);
    }

    std::vector<std::uint64_t> waiting;  // messages in the outbox, for each transfer that was raised

private:
    std::string outbox_;
};

class NeNotifyTest : public testing::Test {
protected:
    ~NeNotifyTest() override { frame::setOwnProcess(0, 0, 0); }

    std::string outbox() const { return folder_.file("outbox.db"); }

    // A process of type 3001 with an extended event manager and a reliable channel, as far as wanted.
    void start(std::uint16_t handle, bool events = true, bool reliable = true) {
        frame::setOwnProcess(3001, handle, 0);
        auto engine = std::make_unique<WatchedBus>(bus_.connect({3001, handle}), outbox());
        raisings_ = engine.get();
        engine_ = std::move(engine);
        managers_.emplace(*engine_, frame::EventManagers::Options{true, events});
        if (reliable) channel_.emplace(*engine_, frame::ReliableOptions{outbox(), 1000});
        if (events) {
            for (const unsigned long id : {created, transferred, deleted, marker}) listenToEvent(id);
        }
        if (reliable) {
            message_ = NSTE_util::ReliableEventProxy::Instance()->Subscribe(
                transferMessage, [this](const frame::ReliableEvent& message) {
                    messages_.put(noticeOf(message));
                    return true;
                });
        }
    }

    void listenToEvent(unsigned long id) {
        events_.push_back(TEEventMgrEx::Instance()->Subscribe(
            id, [this](const frame::Event& event) { raised_.put(noticeOf(event)); }));
    }

    Notice nextEvent() { return raised_.take().value_or(Notice{}); }
    Notice nextMessage() { return messages_.take().value_or(Notice{}); }

    void expectNoFurtherEvent() {
        TEEventMgrEx::Instance()->RaiseEvent(marker, 0, new TEAsnEventParam(AsnInt()));
        EXPECT_EQ(nextEvent().id, marker);
    }

    support::Folder folder_;
    frame::LocalBus bus_;
    support::Mailbox<Notice> raised_;
    support::Mailbox<Notice> messages_;
    std::unique_ptr<frame::BusEngine> engine_;
    WatchedBus* raisings_ = nullptr;
    std::optional<frame::EventManagers> managers_;
    std::optional<frame::ReliableChannel> channel_;
    std::vector<frame::Subscription> events_;
    frame::Subscription message_;
};

}  // namespace

TEST_F(NeNotifyTest, ACreatedNeIsAnnouncedFromAndToTheOwnProcess) {
    start(7);
    NEC::NotifyNECreated(5);
    EXPECT_EQ(nextEvent(), (Notice{created, {3001, 7}, {3001, 7}, {5}}));
    expectNoFurtherEvent();
}

TEST_F(NeNotifyTest, AHandleAbove10000IsCarriedAsZeroWhenAnNeIsCreated) {
    start(10001);
    NEC::NotifyNECreated(5);
    EXPECT_EQ(nextEvent(), (Notice{created, {3001, 0}, {3001, 0}, {5}}));
}

TEST_F(NeNotifyTest, AHandleOfExactly10000IsKept) {
    start(10000);
    NEC::NotifyNECreated(5);
    EXPECT_EQ(nextEvent(), (Notice{created, {3001, 10000}, {3001, 10000}, {5}}));
}

TEST_F(NeNotifyTest, ACreatedNeOfAnotherProcessIsAnnouncedFromAndToThatProcess) {
    start(7);
    NEC::NotifyNECreated(6, CProcID{4000, 10000});
    EXPECT_EQ(nextEvent(), (Notice{created, {4000, 10000}, {4000, 10000}, {6}}));
    NEC::NotifyNECreated(6, CProcID{4000, 65535});
    EXPECT_EQ(nextEvent(), (Notice{created, {4000, 0}, {4000, 0}, {6}}));
}

TEST_F(NeNotifyTest, ADeletedNeKeepsAHandleAbove10000) {
    start(10001);
    NEC::NotifyNEDelete(5);
    EXPECT_EQ(nextEvent(), (Notice{deleted, {3001, 10001}, {3001, 10001}, {5}}));
    expectNoFurtherEvent();
}

TEST_F(NeNotifyTest, ATransferredNeIsRaisedAndSentReliably) {
    start(10001);
    NEC::NotifyNETransfer(5, CProcID{3001, 20000});
    EXPECT_EQ(nextEvent(), (Notice{transferred, {3001, 10001}, {3001, 20000}, {5}}));
    EXPECT_EQ(nextMessage(), (Notice{transferMessage, {3001, 10001}, {3001, 20000}, {5}}));
    expectNoFurtherEvent();
    EXPECT_TRUE(messages_.empty());
}

// Receivers of the message rely on the event having been raised before.
TEST_F(NeNotifyTest, ATransferIsRaisedBeforeItIsSent) {
    start(7);
    message_ = {};  // nobody takes a message out of the outbox
    NEC::NotifyNETransfer(5, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8});
    NEC::NotifyNETransfer(5, CProcID{3001, 8}, CProcID{3002, 9});
    EXPECT_EQ(raisings_->waiting, (std::vector<std::uint64_t>{0, 1, 2}));
    EXPECT_EQ(frame::readOutbox(outbox(), 0).depth, 3U);
}

TEST_F(NeNotifyTest, TransferredNesKeepTheirOrder) {
    start(7);
    NEC::NotifyNETransfer({1, 2, 3}, CProcID{3001, 8});
    EXPECT_EQ(nextEvent(), (Notice{transferred, {3001, 7}, {3001, 8}, {1, 2, 3}}));
    EXPECT_EQ(nextMessage(), (Notice{transferMessage, {3001, 7}, {3001, 8}, {1, 2, 3}}));
}

TEST_F(NeNotifyTest, ATransferBetweenTwoOtherProcessesIsRaisedAsCreatedAndNotSent) {
    start(7);
    NEC::NotifyNETransfer({3, 2}, CProcID{3001, 20000}, CProcID{3002, 9});
    EXPECT_EQ(nextEvent(), (Notice{created, {3001, 20000}, {3002, 9}, {3, 2}}));
    expectNoFurtherEvent();
    NEC::NotifyNETransfer(4, CProcID{3001, 8});  // the next message is this one's
    EXPECT_EQ(nextMessage().neIds, std::vector{4});
}

TEST_F(NeNotifyTest, TheInternalTransferIsRaisedAndSentBetweenTheGivenProcesses) {
    start(7);
    NEC::NotifyNETransfer(5, CProcID{3001, 8}, CProcID{3002, 10001});
    EXPECT_EQ(nextEvent(), (Notice{transferred, {3001, 8}, {3002, 10001}, {5}}));
    EXPECT_EQ(nextMessage(), (Notice{transferMessage, {3001, 8}, {3002, 10001}, {5}}));
}

TEST_F(NeNotifyTest, TheInternalTransferIsSentWithoutAnEventManager) {
    start(7, false);
    NEC::NotifyNETransfer(5, CProcID{3001, 8}, CProcID{3002, 9});
    EXPECT_EQ(nextMessage(), (Notice{transferMessage, {3001, 8}, {3002, 9}, {5}}));
}

TEST_F(NeNotifyTest, NoNesAreNoTransfer) {
    start(7);
    NEC::NotifyNETransfer(std::vector<unsigned long>(), CProcID{3001, 8});
    NEC::NotifyNETransfer(std::vector<unsigned long>(), CProcID{3001, 8}, CProcID{3001, 9});
    expectNoFurtherEvent();
    NEC::NotifyNETransfer(4, CProcID{3001, 8});
    EXPECT_EQ(nextMessage().neIds, std::vector{4});
}

TEST_F(NeNotifyTest, AnIdentifierIsItsLow32BitsAsASignedNumber) {
    start(7);
    NEC::NotifyNETransfer({0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x1'0000'0002}, CProcID{3001, 8});
    EXPECT_EQ(nextEvent().neIds, (std::vector{2147483647, -2147483647 - 1, -1, 2}));
}

TEST_F(NeNotifyTest, WithoutAReliableChannelATransferRaisesNothing) {
    start(7, true, false);
    NEC::NotifyNETransfer(5, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8});
    expectNoFurtherEvent();
    NEC::NotifyNECreated(5);
    EXPECT_EQ(nextEvent().id, created);
}

TEST_F(NeNotifyTest, WithoutAReliableChannelATransferBetweenTwoOtherProcessesIsRaisedAllTheSame) {
    start(7, true, false);
    NEC::NotifyNETransfer({3, 2}, CProcID{3001, 8}, CProcID{3002, 9});
    EXPECT_EQ(nextEvent(), (Notice{created, {3001, 8}, {3002, 9}, {3, 2}}));
}

TEST_F(NeNotifyTest, WithoutAnEventManagerATransferSendsNothing) {
    start(7, false);
    NEC::NotifyNECreated(5);
    NEC::NotifyNEDelete(5);
    NEC::NotifyNETransfer(5, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8}, CProcID{3001, 9});
    NEC::NotifyNETransfer(9, CProcID{3001, 8}, CProcID{3002, 9});  // the internal form sends in any case
    EXPECT_EQ(nextMessage().neIds, std::vector{9});
}

TEST_F(NeNotifyTest, AFailedReliableSendLeavesATraceLineAndTheEvent) {
    start(7);
    message_ = {};
    std::optional<frame::LogCapture> capture(std::in_place);
    // One message more than the outbox may hold.
    for (int i = 0; i <= 1000; ++i) NEC::NotifyNETransfer(5, CProcID{3001, 8});
    EXPECT_EQ(failedSendsIn(*capture), 1);
    for (int i = 0; i <= 1000; ++i) ASSERT_EQ(nextEvent().id, transferred);
    // The other forms find the outbox full as well.
    NEC::NotifyNETransfer({6, 7}, CProcID{3001, 8});
    EXPECT_EQ(failedSendsIn(*capture), 2);
    EXPECT_EQ(nextEvent(), (Notice{transferred, {3001, 7}, {3001, 8}, {6, 7}}));
    NEC::NotifyNETransfer(8, CProcID{3001, 8}, CProcID{3002, 9});
    EXPECT_EQ(failedSendsIn(*capture), 3);
    EXPECT_EQ(nextEvent(), (Notice{transferred, {3001, 8}, {3002, 9}, {8}}));
}

TEST_F(NeNotifyTest, WithoutAProcessNothingHappens) {
    NEC::NotifyNECreated(5);
    NEC::NotifyNECreated(5, CProcID{3001, 8});
    NEC::NotifyNEDelete(5);
    NEC::NotifyNETransfer(5, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8});
    NEC::NotifyNETransfer({5, 6}, CProcID{3001, 8}, CProcID{3001, 9});
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
    EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
}
