// The broadcast command: what it sends, and every code that a sender can get.
#include "platform/broadcast.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nec/records.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "support/forwarding_bus.h"
#include "support/mailbox.h"

using frame::BroadcastMessage;
using frame::RequestCode;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t command = 4193191;
constexpr std::uint16_t target = 3003;
constexpr CProcID self{3005, 7};

// A bus that takes no broadcasts.
class DownBus : public support::ForwardingBus {
public:
    using ForwardingBus::ForwardingBus;
    RequestCode broadcast(const BroadcastMessage&) override { return RequestCode::down; }
};

int sendOnce(const AsnType& record) {
    auto* sending = new CAsnBcastCmd(command, record, target);
    const int code = sending->Send(nullptr);
    sending->Destroy();
    return code;
}

class BroadcastCommand : public testing::Test {
protected:
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> own_ = bus_.connect(self);
    std::optional<frame::Messages> messages_{std::in_place, *own_};
};

}  // namespace

TEST_F(BroadcastCommand, CarriesCommandTargetSenderAndRecord) {
    support::Mailbox<BroadcastMessage> messages;
    const auto receiving =
        own_->subscribeBroadcast(target, [&](const BroadcastMessage& message) { messages.put(message); });
    ASSERT_EQ(sendOnce(AsnOcts("record")), 0);
    const auto message = messages.take();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->command, command);
    EXPECT_EQ(message->target, target);
    EXPECT_EQ(message->sender, self);
    AsnOcts record;
    EXPECT_TRUE(message->decode(record));
    EXPECT_EQ(record.view(), "record");
}

TEST_F(BroadcastCommand, MayBeSentAgainAfterItsRecordIsGone) {
    support::Mailbox<BroadcastMessage> messages;
    const auto receiving =
        own_->subscribeBroadcast(target, [&](const BroadcastMessage& message) { messages.put(message); });
    auto* sending = new CAsnBcastCmd(command, AsnOcts("record"), target);
    EXPECT_EQ(sending->Send(nullptr), 0);
    EXPECT_EQ(sending->Send(nullptr), 0);
    sending->Destroy();
    EXPECT_TRUE(messages.take());
    EXPECT_TRUE(messages.take());
}

TEST_F(BroadcastCommand, WithoutProcessTheBusIsDown) {
    messages_.reset();
    const frame::LogCapture log;
    EXPECT_EQ(sendOnce(AsnOcts("record")), static_cast<int>(RequestCode::down));
    EXPECT_THAT(log.records(),
                ElementsAre(Field(&frame::LogRecord::text,
                                  "broadcast 0x3FFBA7 to 3003 is not sent: the bus is down, or there is no process")));
}

TEST_F(BroadcastCommand, CodeOfTheBusIsPassedOn) {
    messages_.reset();
    DownBus down(std::move(own_));
    const frame::Messages messages(down);
    EXPECT_EQ(sendOnce(AsnOcts("record")), static_cast<int>(RequestCode::down));
}

TEST_F(BroadcastCommand, RecordWithANullRequiredFieldIsLoggedAndNotSent) {
    asn_frame::AsnDevIDListOfNEMgr record;
    delete record.srcProcID;
    record.srcProcID = nullptr;
    const frame::LogCapture log;
    EXPECT_EQ(sendOnce(record), static_cast<int>(RequestCode::unencodable));
    EXPECT_THAT(log.records(),
                ElementsAre(Field(&frame::LogRecord::text, HasSubstr("broadcast 0x3FFBA7: null in required field"))));
}

TEST_F(BroadcastCommand, RubbishIsLoggedWithItsSenderAndNotDecoded) {
    const BroadcastMessage message{command, target, self, frame::Payload("rubbish")};
    AsnClientGetPnpRsp record;
    const frame::LogCapture log;
    EXPECT_FALSE(message.decode(record));
    EXPECT_THAT(log.records(), ElementsAre(Field(&frame::LogRecord::text,
                                                 HasSubstr("broadcast 0x3FFBA7 from 3005:7: record is not a "))));
}
