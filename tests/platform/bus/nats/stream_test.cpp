// The stream of reliable messages as the engine makes and keeps it, and what a process needs of a server.
#include <gtest/gtest.h>

#include <chrono>

#include "bus/nats/options.h"
#include "fixture.h"
#include "foreigner.h"

namespace {

using namespace natstest;
using frame::Delivery;

constexpr CProcID listenerAddress{3004, 1};
constexpr const char* consumer = "t3004-0x217006";
constexpr std::int64_t second = 1'000'000'000;  // nanoseconds

class NatsStream : public testing::Test {
protected:
    std::unique_ptr<frame::NatsEngine> connect(CProcID address) const {
        return frame::connectNats(address, optionsFor(server_.url()));
    }
    [[nodiscard]] frame::Subscription receive(frame::NatsEngine& engine) {
        return engine.subscribeReliable(id, [this](const frame::ReliableMessage& message) {
            received_.put(message.identifier);
            return true;
        });
    }
    // Again and again while the bus is down.
    Delivery publish(const std::string& identifier) {
        Delivery delivery = Delivery::down;
        static_cast<void>(eventually([&] {
            delivery = sender_->publishReliable({identifier, id, hereAddress, frame::Payload("record")});
            return delivery != Delivery::down;
        }));
        return delivery;
    }
    std::string next() { return received_.take().value_or("nothing in time"); }

    support::NatsServer server_{"", true};
    Texts received_;
    std::unique_ptr<frame::NatsEngine> sender_ = connect(hereAddress);
};

}  // namespace

TEST_F(NatsStream, IsMadeSoThatItDropsNothingThatWasNotFetched) {
    ASSERT_EQ(publish("m1"), Delivery::kept);
    const auto stream = Foreigner(server_.url()).streamInfo("nec-rm");
    EXPECT_EQ(stream->Config->Discard, js_DiscardNew);
    EXPECT_EQ(stream->Config->Retention, js_LimitsPolicy);
    EXPECT_EQ(stream->Config->Storage, js_FileStorage);
    EXPECT_EQ(stream->Config->MaxMsgs, -1);
    EXPECT_EQ(stream->Config->MaxBytes, -1);
    EXPECT_EQ(stream->Config->MaxAge, 604'800 * second);  // a week
    EXPECT_EQ(stream->Config->Duplicates, 300 * second);
    EXPECT_TRUE(stream->Config->AllowDirect);
}

TEST_F(NatsStream, ConsumerHandsOutOneMessageAtATimeUntilItIsAcknowledged) {
    const auto listener = connect(listenerAddress);
    const auto receiving = receive(*listener);
    ASSERT_EQ(publish("m1"), Delivery::kept);
    EXPECT_EQ(next(), "m1");
    const auto made = Foreigner(server_.url()).consumerInfo("nec-rm", consumer);
    EXPECT_STREQ(made->Config->Durable, consumer);
    EXPECT_STREQ(made->Config->FilterSubject, "nec.rm.0x217006");
    EXPECT_EQ(made->Config->DeliverSubject, nullptr);
    EXPECT_EQ(made->Config->AckPolicy, js_AckExplicit);
    EXPECT_EQ(made->Config->DeliverPolicy, js_DeliverAll);
    EXPECT_EQ(made->Config->MaxDeliver, -1);
    EXPECT_EQ(made->Config->MaxAckPending, 1);
}

TEST_F(NatsStream, ConsumerOutlivesItsProcessesWithWhatTheyHaveAcknowledged) {
    {
        const auto listener = connect(listenerAddress);
        const auto receiving = receive(*listener);
        ASSERT_EQ(publish("m1"), Delivery::kept);
        EXPECT_EQ(next(), "m1");
    }
    const auto left = Foreigner(server_.url()).consumerInfo("nec-rm", consumer);
    EXPECT_EQ(left->NumAckPending, 0);
    EXPECT_EQ(left->NumPending, 0U);
    ASSERT_EQ(publish("m2"), Delivery::kept);
    const auto another = connect({3004, 2});
    const auto receiving = receive(*another);
    EXPECT_EQ(next(), "m2");
}

TEST_F(NatsStream, MessageWhoseStoringTimedOutArrivesOnce) {
    ASSERT_EQ(publish("m0"), Delivery::kept);
    server_.freeze();
    EXPECT_EQ(sender_->publishReliable({"m1", id, hereAddress, frame::Payload("record")}), Delivery::down);
    server_.thaw();
    ASSERT_EQ(publish("m1"), Delivery::kept);
    ASSERT_EQ(publish("m2"), Delivery::kept);
    const auto listener = connect(listenerAddress);
    const auto receiving = receive(*listener);
    for (const char* identifier : {"m0", "m1", "m2"}) EXPECT_EQ(next(), identifier);
    EXPECT_EQ(Foreigner(server_.url()).streamInfo("nec-rm")->State.Msgs, 3U);
}

TEST(NatsProcess, NeedsOneConnectionForEverything) {
    const support::NatsServer server("max_connections: 1", true);
    const auto engine = frame::connectNats(hereAddress, optionsFor(server.url()));
    Texts arrived;
    const auto put = [&arrived](const auto& message) {
        arrived.put(std::to_string(message.record.size()));
        return true;
    };
    const auto serving = engine->serveRequests(id, [](const frame::RequestMessage& request) { return request.record; });
    const auto listening = engine->subscribeBroadcast(3003, put);
    const auto receiving = engine->subscribeReliable(id, put);
    const frame::Payload record(std::string(3U << 20U, 'x'));
    frame::Payload answer;
    EXPECT_EQ(engine->request(hereAddress, {id, hereAddress, record}, 30, answer), frame::RequestCode::ok);
    EXPECT_EQ(engine->broadcast({7, 3003, hereAddress, record}), frame::RequestCode::ok);
    EXPECT_EQ(arrived.take(), std::to_string(record.size()));
    EXPECT_EQ(engine->publishReliable({"m1", id, hereAddress, record}), Delivery::kept);
    EXPECT_EQ(arrived.take(), std::to_string(record.size()));
    EXPECT_EQ(engine->status().lastError, "");
}

TEST(NatsDelay, GrowsToFiveSecondsAndIsNotTheSameForAll) {
    using frame::nats::delayBefore;
    std::vector<std::chrono::milliseconds> first;
    for (int i = 0; i < 100; ++i) {
        first.push_back(delayBefore(1));
        EXPECT_GE(first.back(), std::chrono::milliseconds(100));
        EXPECT_LE(first.back(), std::chrono::milliseconds(200));
        for (const int attempt : {10, 1'000'000}) {
            EXPECT_GE(delayBefore(attempt), std::chrono::milliseconds(2500));
            EXPECT_LE(delayBefore(attempt), std::chrono::milliseconds(5000));
        }
    }
    EXPECT_NE(std::count(first.begin(), first.end(), first.front()), 100);
}
