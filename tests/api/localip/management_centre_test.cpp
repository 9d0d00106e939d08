// Asking the management centre over a real bus.
#include <gmock/gmock.h>

#include <optional>
#include <thread>

#include "localip/nms_lookup.h"
#include "platform/bus.h"
#include "support/gate.h"
#include "support/logged.h"
#include "support/record_codec.h"

namespace {

using asn_frame::AsnFrameGetNodeIPResponse;
using frame::Payload;
using frame::RequestCode;
using frame::RequestMessage;
using testing::ElementsAre;

constexpr unsigned long nodeIpRequest = 0xB0000F;

int code(RequestCode code) {
    return static_cast<int>(code);
}

// An answer with one node.
Payload answer(int result, std::string_view nmsIP) {
    AsnFrameGetNodeIPResponse response;
    response.result = result;
    response.nodeIPList.Append()->nmsIP = nmsIP;
    return frame::encode(response);
}

class ManagementCentre : public testing::Test {
protected:
    ManagementCentre() {
        response_.result = -5;
        response_.nodeIPList.Append()->nmsIP = "untouched";
    }

    frame::Subscription serve(const Payload& answer) {
        return centre_->serveRequests(nodeIpRequest, [answer](const RequestMessage&) { return answer; });
    }
    int ask(const char* neIP = "10.1.2.3") { return NEC::GetNmsIPByNEIPFromMC(response_, neIP); }

    void expectUntouched() const {
        EXPECT_EQ(response_.result, -5);
        ASSERT_EQ(response_.nodeIPList.count, 1U);
        EXPECT_EQ(response_.nodeIPList.first->element->nmsIP.view(), "untouched");
    }

    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> own_ = bus_.connect({3005, 7});
    std::unique_ptr<frame::BusEngine> centre_ = bus_.connect({3001, 1});
    std::optional<frame::Messages> messages_{std::in_place, *own_};
    AsnFrameGetNodeIPResponse response_;
};

TEST_F(ManagementCentre, IsAskedForTheOneAddressAndItsAnswerIsHandedOn) {
    const auto serving = centre_->serveRequests(nodeIpRequest, [](const RequestMessage& request) {
        EXPECT_EQ(request.sender, (CProcID{3005, 7}));
        asn_frame::AsnOctsList list;
        EXPECT_TRUE(support::decode(request.record.view(), list).ok);
        return answer(0, list.count == 1 ? "for " + list.first->element->str() : "for no single address");
    });
    const frame::LogCapture log;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(response_.result, 0);
    ASSERT_EQ(response_.nodeIPList.count, 1U);
    EXPECT_EQ(response_.nodeIPList.first->element->nmsIP.view(), "for 10.1.2.3");
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

TEST_F(ManagementCentre, EmptyAddressIsAskedForToo) {
    const auto serving = serve(answer(0, "1.1.1.1"));
    EXPECT_EQ(ask(""), 0);
    EXPECT_EQ(response_.nodeIPList.first->element->nmsIP.view(), "1.1.1.1");
}

TEST_F(ManagementCentre, NullAddressIsRefused) {
    const auto serving = serve(answer(0, "1.1.1.1"));
    const frame::LogCapture log;
    EXPECT_EQ(ask(nullptr), -1);
    EXPECT_THAT(logged::lines(log), ElementsAre("trace [GetNmsIPByNEIPFromMC] neIP is NULL"));
    expectUntouched();
}

TEST_F(ManagementCentre, MissingTableFileIsSuccess) {
    const auto serving = serve(answer(100, "1.1.1.1"));
    const frame::LogCapture log;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(response_.result, 100);
    EXPECT_THAT(logged::lines(log),
                ElementsAre("trace [GetNmsIPByNEIPFromMC] Configuration file iptable_ne2nms.cfg is not exist, "
                            "iResult = 100"));
}

TEST_F(ManagementCentre, OtherResultsAreHandedOn) {
    for (const int result : {7, 1, 99, 101, -1}) {
        const auto serving = serve(answer(result, "1.1.1.1"));
        const frame::LogCapture log;
        EXPECT_EQ(ask(), result);
        EXPECT_THAT(log.records(), testing::IsEmpty());
    }
}

TEST_F(ManagementCentre, ThatIsNotThereGivesTheCodeOfTheBus) {
    const frame::LogCapture log;
    EXPECT_EQ(ask(), code(RequestCode::noProcess));
    EXPECT_THAT(logged::lines(log), ElementsAre("trace [GetNmsIPByNEIPFromMC] send message to MC failure, iRet = 1"));
    expectUntouched();
}

TEST_F(ManagementCentre, ThatAnswersRubbishGivesTheCodeOfTheBus) {
    const auto serving = serve(Payload("rubbish"));
    const frame::LogCapture log;
    EXPECT_EQ(ask(), code(RequestCode::undecodable));
    EXPECT_EQ(logged::lines(log).back(), "trace [GetNmsIPByNEIPFromMC] send message to MC failure, iRet = 3");
}

TEST_F(ManagementCentre, CannotBeAskedWithoutAPlaceOnTheBus) {
    messages_.reset();
    EXPECT_EQ(ask(), code(RequestCode::down));
    expectUntouched();
}

TEST_F(ManagementCentre, ThatNeverAnswersIsGivenUpWhenTheProcessGoes) {
    support::Gate asked;
    support::Gate leave;
    const auto serving = centre_->serveRequests(nodeIpRequest, [&](const RequestMessage&) {
        asked.open();
        EXPECT_TRUE(leave.pass());
        return Payload();
    });
    std::thread asking([this] { EXPECT_EQ(ask(), code(RequestCode::down)); });
    EXPECT_TRUE(asked.pass());
    messages_.reset();
    asking.join();
    leave.open();
    expectUntouched();
}

}  // namespace
