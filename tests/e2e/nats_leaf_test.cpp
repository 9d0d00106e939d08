// The configurations of a cluster and of a site that reaches it over one connection, as they are shipped: processes
// talk across it, with what the cluster stores, and among themselves when it is cut.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "nats_client.h"
#include "nats_leaf_site.h"
#include "support/mailbox.h"

namespace {

using namespace nats_client;

constexpr unsigned long question = 0xB0000F;
constexpr unsigned long created = 0x217006;
constexpr unsigned long transferred = 0xB0762A;
class NatsLeaf : public testing::Test, protected LeafAndHub {
protected:
    static std::unique_ptr<frame::NatsEngine> join(const Site& site, const std::string& user, CProcID address) {
        return site.join(user, address, {site.server().url()});
    }
    // What an administrator makes, also from the leaf.
    static void makeStreams(const Site& site) {
        const Client administrator = site.client("administrator");
        const JetStream jetStream = administrator.jetStream();
        makeStream(jetStream, "nec-rm", "nec.rm.>", 3);
        makeStream(jetStream, "nec-bc", "nec.bc.*.data.*", 3);
        makeConsumer(jetStream, "nec-rm", "t3004-0xB0762A", "nec.rm.0xB0762A");
    }
};

std::optional<frame::Payload> same(const frame::RequestMessage& request) {
    return request.record;
}

// Until what the one says of itself has reached the other server, nobody is there; and what is on its way is lost with
// the server that it is at.
frame::RequestCode ask(frame::BusEngine& asking, const CProcID& to, const frame::Payload& record) {
    constexpr int attemptSeconds = 5;
    frame::Payload answer;
    frame::RequestCode code = frame::RequestCode::noProcess;
    persist(
        [&] {
            code = asking.request(to, {question, asking.address(), record}, attemptSeconds, answer);
            return code == frame::RequestCode::ok ? NATS_OK : NATS_NO_RESPONDERS;
        },
        "request");
    EXPECT_TRUE(answer.view() == record.view());
    return code;
}

}  // namespace

TEST_F(NatsLeaf, RequestsEventsAndCommandsPassAcrossIt) {
    const auto manager = join(leaf, "ne_manager", {3002, 7});
    const auto centre = join(first, "management_centre", {3001, 1});
    const auto dispatcher = join(second, "trap_dispatcher", {45445, 1});
    const auto listener = join(third, "event_listener", {3004, 1});
    support::Mailbox<std::size_t> arrived;
    const auto serving = centre->serveRequests(question, same);
    const auto dispatching =
        dispatcher->receiveCommands([&](const frame::Payload& command) { arrived.put(command.size()); });
    const auto listening =
        listener->subscribeEvent(created, [&](const frame::EventMessage& event) { arrived.put(event.record.size()); });
    for (const std::size_t octets : {10U, 3U << 20U}) {
        const frame::Payload record(std::string(octets, 'x'));
        EXPECT_EQ(ask(*manager, {3001, 0}, record), frame::RequestCode::ok);
        persist(
            [&] {
                return manager->sendCommand({45445, 0}, record) == frame::RequestCode::ok ? NATS_OK
                                                                                          : NATS_NO_RESPONDERS;
            },
            "command");
        EXPECT_EQ(arrived.take(), octets);
        EXPECT_EQ(manager->publishEvent({created, {3002, 7}, record}), frame::BusCode::ok);
        EXPECT_EQ(arrived.take(), octets);
    }
    EXPECT_EQ(leaf.log().find("Violation"), std::string::npos) << leaf.log();
}

TEST_F(NatsLeaf, RequestToAnyProcessStaysAtTheLeafWhereThereIsOne) {
    const auto manager = join(leaf, "ne_manager", {3002, 7});
    const auto far = join(first, "management_centre", {3001, 1});
    const auto near = join(leaf, "management_centre", {3001, 2});
    const auto there = far->serveRequests(question, same);
    EXPECT_EQ(ask(*manager, {3001, 1}, frame::Payload("is known")), frame::RequestCode::ok);
    std::atomic<int> asked{0};
    const auto here = near->serveRequests(question, [&](const frame::RequestMessage& request) {
        ++asked;
        return request.record;
    });
    for (int i = 0; i < 20; ++i) EXPECT_EQ(ask(*manager, {3001, 0}, frame::Payload("who")), frame::RequestCode::ok);
    EXPECT_EQ(asked, 20);
}

TEST_F(NatsLeaf, WhatTheClusterStoresPassesAcrossIt) {
    makeStreams(leaf);
    const frame::Payload large(std::string(3U << 20U, 'x'));
    const std::vector<std::pair<const Site*, const Site*>> ways = {{&leaf, &first}, {&second, &leaf}};
    for (const auto& [from, to] : ways) {
        const auto manager = join(*from, "ne_manager", {3002, 7});
        const auto listener = join(*to, "event_listener", {3004, 1});
        const auto client = join(*to, "pnp_client", {3003, 1});
        support::Mailbox<std::size_t> messages;
        support::Mailbox<std::size_t> broadcasts;
        const auto receiving = listener->subscribeReliable(transferred, [&](const frame::ReliableMessage& message) {
            messages.put(message.record.size());
            return true;
        });
        const auto hearing = client->subscribeBroadcast(
            3003, [&](const frame::BroadcastMessage& message) { broadcasts.put(message.record.size()); });
        const std::string name = "3002.7-" + std::string(from == &leaf ? "leaf" : "hub");
        ASSERT_EQ(manager->publishReliable({name, transferred, {3002, 7}, large}), frame::Delivery::kept);
        EXPECT_EQ(messages.take(), large.size());
        std::optional<std::size_t> heard;
        for (int attempt = 0; attempt < 30 && !heard; ++attempt) {
            EXPECT_EQ(manager->broadcast({7, 3003, {3002, 7}, large}), frame::RequestCode::ok);
            heard = broadcasts.take(std::chrono::seconds(1));
        }
        EXPECT_EQ(heard, large.size());
    }
    EXPECT_EQ(leaf.log().find("Violation"), std::string::npos) << leaf.log();
}

TEST_F(NatsLeaf, SiteThatIsCutOffGoesOnByItselfAndFindsTheClusterAgain) {
    const auto manager = join(leaf, "ne_manager", {3002, 7});
    const auto centre = join(leaf, "management_centre", {3001, 1});
    const auto serving = centre->serveRequests(question, same);
    for (Site* each : {&first, &second, &third}) {
        each->configure(node(first.server().routePort(), std::to_string(each->server().routePort()), leafPort(*each)));
        each->server().stop();
    }
    EXPECT_EQ(ask(*manager, {3001, 1}, frame::Payload("alone")), frame::RequestCode::ok);
    EXPECT_EQ(manager->publishReliable({"3002.7-1", transferred, {3002, 7}, {}}), frame::Delivery::down);
    for (Site* each : {&first, &second}) each->server().start();
    const auto other = join(first, "ne_manager", {3002, 8});
    EXPECT_EQ(ask(*other, {3001, 1}, frame::Payload("again")), frame::RequestCode::ok);
}

TEST_F(NatsLeaf, LeafGoesOnAtAnotherNodeOfTheCluster) {
    const auto manager = join(leaf, "ne_manager", {3002, 7});
    const auto centre = join(third, "management_centre", {3001, 3});
    const auto serving = centre->serveRequests(question, same);
    EXPECT_EQ(ask(*manager, {3001, 3}, frame::Payload("before")), frame::RequestCode::ok);
    for (Site* node : {&first, &second}) {
        node->server().kill();
        EXPECT_EQ(ask(*manager, {3001, 3}, frame::Payload("on another way")), frame::RequestCode::ok);
    }
}

TEST_F(NatsLeaf, NobodyIsLetInWithoutAPassword) {
    EXPECT_EQ(Client(leaf.options()).status(), NATS_CONNECTION_AUTH_FAILED);
    EXPECT_EQ(Client(first.options()).status(), NATS_CONNECTION_AUTH_FAILED);
    for (const char* user : {"leaf", "operator"}) {
        const Options options = first.optionsOf(user, "leaf password");
        check(natsOptions_SetURL(options.get(), ("nats://127.0.0.1:" + leafPort(first)).c_str()), "URL");
        EXPECT_NE(Client(options).status(), NATS_OK) << user;
    }
    const Site other(first, "nats-leaf.conf", "nec-other", hub({&first}, "wrong"));
    awaitLog(first.server(), "authentication error - User \"leaf\"");
}
