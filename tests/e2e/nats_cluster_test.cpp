// The configuration of a cluster that is shipped: three nodes, and one that does not belong to them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "nats_client.h"
#include "nats_site.h"
#include "support/mailbox.h"

namespace {

using namespace nats_client;

// Lines of site.conf of a node that joins at `port`, or of the first one, which finds nobody there.
std::string routeTo(int port, const std::string& password = "route%20password") {
    return "cluster_listen: \"127.0.0.1:-1\"\ncluster_password: \"route password\"\nroutes: [ \"tls://route:" +
           password + "@127.0.0.1:" + std::to_string(port) + "\" ]\n";
}

constexpr int nobodyThere = 1;

class NatsCluster : public testing::Test {
protected:
    Site first{"nats-cluster.conf", "nec-1", routeTo(nobodyThere)};
    const std::string join = routeTo(first.server().routePort());
    Site second{first, "nats-cluster.conf", "nec-2", join};
    Site third{first, "nats-cluster.conf", "nec-3", join};
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
    const std::vector<Site*> nodes = {&first, &second, &third};
    std::vector<std::string> servers;
    for (Site* node : nodes) servers.push_back(node->server().url());
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

// With a certificate that clients have too.
TEST_F(NatsCluster, NodeWithoutTheRoutesPasswordIsTurnedAway) {
    const Site other(first, "nats-cluster.conf", "nec-4", routeTo(first.server().routePort(), "wrong"));
    support::Child watched({"tail", "-F", "-n", "+1", first.server().logFile()});
    EXPECT_TRUE(watched.waitForOutput("authentication error - User \"route\""));
}
