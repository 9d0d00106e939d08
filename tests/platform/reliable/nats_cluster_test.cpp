// The reliable channel over three NATS servers, each of which keeps all messages.
#include "support/nats_cluster.h"

#include "fixture.h"
#include "platform/nats.h"
#include "support/nats_admin.h"

namespace reliable_test {

namespace {

class ReliableOverCluster : public testing::Test {
protected:
    void SetUp() override {
        frame::NatsOptions options;
        options.servers = cluster_.urls();
        engine_ = frame::connectNats(self, options);
        frame::ReliableOptions outbox;
        outbox.file = folder_.file("outbox.db");
        channel_.emplace(*engine_, outbox);
        subscription_ = mailbox_.takeAll();
    }

    void sendNumbers(int from, int to) {
        for (int i = from; i < to; ++i) ASSERT_EQ(send(std::to_string(i)), ReliableCode::ok);
    }
    void expectNumbers(int to) {
        ASSERT_TRUE(mailbox_.waitFor(static_cast<std::size_t>(to)));
        std::vector<std::string> numbers;
        for (int i = 0; i < to; ++i) numbers.push_back(std::to_string(i));
        EXPECT_EQ(mailbox_.texts(), numbers);
    }

    // The broker that leads the stream, as that with this number knows.
    std::size_t leader(std::size_t asked) {
        std::string name;
        EXPECT_TRUE(eventually([&] { return !(name = support::NatsAdmin(url(asked)).leader()).empty(); }));
        std::size_t index = 0;
        while (index + 1 < cluster_.size && support::NatsCluster::nameOf(index) != name) ++index;
        return index;
    }
    [[nodiscard]] bool allKeepAll() {
        return eventually([&] { return support::NatsAdmin(url(0)).replicasAreCurrent(); });
    }
    std::string url(std::size_t index) { return cluster_.node(index).url(); }

    support::Folder folder_;
    support::NatsCluster cluster_;
    Mailbox mailbox_;
    std::unique_ptr<frame::BusEngine> engine_;
    std::optional<frame::ReliableChannel> channel_;
    frame::Subscription subscription_;
};

TEST_F(ReliableOverCluster, KilledLeaderCostsNothing) {
    sendNumbers(0, 100);
    ASSERT_TRUE(mailbox_.waitFor(1));
    cluster_.node(leader(0)).kill();
    sendNumbers(100, 300);
    expectNumbers(300);
}

TEST_F(ReliableOverCluster, LeaderWithoutItsStoreCostsNothing) {
    sendNumbers(0, 100);
    ASSERT_TRUE(allKeepAll());
    const std::size_t first = leader(0);
    cluster_.node(first).kill();
    cluster_.node(first).loseStore();
    cluster_.node(first).start();
    sendNumbers(100, 200);
    ASSERT_TRUE(allKeepAll());
    cluster_.node(leader(first)).kill();
    sendNumbers(200, 300);
    expectNumbers(300);
}

}  // namespace

}  // namespace reliable_test
