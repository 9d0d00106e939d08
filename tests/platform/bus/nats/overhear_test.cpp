// Hearing what passes between others: all of it, rubbish too, and without taking anything from anybody.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "bus/nats/hash.h"
#include "bus/nats/headers.h"
#include "fixture.h"
#include "foreigner.h"
#include "support/nats_admin.h"
#include "support/run.h"

using frame::Delivery;
using frame::NatsOptions;
using frame::Overheard;
using frame::OverhearOptions;
using frame::Payload;
using frame::RequestCode;
using natstest::Foreigner;
using natstest::hereAddress;
using natstest::id;
using natstest::thereAddress;
using support::eventually;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = Overheard::Kind;

namespace {

constexpr std::uint16_t target = 3003;
constexpr unsigned long command = 0x3FFBA7;
constexpr std::size_t large = std::size_t{3} << 20U;
constexpr CProcID listenerAddress{3006, 1};
constexpr CProcID anyThere{thereAddress.procType, 0};

class NatsOverhear : public testing::Test {
protected:
    NatsOverhear() { support::NatsAdmin(server_.url()).makeStream(); }

    std::unique_ptr<frame::NatsEngine> connect(CProcID address) const {
        return frame::connectNats(address, natstest::optionsFor(server_.url()));
    }
    frame::OverhearSink into() {
        return [this](const Overheard& message) { heard_.put(message); };
    }
    frame::Subscription hear(const OverhearOptions& options = {}) { return listener_->overhear(options, into()); }
    Overheard next() {
        const auto message = heard_.take();
        EXPECT_TRUE(message) << "nothing in time";
        return message.value_or(Overheard());
    }
    void announce(std::string_view record) { EXPECT_EQ(natstest::publish(*here_, record), frame::BusCode::ok); }
    Delivery store(const std::string& identifier, std::string_view record) {
        return here_->publishReliable({identifier, id, hereAddress, Payload(record)});
    }
    RequestCode send(std::string_view record) {
        return here_->broadcast({command, target, hereAddress, Payload(record)});
    }
    // What is heard of a foreign message: why it is none of this system.
    std::string faultOf(const std::string& subject, const std::vector<natstest::Header>& headers) {
        foreigner_.publish(subject, headers, "octets");
        const Overheard message = next();
        EXPECT_EQ(message.subject, subject);
        EXPECT_EQ(message.record.view(), "octets");
        EXPECT_EQ(message.octets, 6U);
        return message.fault;
    }

    support::NatsServer server_{"", true};
    std::unique_ptr<frame::NatsEngine> here_ = connect(hereAddress);
    std::unique_ptr<frame::NatsEngine> there_ = connect(thereAddress);
    std::unique_ptr<frame::NatsEngine> listener_ = connect(listenerAddress);
    const Foreigner foreigner_{server_.url()};
    support::Mailbox<Overheard> heard_;
};

std::string recordOf(std::size_t octets) {
    std::string record(octets, '\0');
    for (std::size_t i = 0; i < octets; ++i) record[i] = static_cast<char>((i * 2654435761U) >> 11U);
    return record;
}

}  // namespace

TEST_F(NatsOverhear, EveryKindIsHeardWithWhatItSays) {
    const auto hearing = hear();
    announce("event");
    Overheard message = next();
    EXPECT_EQ(message.kind, Kind::event);
    EXPECT_EQ(message.subject, "nec.ev.0x217006");
    EXPECT_EQ(message.id, id);
    EXPECT_EQ(message.sender, hereAddress);
    EXPECT_EQ(message.record.view(), "event");
    EXPECT_EQ(message.octets, 5U);
    EXPECT_EQ(message.fault, "");

    EXPECT_EQ(store("3001.1-a-1", "kept"), Delivery::kept);
    message = next();
    EXPECT_EQ(message.kind, Kind::reliable);
    EXPECT_EQ(message.id, id);
    EXPECT_EQ(message.identifier, "3001.1-a-1");
    EXPECT_EQ(message.record.view(), "kept");

    here_->sendCommand(anyThere, Payload("to any"));
    message = next();
    EXPECT_EQ(message.kind, Kind::command);
    EXPECT_EQ(message.to, anyThere);
    EXPECT_EQ(message.id, std::nullopt);
    here_->sendCommand(thereAddress, Payload("to one"));
    message = next();
    EXPECT_EQ(message.to, thereAddress);
    EXPECT_EQ(message.record.view(), "to one");

    EXPECT_EQ(send("files"), RequestCode::ok);
    message = next();
    EXPECT_EQ(message.kind, Kind::broadcast);
    EXPECT_EQ(message.target, target);
    EXPECT_EQ(message.id, command);
    EXPECT_EQ(message.record.view(), "files");
    EXPECT_TRUE(heard_.empty());
}

TEST_F(NatsOverhear, LargeMessagesAreHeardWhole) {
    const auto hearing = hear();
    const std::string record = recordOf(large);
    announce(record);
    EXPECT_TRUE(next().record.view() == record);
    here_->sendCommand(thereAddress, Payload(record));
    EXPECT_TRUE(next().record.view() == record);
    EXPECT_EQ(send(record), RequestCode::ok);
    EXPECT_TRUE(next().record.view() == record);
    EXPECT_EQ(store("3001.1-a-1", record), Delivery::kept);
    const Overheard message = next();
    EXPECT_EQ(message.fault, "");
    EXPECT_EQ(message.octets, large);
    EXPECT_TRUE(message.record.view() == record);
}

TEST_F(NatsOverhear, RecordsLargerThanAskedForAreNotFetched) {
    OverhearOptions options;
    options.largest = large - 1;
    const auto hearing = hear(options);
    EXPECT_EQ(send(recordOf(large)), RequestCode::ok);
    EXPECT_EQ(store("3001.1-a-1", recordOf(large)), Delivery::kept);
    for (int i = 0; i < 2; ++i) {
        const Overheard message = next();
        EXPECT_EQ(message.fault,
                  "its record is not fetched: it has more than " + std::to_string(large - 1) + " octets");
        EXPECT_EQ(message.octets, large);
        EXPECT_EQ(message.record.size(), 0U);
    }
}

TEST_F(NatsOverhear, PiecesThatAreMissingAreToldOf) {
    const auto hearing = hear();
    foreigner_.makeStream("nec-bc", "nec.bc.*.data.*", {});
    foreigner_.publish("nec.bc.3003.announce",
                       {{"Nec-Sender", "4711.1"},
                        {"Nec-Id", "0x7"},
                        {"Nec-Broadcast", frame::nats::writeAnnouncement({0xAB, 2, 8, std::string(32, '0')})}});
    EXPECT_THAT(next().fault, StartsWith("its record is not fetched: piece 0 of 2"));
    foreigner_.publish("nec.rm.0x217006", {{"Nec-Sender", "4711.1"}, {"Nats-Msg-Id", "x"}, {"Nec-Whole", "2 8"}});
    EXPECT_THAT(next().fault, StartsWith("its record is not fetched: piece 0 of 2"));
}

TEST_F(NatsOverhear, RubbishIsHeardWithTheReason) {
    const auto hearing = hear();
    const natstest::Header sender{"Nec-Sender", "4711.1"};
    EXPECT_EQ(faultOf("nec.ev.0x217006", {}), "sender \"\"; expected TYPE.HANDLE");
    EXPECT_EQ(faultOf("nec.ev.0x217006", {{"Nec-Sender", "x\x1B"}}), "sender \"x\x1B\"; expected TYPE.HANDLE");
    EXPECT_EQ(faultOf("nec.ev.created", {sender}), "a subject without identifier");
    EXPECT_EQ(faultOf("nec.rm.created", {sender}), "a subject without identifier");
    EXPECT_THAT(faultOf("nec.rm.0x1", {sender}), StartsWith("Nats-Msg-Id \"\"; expected"));
    EXPECT_THAT(faultOf("nec.rm.0x1", {sender, {"Nats-Msg-Id", "a"}, {"Nec-Whole", "x"}}), StartsWith("Nec-Whole"));
    for (const char* subject : {"nec.cm.x.any", "nec.cm.1.x", "nec.cm.1.h", "nec.cm.1.h70000", "nec.cm.1.hx"})
        EXPECT_EQ(faultOf(subject, {sender}), "a subject without receiver");
    EXPECT_EQ(faultOf("nec.bc.x.announce", {sender, {"Nec-Id", "0x7"}}), "a subject without target");
    EXPECT_THAT(faultOf("nec.bc.1.announce", {sender}), StartsWith("Nec-Id"));
    EXPECT_THAT(faultOf("nec.bc.1.announce", {sender, {"Nec-Id", "0x100000000"}}), StartsWith("Nec-Id"));
    EXPECT_THAT(faultOf("nec.bc.1.announce", {sender, {"Nec-Id", "0x7"}, {"Nec-Broadcast", "x"}}),
                StartsWith("Nec-Broadcast"));
    EXPECT_THAT(faultOf("nec.ev.0x1", {sender, {"Nec-Piece", "x"}}), StartsWith("Nec-Piece"));
    EXPECT_THAT(faultOf("nec.ev.0x1", {sender, {"Nec-Piece", "1 1 2 12"}}), HasSubstr("beginning is not here"));
    // The question who receives commands is none.
    foreigner_.publish("nec.cm.3001.who", {sender});
    announce("event");
    EXPECT_EQ(next().record.view(), "event");
}

TEST_F(NatsOverhear, WhatTheStoreSendsUnderAnotherSubjectIsHeard) {
    foreigner_.makeStream("foreign", "a", {});
    foreigner_.store("a", "octets");
    const auto hearing = hear();
    foreigner_.deliver("foreign", "nec.ev.0x217006");
    const Overheard message = next();
    EXPECT_EQ(message.subject, "a");
    EXPECT_EQ(message.record.view(), "octets");
    EXPECT_NE(message.fault, "");
}

TEST_F(NatsOverhear, NobodysMessagesAreTaken) {
    const auto hearing = hear();
    support::Mailbox<std::string> received;
    const auto commands =
        there_->receiveCommands([&](const Payload& message) { received.put(std::string(message.view())); });
    const auto reliables = there_->subscribeReliable(id, [&](const frame::ReliableMessage& message) {
        received.put(message.identifier);
        return true;
    });
    for (int i = 0; i < 20; ++i) {
        const std::string text = "3001.1-a-" + std::to_string(i);
        ASSERT_EQ(here_->sendCommand(anyThere, Payload(text)), RequestCode::ok);
        EXPECT_EQ(received.take(), text);
        ASSERT_EQ(store(text, "record"), Delivery::kept);
        EXPECT_EQ(received.take(), text);
    }
    for (int i = 0; i < 40; ++i) EXPECT_EQ(next().fault, "");
}

// Its own subscription and the one that hears all get the same pieces.
TEST_F(NatsOverhear, LargeCommandsToTheListenerArriveAndAreHeard) {
    const auto hearing = hear();
    support::Mailbox<std::string> received;
    const auto commands =
        listener_->receiveCommands([&](const Payload& message) { received.put(std::string(message.view())); });
    const std::string record = recordOf(large);
    ASSERT_EQ(here_->sendCommand(listenerAddress, Payload(record)), RequestCode::ok);
    EXPECT_TRUE(received.take() == record);
    EXPECT_TRUE(next().record.view() == record);
}

TEST_F(NatsOverhear, KindsThatAreNotAskedForDoNotPass) {
    OverhearOptions options;
    options.kinds = {Kind::event};
    const auto hearing = hear(options);
    EXPECT_EQ(send("files"), RequestCode::ok);
    EXPECT_EQ(store("3001.1-a-1", "kept"), Delivery::kept);
    EXPECT_EQ(here_->sendCommand(thereAddress, Payload("x")), RequestCode::noProcess);
    announce("event");
    EXPECT_EQ(next().record.view(), "event");
}

TEST_F(NatsOverhear, WhatASlowSinkMissesIsCounted) {
    constexpr int count = 500;
    NatsOptions narrow = natstest::optionsFor(server_.url());
    narrow.pendingMessages = 10;
    const auto slow = frame::connectNats({3006, 2}, narrow);
    support::Gate gate;
    std::atomic<std::uint64_t> called{0};
    auto hearing = slow->overhear({}, [&](const Overheard&) {
        EXPECT_TRUE(gate.pass());
        ++called;
    });
    for (int i = 0; i < count; ++i) announce("event");
    EXPECT_TRUE(eventually([&] { return slow->status().dropped != 0; }));
    gate.open();
    EXPECT_TRUE(eventually([&] { return called + slow->status().dropped == count; }));
    EXPECT_LT(called, count);
}

TEST_F(NatsOverhear, SinkIsNotCalledAfterTheEnd) {
    support::Gate begun;
    support::Gate gate;
    std::atomic<int> called{0};
    auto hearing = listener_->overhear({}, [&](const Overheard&) {
        begun.open();
        EXPECT_TRUE(gate.pass());
        ++called;
    });
    const auto last = listener_->subscribeEvent(id, [&](const frame::EventMessage& event) {
        if (event.record.view() == "last") gate.open();
    });
    for (const char* record : {"a", "b", "last"}) announce(record);
    EXPECT_TRUE(begun.pass());
    hearing = {};
    EXPECT_GE(called, 1);
    const int before = called;
    announce("later");
    EXPECT_TRUE(listener_->flush());
    EXPECT_EQ(called, before);
}

TEST_F(NatsOverhear, SubscriptionMayEndInItsSink) {
    support::Mailbox<std::string> texts;
    support::Gate stored;
    frame::Subscription hearing;
    hearing = listener_->overhear({}, [&](const Overheard& message) {
        EXPECT_TRUE(stored.pass());
        texts.put(std::string(message.record.view()));
        hearing = {};
    });
    stored.open();
    announce("first");
    announce("second");
    EXPECT_EQ(texts.take(), "first");
    const auto other = hear();
    announce("third");
    while (next().record.view() != "third") {
    }
    EXPECT_TRUE(texts.empty());
}

TEST_F(NatsOverhear, SubscriptionMayOutliveTheEngine) {
    auto hearing = hear();
    announce("event");
    next();
    listener_.reset();
    announce("later");
    hearing = {};
    EXPECT_TRUE(heard_.empty());
}

TEST_F(NatsOverhear, SinkThatThrowsIsCalledAgain) {
    const auto hearing = listener_->overhear({}, [this](const Overheard& message) {
        heard_.put(message);
        throw std::runtime_error("no good");
    });
    announce("first");
    announce("second");
    EXPECT_EQ(next().record.view(), "first");
    EXPECT_EQ(next().record.view(), "second");
}

TEST_F(NatsOverhear, MessagesAreHeardAgainAfterAnOutage) {
    const auto hearing = hear();
    server_.stop();
    server_.start();
    EXPECT_TRUE(eventually([this] {
        natstest::publish(*here_, "again");
        return !heard_.empty();
    }));
}

TEST(NatsFlush, TellsWhatTheServerHasRefused) {
    const support::NatsServer server(
        "no_auth_user: anybody\n"
        "authorization { users: [ { user: anybody, password: x, permissions { publish { deny: \"nec.ev.*\" } } } ] "
        "}\n");
    const auto engine = frame::connectNats(hereAddress, natstest::optionsFor(server.url()));
    EXPECT_TRUE(engine->flush());
    EXPECT_EQ(engine->status().lastError, "");
    EXPECT_EQ(natstest::publish(*engine, "event"), frame::BusCode::ok);
    EXPECT_TRUE(engine->flush());
    EXPECT_THAT(engine->status().lastError, HasSubstr("Permissions Violation for Publish to \"nec.ev.0x217006\""));
}

TEST(NatsFlush, FailsWithoutAServer) {
    support::NatsServer server;
    const auto engine = frame::connectNats(hereAddress, natstest::optionsFor(server.url()));
    server.stop();
    EXPECT_TRUE(eventually([&engine] { return engine->status().state != frame::NatsStatus::State::connected; }));
    EXPECT_FALSE(engine->flush());
}
