// The configuration of a cluster that is shipped: three nodes, and one that does not belong to them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <set>

#include "nats_client.h"
#include "nats_site.h"
#include "platform/asn1.h"
#include "platform/reliable.h"
#include "support/mailbox.h"

namespace {

using namespace nats_client;

std::string octetsOf(const AsnType& record) {
    return std::string(frame::encode(record).view());
}

class NatsCluster : public testing::Test {
protected:
    Site first{"nats-cluster.conf", "nec-1", routeTo(nobodyThere)};
    const std::string join = routeTo(first.server().routePort());
    Site second{first, "nats-cluster.conf", "nec-2", join};
    Site third{first, "nats-cluster.conf", "nec-3", join};
    const std::vector<Site*> nodes{&first, &second, &third};
    const std::vector<std::string> servers{first.server().url(), second.server().url(), third.server().url()};
};

}  // namespace

TEST_F(NatsCluster, MessageThatThreeNodesKeepOutlivesOne) {
    {
        const Client administrator = first.client("administrator");
        makeStream(administrator.jetStream(), "nec-rm", "nec.rm.*", 3);
        makeConsumer(administrator.jetStream(), "nec-rm", "t3004-0xB0762A");
        EXPECT_EQ(store(second.client("ne_manager").jetStream(), "nec.rm.0xB0762A", "kept"), 1U);
    }
    first.server().kill();
    const Client listener = third.client("event_listener");
    EXPECT_THAT(fetchAndAcknowledge(listener.jetStream(), "nec-rm", "t3004-0xB0762A", 1), testing::ElementsAre("kept"));
}

TEST_F(NatsCluster, WhatNeedsNoStreamPassesOnTheLastNode) {
    first.server().kill();
    second.server().kill();
    const Client manager = third.client("ne_manager");
    const Client listener = third.client("event_listener");
    const Subscription events = listener.subscribe("nec.ev.*");
    ASSERT_FALSE(listener.refused("Subscription", "nec.ev.*"));
    manager.publish("nec.ev.0x217006");
    EXPECT_EQ(textOf(next(events)), "text");
}

TEST_F(NatsCluster, ProcessGoesOnAtAnotherNode) {
    constexpr unsigned long created = 0x217006;
    const auto manager = third.join("ne_manager", {3002, 7}, servers);
    const auto listener = third.join("event_listener", {3004, 1}, servers);
    support::Mailbox<CProcID> heard;
    const frame::Subscription listening =
        listener->subscribeEvent(created, [&](const frame::EventMessage& event) { heard.put(event.sender); });

    const std::string lost = manager->status().server;
    for (Site* node : nodes)
        if (node->server().url() == lost) node->server().kill();
    // Until it is there again, events fail or are lost.
    std::optional<CProcID> sender;
    for (int attempt = 0; attempt < 30 && !sender; ++attempt) {
        static_cast<void>(manager->publishEvent({created, {3002, 7}, {}}));
        sender = heard.take(std::chrono::seconds(1));
    }
    EXPECT_EQ(sender, (CProcID{3002, 7}));
    EXPECT_NE(manager->status().server, lost);
}

// It takes seconds to choose another one.
TEST_F(NatsCluster, SendersDoNotNoticeThatTheLeaderOfTheStreamDies) {
    constexpr unsigned long transferred = 0xB0762A;
    constexpr std::size_t all = 100;
    constexpr int half = all / 2;
    std::string leader;
    {
        const Client administrator = first.client("administrator");
        const JetStream jetStream = administrator.jetStream();
        makeStream(jetStream, "nec-rm", "nec.rm.>", 3);
        makeConsumer(jetStream, "nec-rm", "t3004-0xB0762A", "nec.rm.0xB0762A", 1);
        leader = leaderOf(jetStream, "nec-rm");
    }
    const auto listener = third.join("event_listener", {3004, 1}, servers);
    support::Mailbox<std::string> heard;
    const frame::Subscription listening =
        listener->subscribeReliable(transferred, [&](const frame::ReliableMessage& message) {
            heard.put(std::string(message.record.view()));
            return true;
        });
    const support::Folder folder;
    const auto manager = third.join("ne_manager", {3002, 7}, servers);
    const frame::ReliableChannel channel(*manager, {folder.file("outbox.db")});
    const auto send = [](int from) {
        for (int i = from; i < from + half; ++i)
            EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(transferred, AsnInt(i)), 0);
    };
    send(0);
    for (Site* node : nodes)
        if (node->name() == leader) node->server().kill();
    send(half);
    // Some come again, with those that followed them.
    std::set<std::string> arrived;
    std::vector<std::string> inOrder;
    while (arrived.size() < all) {
        const auto text = heard.take(std::chrono::seconds(60));
        ASSERT_TRUE(text) << arrived.size();
        if (arrived.insert(*text).second) inOrder.push_back(*text);
    }
    for (std::size_t i = 0; i < all; ++i) EXPECT_EQ(inOrder[i], octetsOf(AsnInt(static_cast<std::int32_t>(i)))) << i;
}

// With a certificate that clients have too.
TEST_F(NatsCluster, NodeWithoutTheRoutesPasswordIsTurnedAway) {
    const Site other(first, "nats-cluster.conf", "nec-4", routeTo(first.server().routePort(), "wrong"));
    support::Child watched({"tail", "-F", "-n", "+1", first.server().logFile()});
    EXPECT_TRUE(watched.waitForOutput("authentication error - User \"route\""));
}
