// Synchronous messages on the embedded bus: every code that a sender can get.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "nec/records.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "support/gate.h"

using frame::Payload;
using frame::RequestCode;
using frame::RequestMessage;
using frame::Subscription;

namespace {

constexpr unsigned long id = 0xB0000F;
constexpr CProcID self{3005, 7};
constexpr CProcID peer{3001, 1};

class MessagesTest : public testing::Test {
protected:
    int send(AsnType* response, int timeoutSeconds = 30) {
        return FrameUtil::SynSendMsg({peer.procType, 0, 0, 0}, id, AsnOcts("10.1.1.5"), response, timeoutSeconds);
    }

    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> own_ = bus_.connect(self);
    std::unique_ptr<frame::BusEngine> peer_ = bus_.connect(peer);
    std::optional<frame::Messages> messages_{std::in_place, *own_};
};

Payload answer(const std::string& text) {
    return frame::encode(AsnOcts(text.c_str()));
}

int code(RequestCode code) {
    return static_cast<int>(code);
}

}  // namespace

TEST_F(MessagesTest, TargetBeginsWithTheProcessTypeInLittleEndian) {
    FrameUtil::SMsgTarget target;
    target.procType = 0x0102;
    EXPECT_EQ(sizeof target, 8U);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(&target)[0], 0x02);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(&target)[1], 0x01);
}

TEST_F(MessagesTest, AnswerIsDecoded) {
    const Subscription serving = peer_->serveRequests(id, [](const RequestMessage& request) {
        AsnOcts question;
        EXPECT_TRUE(request.decode(question));
        EXPECT_EQ(request.sender, self);
        return answer("for " + std::string(question.view()));
    });
    AsnOcts response;
    EXPECT_EQ(send(&response), 0);
    EXPECT_EQ(response.view(), "for 10.1.1.5");
}

TEST_F(MessagesTest, AnswerMayBeLeftAlone) {
    const Subscription serving = peer_->serveRequests(id, [](const RequestMessage&) { return Payload("rubbish"); });
    EXPECT_EQ(send(nullptr), 0);
}

TEST_F(MessagesTest, AnswerThatCannotBeDecodedIsLoggedWithItsSender) {
    const Subscription serving = peer_->serveRequests(id, [](const RequestMessage&) { return Payload("rubbish"); });
    const frame::LogCapture log;
    AsnOcts response;
    EXPECT_EQ(send(&response), code(RequestCode::undecodable));
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_THAT(log.records()[0].text, testing::StartsWith("answer to request 0xB0000F from 3001:0: record is not a "));
}

TEST_F(MessagesTest, WithoutAProcessOfTheTypeThatIsTheCode) {
    AsnOcts response("untouched");
    EXPECT_EQ(send(&response), code(RequestCode::noProcess));
    EXPECT_EQ(response.view(), "untouched");
}

TEST_F(MessagesTest, PeerThatNeverAnswersTimesOut) {
    const Subscription serving =
        peer_->serveRequests(id, [](const RequestMessage&) -> std::optional<Payload> { return std::nullopt; });
    AsnOcts response("untouched");
    EXPECT_EQ(send(&response, 1), code(RequestCode::timedOut));
    EXPECT_EQ(response.view(), "untouched");
}

TEST_F(MessagesTest, RequestWithoutARequiredFieldIsNotSent) {
    asn_frame::AsnDevIDListOfNEMgr request;
    delete std::exchange(request.srcProcID, nullptr);
    const frame::LogCapture log;
    EXPECT_EQ(FrameUtil::SynSendMsg({peer.procType, 0, 0, 0}, id, request, nullptr, 1), code(RequestCode::unencodable));
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_THAT(log.records()[0].text, testing::StartsWith("request 0xB0000F: "));
}

TEST_F(MessagesTest, WithoutAPlaceOnTheBusItIsDown) {
    messages_.reset();
    EXPECT_EQ(send(nullptr), code(RequestCode::down));
}

TEST_F(MessagesTest, RequestThatWaitsWhileTheProcessGoesIsDown) {
    support::Gate asked;
    support::Gate leave;
    const Subscription serving = peer_->serveRequests(id, [&](const RequestMessage&) {
        asked.open();
        EXPECT_TRUE(leave.pass());
        return Payload();
    });
    std::thread sender([this] { EXPECT_EQ(send(nullptr), code(RequestCode::down)); });
    EXPECT_TRUE(asked.pass());
    messages_.reset();
    sender.join();
    leave.open();
}

TEST_F(MessagesTest, SecondPlaceInOneProgramIsRefused) {
    EXPECT_THROW(frame::Messages{*peer_}, std::logic_error);
}
