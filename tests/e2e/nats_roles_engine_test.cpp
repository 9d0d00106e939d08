// The roles that are shipped are enough for the engine: processes talk over a server that runs with them, and the
// server has nothing to complain of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "nats_site.h"
#include "platform/process.h"
#include "support/mailbox.h"

namespace {

using namespace nats_client;

constexpr int timeoutSeconds = 30;
constexpr unsigned long question = 0xB0000F;
constexpr unsigned long created = 0x217006;

class NatsRolesEngine : public testing::Test {
protected:
    ~NatsRolesEngine() override { EXPECT_EQ(site.log().find("Violation"), std::string::npos) << site.log(); }

    std::unique_ptr<frame::NatsEngine> join(const std::string& user, CProcID address) const {
        return site.join(user, address, {site.server().url()});
    }

    const Site site;
    const support::Folder outboxes;
};

}  // namespace

// As a server's `main` makes them, with all that those listen to.
TEST_F(NatsRolesEngine, WholeProcessesAreForbiddenNothing) {
    const std::vector<std::pair<std::string, std::uint16_t>> processes = {
        {"management_centre", 3001}, {"ne_manager", 3002},       {"pnp_client", 3003}, {"event_listener", 3004},
        {"trap_dispatcher", 3005},   {"trap_dispatcher", 45445}, {"operator", 3006}};
    for (const auto& [user, type] : processes) {
        frame::Config config;
        config.process = {type, 1, 0};
        config.busEngine = "nats";
        config.nats = site.processOptions(user, {site.server().url()});
        config.log.level = frame::LogLevel::off;
        config.reliable.file = outboxes.file(user + std::to_string(type));
        frame::Process process(config);
        const auto& engine = dynamic_cast<const frame::NatsEngine&>(process.bus());
        EXPECT_EQ(engine.status().state, frame::NatsStatus::State::connected) << user;
        EXPECT_EQ(engine.status().lastError, "") << user;
    }
}

TEST_F(NatsRolesEngine, RequestsPassInAnySize) {
    const auto centre = join("management_centre", {3001, 1});
    const auto manager = join("ne_manager", {3002, 7});
    const frame::Subscription served =
        centre->serveRequests(question, [](const frame::RequestMessage& request) { return request.record; });
    for (const CProcID to : {CProcID{3001, 0}, CProcID{3001, 1}})
        for (const std::size_t octets : {10U, 3U << 20U, 64U << 20U}) {
            const std::string text(octets, 'x');
            frame::Payload answer;
            ASSERT_EQ(manager->request(to, {question, {3002, 7}, frame::Payload(text)}, timeoutSeconds, answer),
                      frame::RequestCode::ok);
            EXPECT_EQ(answer.view(), text);
        }
}

TEST_F(NatsRolesEngine, CommandsAndTheirAnswersPassInAnySize) {
    const auto dispatcher = join("trap_dispatcher", {45445, 1});
    const auto manager = join("ne_manager", {3002, 7});
    support::Mailbox<frame::Payload> commands;
    support::Mailbox<frame::Payload> answers;
    const frame::Subscription dispatching =
        dispatcher->receiveCommands([&](const frame::Payload& command) { commands.put(command); });
    const frame::Subscription managing =
        manager->receiveCommands([&](const frame::Payload& answer) { answers.put(answer); });
    for (const std::size_t octets : {60U, 3U << 20U}) {
        const std::string text(octets, 'x');
        ASSERT_EQ(manager->sendCommand({45445, 0}, frame::Payload(text)), frame::RequestCode::ok);
        EXPECT_EQ(commands.take().value_or(frame::Payload()).view(), text);
        ASSERT_EQ(dispatcher->sendCommand({3002, 7}, frame::Payload(text)), frame::RequestCode::ok);
        EXPECT_EQ(answers.take().value_or(frame::Payload()).view(), text);
    }
}

TEST_F(NatsRolesEngine, WhoIsNotThereIsToldAtOnce) {
    const auto manager = join("ne_manager", {3002, 7});
    frame::Payload answer;
    EXPECT_EQ(manager->request({3001, 0}, {question, {3002, 7}, {}}, timeoutSeconds, answer),
              frame::RequestCode::noProcess);
    EXPECT_EQ(manager->sendCommand({45445, 0}, frame::Payload("text")), frame::RequestCode::noProcess);
}

TEST_F(NatsRolesEngine, EventsReachListenersAndOtherManagers) {
    const auto sender = join("ne_manager", {3002, 7});
    const auto manager = join("ne_manager", {3002, 8});
    const auto listener = join("event_listener", {3004, 1});
    support::Mailbox<CProcID> atManager;
    support::Mailbox<CProcID> atListener;
    const frame::Subscription managing =
        manager->subscribeEvent(created, [&](const frame::EventMessage& event) { atManager.put(event.sender); });
    const frame::Subscription listening =
        listener->subscribeEvent(created, [&](const frame::EventMessage& event) { atListener.put(event.sender); });
    ASSERT_EQ(sender->publishEvent({created, {3002, 7}, frame::Payload("text")}), frame::BusCode::ok);
    EXPECT_EQ(atManager.take(), (CProcID{3002, 7}));
    EXPECT_EQ(atListener.take(), (CProcID{3002, 7}));
}

TEST_F(NatsRolesEngine, BroadcastsReachClientsInAnySize) {
    const Client administrator = site.client("administrator");
    makeStream(administrator.jetStream(), "nec-bc", "nec.bc.*.data.*");
    const auto manager = join("ne_manager", {3002, 7});
    const auto client = join("pnp_client", {3003, 1});
    support::Mailbox<std::size_t> arrived;
    const frame::Subscription receiving = client->subscribeBroadcast(
        3003, [&](const frame::BroadcastMessage& message) { arrived.put(message.record.size()); });
    for (const std::size_t octets : {10U, 3U << 20U}) {
        const frame::Payload record(std::string(octets, 'x'));
        ASSERT_EQ(manager->broadcast({7, 3003, {3002, 7}, record}), frame::RequestCode::ok);
        EXPECT_EQ(arrived.take(), octets);
    }
}

TEST_F(NatsRolesEngine, ReliableMessagesReachListeners) {
    constexpr unsigned long transferred = 0xB0762A;
    const Client administrator = site.client("administrator");
    makeStream(administrator.jetStream(), "nec-rm", "nec.rm.>");
    makeConsumer(administrator.jetStream(), "nec-rm", "t3004-0xB0762A");
    const auto manager = join("ne_manager", {3002, 7});
    const auto listener = join("event_listener", {3004, 1});
    support::Mailbox<std::string> arrived;
    const frame::Subscription receiving =
        listener->subscribeReliable(transferred, [&](const frame::ReliableMessage& message) {
            arrived.put(message.identifier);
            return true;
        });
    ASSERT_EQ(manager->publishReliable({"3002.7-a-1", transferred, {3002, 7}, frame::Payload("text")}),
              frame::Delivery::kept);
    EXPECT_EQ(arrived.take(), "3002.7-a-1");
}

// What necctl does by hand, it may do over the server.
TEST_F(NatsRolesEngine, OperatorAsksCommandsAndAnnounces) {
    const auto centre = join("management_centre", {3001, 1});
    const auto dispatcher = join("trap_dispatcher", {45445, 1});
    const auto listener = join("event_listener", {3004, 1});
    const auto byHand = join("operator", {3006, 9});
    support::Mailbox<frame::Payload> commands;
    support::Mailbox<frame::Payload> answers;
    support::Mailbox<CProcID> events;
    const frame::Subscription served =
        centre->serveRequests(question, [](const frame::RequestMessage& request) { return request.record; });
    const frame::Subscription dispatching =
        dispatcher->receiveCommands([&](const frame::Payload& command) { commands.put(command); });
    const frame::Subscription answered =
        byHand->receiveCommands([&](const frame::Payload& answer) { answers.put(answer); });
    const frame::Subscription listening =
        listener->subscribeEvent(created, [&](const frame::EventMessage& event) { events.put(event.sender); });

    frame::Payload answer;
    EXPECT_EQ(byHand->request({3001, 0}, {question, {3006, 9}, frame::Payload("who")}, timeoutSeconds, answer),
              frame::RequestCode::ok);
    EXPECT_EQ(byHand->sendCommand({45445, 0}, frame::Payload("assign")), frame::RequestCode::ok);
    EXPECT_EQ(commands.take().value_or(frame::Payload()).view(), "assign");
    EXPECT_EQ(dispatcher->sendCommand({3006, 9}, frame::Payload("done")), frame::RequestCode::ok);
    EXPECT_EQ(answers.take().value_or(frame::Payload()).view(), "done");
    EXPECT_EQ(byHand->publishEvent({created, {3006, 9}, frame::Payload("text")}), frame::BusCode::ok);
    EXPECT_EQ(events.take(), (CProcID{3006, 9}));
}

// The store sends what it holds to any subject that somebody names who may ask it, also to one that he may not publish
// to.
TEST_F(NatsRolesEngine, WhatTheStoreIsMadeToSendIsNotTaken) {
    const Client administrator = site.client("administrator");
    makeStream(administrator.jetStream(), "nec-rm", "nec.rm.>");
    makeConsumer(administrator.jetStream(), "nec-rm", "t3004-0xB0762A");
    const auto manager = join("ne_manager", {3002, 7});
    const auto centre = join("management_centre", {3001, 1});
    support::Mailbox<std::string> heard;
    const frame::Subscription events = manager->subscribeEvent(
        created, [&](const frame::EventMessage& event) { heard.put(std::string(event.record.view())); });
    const frame::Subscription commands =
        centre->receiveCommands([&](const frame::Payload& command) { heard.put(std::string(command.view())); });
    ASSERT_EQ(manager->publishReliable({"3002.7-a-1", created, {3002, 8}, frame::Payload("a transfer")}),
              frame::Delivery::kept);

    const Client listener = site.client("event_listener");
    listener.ask("$JS.API.CONSUMER.MSG.NEXT.nec-rm.t3004-0xB0762A", "nec.ev.0x217006", "1");
    persist([&] { return manager->status().refused == 1 ? NATS_OK : NATS_TIMEOUT; }, "refused as an event");
    const Client sender = site.client("ne_manager");
    sender.publishAs("3001.9", "nec.rm.0xB0762A.data.a.0");
    sender.ask("$JS.API.DIRECT.GET.nec-rm.nec.rm.0xB0762A.data.a.0", "nec.cm.3001.h1", "");
    persist([&] { return centre->status().refused == 1 ? NATS_OK : NATS_TIMEOUT; }, "refused as a command");
    EXPECT_TRUE(heard.empty());
}
