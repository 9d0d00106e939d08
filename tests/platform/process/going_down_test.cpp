// A process that goes while its tasks and handlers wait for others: they are broken off, so that it does not wait too.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

#include "nec/records.h"
#include "platform/event.h"
#include "platform/http.h"
#include "platform/log.h"
#include "platform/process.h"
#include "platform/task.h"
#include "support/folder.h"
#include "support/gate.h"
#include "support/mailbox.h"
#include "support/raw_server.h"

namespace {

constexpr unsigned long anEvent = 0x217006;
constexpr unsigned long aRequest = 0xB0000F;
constexpr CProcID peerAddress{4000, 1};
// Longer than a test may take when a wait is broken off, so that the result tells whether it was.
constexpr int patientSeconds = 60;

// Whether it was broken off.
using Wait = std::function<bool()>;

// Does `wait` when it begins, and another time, which is too late.
class WaitingTask : public TesuTask {
public:
    WaitingTask(TesuTaskMgr* manager, Wait wait, support::Mailbox<bool>& brokenOff)
        : TesuTask(manager, "Waiting"), wait_(std::move(wait)), brokenOff_(brokenOff) {}
    void InitTaskCmdReqProcess(CmdMSG*) override { brokenOff_.put(wait_() && wait_()); }

private:
    const Wait wait_;
    support::Mailbox<bool>& brokenOff_;
};

// Its process runs beside a peer, and an HTTP server, which say when they are asked and never answer.
class GoingDown : public testing::Test {
protected:
    GoingDown() {
        frame::Config config;
        config.process = {3001, 7, 0};
        config.log.file = folder_.file("log");
        process_ = std::make_unique<frame::Process>(config);
        peer_ = process_->localBus()->connect(peerAddress);
        receiving_ = peer_->receiveCommands([this](const frame::Payload&) { asked_.open(); });
        serving_ = peer_->serveRequests(aRequest, [this](const frame::RequestMessage&) {
            asked_.open();
            EXPECT_TRUE(leave_.pass());
            return std::optional<frame::Payload>();
        });
    }
    ~GoingDown() override { leave_.open(); }

    bool exchange() const {
        NETP::SendHttpMsgReqStruct request("GET", "aRequest", patientSeconds);
        request.url = server_.url();
        NETP::SendHttpMsgRspStruct response;
        return NETP::DirectSendTheHttpMsg(request, response) == NETP::httpClosed;
    }
    static bool request() {
        return FrameUtil::SynSendMsg({peerAddress.procType, 0, 0, 0}, aRequest, asn_frame::AsnFrameProcID(), nullptr,
                                     patientSeconds) == static_cast<int>(frame::RequestCode::down);
    }
    bool command() {
        auto* message = new (cmdHeaderOctets) TesuCmdMSG;
        sender_->FillCmdMsgHead(message);
        message->dstType = peerAddress.procType;
        message->requestId = identifier_;
        message->length = 2;
        const frame::LogCapture log;
        CmdMSG* answer = nullptr;
        EXPECT_EQ(sender_->TesuCmdSynSendCBEx(message, answer, patientSeconds), 0);
        return log.records().size() == 1 && log.records()[0].text.find("is going down") != std::string::npos;
    }

    void expectThatATaskIsBrokenOff(const Wait& wait) {
        TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(0);
        manager->TMInitInsertTask(new WaitingTask(manager, wait, brokenOff_));
        expectBrokenOff();
    }
    void expectThatAHandlerIsBrokenOff(const Wait& wait) {
        const auto subscription = TEEventMgrEx::Instance()->Subscribe(
            anEvent, [&](const frame::Event&) { brokenOff_.put(wait() && wait()); });
        EXPECT_EQ(TEEventMgrEx::Instance()->RaiseEvent(anEvent, 0, new TEAsnEventParam(asn_frame::AsnFrameProcID())),
                  0);
        expectBrokenOff();
    }

    // A task to send for; made for the tests that send commands.
    void makeSender() {
        TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(0);
        sender_ = std::make_unique<TesuTask>(manager, "Sender");
        identifier_ = static_cast<std::uint16_t>(manager->AllocReqID(sender_.get()));
    }

private:
    void expectBrokenOff() {
        EXPECT_TRUE(asked_.pass());
        process_.reset();
        EXPECT_EQ(brokenOff_.take(), true);
    }

    const support::Folder folder_;
    support::Gate asked_;
    support::Gate leave_;
    support::Mailbox<bool> brokenOff_;
    const support::RawServer server_{[this](support::RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        asked_.open();
        connection.waitForClose();
    }};
    std::unique_ptr<TesuTask> sender_;
    std::uint16_t identifier_ = 0;
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<frame::BusEngine> peer_;
    frame::Subscription receiving_;
    frame::Subscription serving_;
};

}  // namespace

TEST_F(GoingDown, BreaksOffTheHttpExchangeOfATask) {
    expectThatATaskIsBrokenOff([this] { return exchange(); });
}

TEST_F(GoingDown, BreaksOffTheHttpExchangeOfAHandler) {
    expectThatAHandlerIsBrokenOff([this] { return exchange(); });
}

TEST_F(GoingDown, BreaksOffTheRequestOfATask) {
    expectThatATaskIsBrokenOff([] { return request(); });
}

TEST_F(GoingDown, BreaksOffTheRequestOfAHandler) {
    expectThatAHandlerIsBrokenOff([] { return request(); });
}

TEST_F(GoingDown, BreaksOffTheCommandOfATask) {
    makeSender();
    expectThatATaskIsBrokenOff([this] { return command(); });
}

TEST_F(GoingDown, BreaksOffTheCommandOfAHandler) {
    makeSender();
    expectThatAHandlerIsBrokenOff([this] { return command(); });
}
