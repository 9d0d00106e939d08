// What the trap dispatcher is told, over the real bus.
#include "trapserver/dispatcher.h"

#include <gmock/gmock.h>

#include "dispatcher_fixture.h"
#include "nec/records.h"
#include "support/doing.h"
#include "support/gate.h"
#include "support/logged.h"
#include "support/slots.h"

namespace {

class DispatcherTest : public WithDispatcher {
protected:
    DispatcherTest() { start(configWith({7, 9})); }
};

// The octets at `offset`, in hexadecimal.
std::string hex(const Octets& octets, std::size_t offset, std::size_t count) {
    std::string text;
    char digits[4];
    for (std::size_t i = 0; i < count; ++i) {
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(octets.at(offset + i)));
        text += digits;
    }
    return text;
}

}  // namespace

TEST_F(DispatcherTest, CommandMessageIsThisToTheOctet) {
    std::map<std::string, int> assignments{{"10.0.0.1", 5}};
    NEC::SendNECreatedToTrapDispatcher(assignments);
    const auto message = dispatcher_->received.take();
    ASSERT_TRUE(message);
    EXPECT_EQ(hex(*message, 0, message->size()),
              "0a000000"  // 0: version
              "00000000"  // 4
              "0403"      // 8: source desk
              "0000"      // 10: destination desk
              "0201"      // 12: source handle
              "0000"      // 14: destination handle
              "b90b"      // 16: source type
              "85b1"      // 18: destination type
              "9ffb3f00"  // 20: command
              "06000000"  // 24: kind
              "0000000000000000"
              "0000"      // 36
              "0100"      // 38: request identifier
              "0000"      // 40
              "0000"      // 42
              "0d000000"  // 44: text, zero, and 2
              "07"        // 48: source manager
              "c8"        // 49: destination manager
              "31302e302e302e312c3500");
}

TEST_F(DispatcherTest, AssignmentsGoInAscendingOrderOfTheirAddressesEachWithItsNumber) {
    std::map<std::string, int> assignments{{"10.0.0.2", 3}, {"10.0.0.1", 5}, {"9.0.0.1", -32768}};
    NEC::SendNECreatedToTrapDispatcher(assignments);
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5,10.0.0.2,3,9.0.0.1,-32768");
}

TEST_F(DispatcherTest, DeletionsGoInTheOrderOfTheList) {
    std::list<std::string> neIPs{"10.0.0.2", "10.0.0.1"};
    NEC::SendNEDeleteToTrapDispatcher(neIPs);
    EXPECT_EQ(next(), "3ffba0 10.0.0.2,10.0.0.1");
}

TEST_F(DispatcherTest, EmptyMapOrListSendsTheEmptyText) {
    std::map<std::string, int> none;
    NEC::SendNECreatedToTrapDispatcher(none);
    const auto message = dispatcher_->received.take();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->size(), cmdHeaderOctets + 1);
    EXPECT_EQ(hex(*message, 44, 4), "03000000");
    std::list<std::string> empty;
    NEC::SendNEDeleteToTrapDispatcher(empty);
    EXPECT_EQ(next(), "3ffba0 ");
}

TEST_F(DispatcherTest, HeadedFormsPutTheirHeadsInFrontAndGoToManager100) {
    std::list<std::string> neIPs{"10.0.0.2", "10.0.0.1"};
    EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, "head"), 0);
    auto message = dispatcher_->received.take();
    EXPECT_EQ(told(message), "3ffba0 head,10.0.0.2,10.0.0.1");
    ASSERT_TRUE(message);
    EXPECT_EQ(hex(*message, 49, 1), "64");
    EXPECT_EQ(NEC::SendNECreatedWithHeadToTrapDispatcher(neIPs, "a", "b", ""), 0);
    message = dispatcher_->received.take();
    EXPECT_EQ(told(message), "3ffb9f a,b,,10.0.0.2,10.0.0.1");
    ASSERT_TRUE(message);
    EXPECT_EQ(hex(*message, 49, 1), "64");
}

TEST_F(DispatcherTest, EmptyHeadStillGivesALeadingComma) {
    std::list<std::string> neIPs{"10.0.0.1"};
    EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, ""), 0);
    EXPECT_EQ(next(), "3ffba0 ,10.0.0.1");
}

TEST_F(DispatcherTest, AnswerIsTheCallers) {
    CmdMSG* rsp = nullptr;
    ASSERT_EQ(NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp, 200, 10), 0);
    const std::unique_ptr<CmdMSG> owned(rsp);
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->payloadView(), "answer");
    EXPECT_EQ(rsp->kind, cmdAnswer);
}

TEST_F(DispatcherTest, RequestIdentifierIsFreeAgainAfterwards) {
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(7);
    TesuTask holder(manager, "holder");
    for (int allButOne = 65534; allButOne > 0; --allButOne) ASSERT_NE(manager->AllocReqID(&holder), 0U);
    std::list<std::string> neIPs{"10.0.0.1"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, "head"), 0);
        support::Gate deleted;
        support::doOn(7, [&deleted] { deleted.open(); });
        ASSERT_TRUE(deleted.pass());
    }
}

TEST_F(DispatcherTest, WithoutATaskManagerNothingIsSentOrLogged) {
    start(configWith({}));
    const frame::LogCapture log;
    CmdMSG* rsp = nullptr;
    EXPECT_EQ(NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp, 200, 10), -1);
    std::list<std::string> neIPs{"10.0.0.1"};
    EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, "head"), -1);
    EXPECT_EQ(NEC::SendNECreatedWithHeadToTrapDispatcher(neIPs, "a", "b", "c"), -1);
    NEC::SendNEDeleteToTrapDispatcher(neIPs);
    std::map<std::string, int> assignments{{"10.0.0.1", 5}};
    NEC::SendNECreatedToTrapDispatcher(assignments);
    EXPECT_TRUE(log.records().empty());
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(DispatcherTest, WithoutADispatcherTheSendFailsAndTheLogNamesTheTask) {
    dispatcher_.reset();
    CmdMSG* rsp = nullptr;
    const frame::LogCapture log;
    EXPECT_EQ(NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp, 200, 10), -1);
    EXPECT_EQ(rsp, nullptr);
    EXPECT_THAT(logged::lines(log), testing::ElementsAre(testing::HasSubstr("task SendSyncStringMsgTask: ")));
}

TEST_F(DispatcherTest, DispatcherThatNeverAnswersCostsTheTimeOut) {
    dispatcher_->answering = [](const Octets&) { return std::nullopt; };
    CmdMSG* rsp = nullptr;
    EXPECT_EQ(NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp, 200, 1), -1);
    EXPECT_EQ(rsp, nullptr);
}

TEST_F(DispatcherTest, WithoutAFreeRequestIdentifierNothingIsSent) {
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(7);
    TesuTask holder(manager, "holder");
    while ((manager->AllocReqID(&holder) & 0xFFFF) != 0) {
    }
    CmdMSG* rsp = nullptr;
    EXPECT_EQ(NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp, 200, 10), -1);
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(DispatcherTest, RecordGoesToType3005AndItsAnswerIsToldAtInformationLevel) {
    const auto engine = process_->localBus()->connect({3005, 1});
    const auto serving = engine->serveRequests(NEC::neDeletedCommand, [](const frame::RequestMessage& request) {
        AsnOcts text;
        EXPECT_TRUE(request.decode(text));
        EXPECT_EQ(text.view(), "record");
        return frame::encode(AsnInt(42));
    });
    AsnOcts request("record");
    const frame::LogCapture log;
    EXPECT_EQ(NEC::SendMsgToTrapDispatcher(NEC::neDeletedCommand, request), 0);
    EXPECT_THAT(logged::lines(log),
                testing::ElementsAre(
                    "info  [SendMsgToTrapDispatcher] Send message to trap dispatcher success, ret value is 42"));
}

TEST_F(DispatcherTest, RecordThatNobodyTakesIsTraced) {
    AsnOcts request("record");
    const frame::LogCapture log;
    EXPECT_EQ(NEC::SendMsgToTrapDispatcher(NEC::neDeletedCommand, request), 1);
    EXPECT_THAT(
        logged::lines(log),
        testing::ElementsAre("trace [SendMsgToTrapDispatcher] Send message to trap dispatcher failure, iRet = 1"));
}

TEST(TrapProxyTest, ItsOnlyVirtualOperationsAreItsDestructors) {
    struct Watched : NEC::TrapProxy {
        explicit Watched(bool& gone) : gone_(gone) {}
        ~Watched() override { gone_ = true; }
        bool& gone_;
    };
    bool gone = false;
    const std::unique_ptr<NEC::TrapProxy> proxy = std::make_unique<Watched>(gone);
    EXPECT_EQ(sizeof(NEC::TrapProxy), sizeof(void*));
    using Destroy = void(NEC::TrapProxy*);
    alignas(Watched) unsigned char memory[sizeof(Watched)];
    NEC::TrapProxy* placed = new (memory) Watched(gone);
    support::slotOf<Destroy>(placed, 0)(placed);
    EXPECT_TRUE(gone);
    gone = false;
    NEC::TrapProxy* own = new Watched(gone);
    support::slotOf<Destroy>(own, 1)(own);  // gives its memory back, or the sanitizers say so
    EXPECT_TRUE(gone);
}
