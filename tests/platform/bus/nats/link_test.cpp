// The connection: absent, lost, killed, frozen, and back.
#include <thread>

#include "fixture.h"

using frame::BusCode;
using frame::NatsStatus;
using frame::Payload;
using frame::RequestCode;
using natstest::arrivesInTime;
using natstest::hereAddress;
using natstest::id;
using natstest::optionsFor;
using natstest::Texts;
using natstest::thereAddress;
using support::eventually;

namespace {

using State = NatsStatus::State;

std::optional<Payload> same(const frame::RequestMessage& request) {
    return request.record;
}

// Two processes on a server.
class LinkTest : public testing::Test {
protected:
    std::unique_ptr<frame::NatsEngine> connect(CProcID address) {
        return frame::connectNats(address, optionsFor(server.url()));
    }
    RequestCode ask(int timeoutSeconds = 30) {
        Payload answer;
        return here->request(thereAddress, {id, hereAddress, Payload("question")}, timeoutSeconds, answer);
    }
    bool lost(const frame::NatsEngine& engine) const {
        return eventually([&] { return engine.status().state != State::connected; });
    }
    bool connected(const frame::NatsEngine& engine) const {
        return eventually([&] { return engine.status().state == State::connected; });
    }

    support::NatsServer server;
    std::unique_ptr<frame::NatsEngine> here = connect(hereAddress);
    std::unique_ptr<frame::NatsEngine> there = connect(thereAddress);
};

}  // namespace

TEST_F(LinkTest, StatusTellsTheServer) {
    const NatsStatus status = here->status();
    EXPECT_STREQ(frame::toText(status.state), "connected");
    EXPECT_EQ(status.server, server.url());
    EXPECT_EQ(status.reconnects, 0U);
    EXPECT_EQ(status.lastError, "");
}

TEST_F(LinkTest, AbsentServerIsTriedUntilItIsThere) {
    server.kill();
    const auto early = connect({3002, 1});
    EXPECT_NE(early->status().state, State::connected);
    EXPECT_NE(early->status().lastError, "");
    Texts texts;
    const auto subscription = early->subscribeEvent(id, natstest::into(texts));
    const auto serving = early->serveRequests(id, same);
    EXPECT_EQ(natstest::publish(*early, "event"), BusCode::down);
    Payload answer;
    EXPECT_EQ(early->request(thereAddress, {id, {3002, 1}, {}}, 30, answer), RequestCode::down);
    EXPECT_EQ(early->sendCommand(thereAddress, {}), RequestCode::down);
    server.start();
    EXPECT_TRUE(arrivesInTime(*here, texts));
    EXPECT_EQ(here->request({3002, 0}, {id, hereAddress, Payload("question")}, 30, answer), RequestCode::ok);
}

TEST_F(LinkTest, EverythingFailsAtOnceWithoutAServerAndIsRestoredWithIt) {
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    const auto serving = there->serveRequests(id, same);
    const auto receiving = there->receiveCommands([](const Payload&) {});
    server.kill();
    ASSERT_TRUE(lost(*here) && lost(*there));
    EXPECT_EQ(natstest::publish(*here, "lost"), BusCode::down);
    EXPECT_EQ(ask(), RequestCode::down);
    EXPECT_EQ(here->sendCommand(thereAddress, Payload("lost")), RequestCode::down);
    server.start();
    ASSERT_TRUE(connected(*here) && connected(*there));
    EXPECT_EQ(here->status().reconnects, 1U);
    EXPECT_EQ(ask(), RequestCode::ok);
    EXPECT_EQ(here->sendCommand(thereAddress, Payload("command")), RequestCode::ok);
    EXPECT_EQ(natstest::publish(*here, "event"), BusCode::ok);
    EXPECT_EQ(texts.take(), std::optional<std::string>("event"));
}

TEST_F(LinkTest, ServerThatStopsAsOperatorsStopItIsFoundAgainToo) {
    const auto serving = there->serveRequests(id, same);
    server.stop();
    ASSERT_TRUE(lost(*here) && lost(*there));
    server.start();
    ASSERT_TRUE(connected(*here) && connected(*there));
    EXPECT_EQ(ask(), RequestCode::ok);
}

TEST_F(LinkTest, RequestThatWaitsIsDownAtOnceWhenTheServerIsKilled) {
    support::Gate asked;
    support::Gate leave;
    const auto serving = there->serveRequests(id, [&](const frame::RequestMessage&) {
        asked.open();
        EXPECT_TRUE(leave.pass());
        return Payload("too late");
    });
    std::thread waiting([this] { EXPECT_EQ(ask(300), RequestCode::down); });
    EXPECT_TRUE(asked.pass());
    server.kill();
    waiting.join();
    leave.open();
}

TEST_F(LinkTest, RequestTimesOutWhileTheServerIsFrozen) {
    const auto serving = there->serveRequests(id, same);
    server.freeze();
    EXPECT_EQ(ask(1), RequestCode::timedOut);
    server.thaw();
    EXPECT_EQ(ask(), RequestCode::ok);
}

TEST_F(LinkTest, FrozenServerIsPassedOverForAnother) {
    const support::NatsServer second;
    auto options = optionsFor(server.url());
    options.servers.push_back(second.url());
    server.freeze();
    const auto careful = frame::connectNats({3002, 1}, options);
    ASSERT_TRUE(connected(*careful));
    EXPECT_EQ(careful->status().server, second.url());
    server.thaw();
}

// What the sockets take is soon full.
TEST_F(LinkTest, PublishingToAFrozenServerEnds) {
    const std::string record(512U << 10U, 'x');
    server.freeze();
    BusCode code = BusCode::ok;
    for (int i = 0; i < 1000 && code == BusCode::ok; ++i) code = natstest::publish(*here, record);
    EXPECT_EQ(code, BusCode::down);
    server.thaw();
    EXPECT_TRUE(connected(*here));
}

TEST_F(LinkTest, FrozenServerIsNoticedAndFoundAgain) {
    server.freeze();
    EXPECT_TRUE(lost(*here));
    server.thaw();
    EXPECT_TRUE(connected(*here));
}

TEST_F(LinkTest, SubscriptionThatEndsWithoutAServerIsNotRestored) {
    Texts ended;
    Texts staying;
    auto subscription = there->subscribeEvent(id, natstest::into(ended));
    auto serving = there->serveRequests(id, same);
    server.kill();
    ASSERT_TRUE(lost(*here) && lost(*there));
    subscription = there->subscribeEvent(id, natstest::into(staying));
    serving = {};
    server.start();
    EXPECT_TRUE(arrivesInTime(*here, staying));
    EXPECT_TRUE(ended.empty());
    EXPECT_EQ(ask(), RequestCode::noProcess);
}

TEST_F(LinkTest, PublishedEventsAreSentBeforeTheEngineGoes) {
    constexpr int count = 1000;
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    for (int i = 0; i < count; ++i) EXPECT_EQ(natstest::publish(*here, std::to_string(i)), BusCode::ok);
    here.reset();
    for (int i = 0; i < count; ++i) ASSERT_EQ(texts.take(), std::optional(std::to_string(i)));
}

TEST_F(LinkTest, WhatHasArrivedIsHandedOverBeforeTheEngineGoes) {
    constexpr int count = 100;
    support::Gate entered;
    support::Gate leave;
    Texts texts;
    auto subscription = there->subscribeEvent(id, [&](const frame::EventMessage& event) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        texts.put(std::string(event.record.view()));
    });
    for (int i = 0; i < count; ++i) EXPECT_EQ(natstest::publish(*here, std::to_string(i)), BusCode::ok);
    EXPECT_TRUE(entered.pass());
    EXPECT_TRUE(eventually([&] { return there->status().waitingMessages == count; }));
    std::thread ending([this] { there.reset(); });
    leave.open();
    ending.join();
    for (int i = 0; i < count; ++i) EXPECT_EQ(texts.take(), std::optional(std::to_string(i)));
    subscription = {};
}

TEST_F(LinkTest, EngineGoesWithoutAServer) {
    Texts texts;
    auto subscription = there->subscribeEvent(id, natstest::into(texts));
    server.kill();
    there.reset();
    subscription = {};
}

TEST_F(LinkTest, ManyProcessesHearOneEvent) {
    constexpr std::uint16_t count = 30;
    std::vector<std::unique_ptr<frame::NatsEngine>> engines;
    std::vector<Texts> texts(count);
    std::vector<frame::Subscription> subscriptions;
    for (std::uint16_t i = 0; i < count; ++i) {
        engines.push_back(connect({4000, static_cast<std::uint16_t>(i + 1)}));
        subscriptions.push_back(engines.back()->subscribeEvent(id, natstest::into(texts[i])));
    }
    EXPECT_EQ(natstest::publish(*here, "event"), BusCode::ok);
    for (Texts& one : texts) EXPECT_EQ(one.take(), std::optional<std::string>("event"));
}
