// Large messages, many messages, and whom a message to any process of a type reaches.
#include <future>
#include <limits>
#include <thread>
#include <vector>

#include "fixture.h"
#include "foreigner.h"

using frame::BusCode;
using frame::Payload;
using frame::RequestCode;
using natstest::hereAddress;
using natstest::id;
using natstest::Texts;
using natstest::thereAddress;
using support::eventually;

namespace {

constexpr CProcID anyOfType{thereAddress.procType, 0};
// Large messages take a while where many programs run, and under a sanitizer.
constexpr int longSeconds = 240;

std::string large(std::size_t size) {
    std::string octets(size, 'x');
    for (std::size_t i = 0; i < size; i += 4099) octets[i] = static_cast<char>(i >> 12U);
    return octets;
}

std::optional<Payload> same(const frame::RequestMessage& request) {
    return request.record;
}

// A sink that says when it is called first, and stays until it may leave.
struct SlowSink {
    frame::EventSink call() {
        return [this](const frame::EventMessage& event) {
            entered.open();
            EXPECT_TRUE(leave.pass());
            texts.put(std::string(event.record.view()));
        };
    }

    support::Gate entered;
    support::Gate leave;
    Texts texts;
};

class LoadTest : public testing::Test {
protected:
    static frame::NatsOptions narrow(const std::string& url) {
        frame::NatsOptions options = natstest::optionsFor(url);
        options.pendingMessages = 10;
        return options;
    }
    std::unique_ptr<frame::NatsEngine> connect(CProcID address) {
        return frame::connectNats(address, natstest::optionsFor(server.url()));
    }
    RequestCode ask(const CProcID& to, std::string_view question, Payload& answer, unsigned long request = id) {
        return here->request(to, {request, hereAddress, Payload(question)}, longSeconds, answer);
    }

    support::NatsServer server;
    std::unique_ptr<frame::NatsEngine> here = connect(hereAddress);
    std::unique_ptr<frame::NatsEngine> there = connect(thereAddress);
};

// Large requests to a type of which somebody is asked who takes them, and says nothing.
class SearchTest : public LoadTest {
protected:
    // Returns when the question is out.
    std::future<RequestCode> ask(int seconds) {
        auto code = std::async(std::launch::async, [this, seconds] {
            Payload answer;
            return here->request({3002, 0}, {id, hereAddress, Payload(large(2U << 20U))}, seconds, answer);
        });
        natstest::Foreigner::next(asked);
        return code;
    }

    natstest::Foreigner silent{server.url()};
    support::nats::Subscription asked = silent.listen("nec.rq.3002.who.>");
};

}  // namespace

TEST_F(SearchTest, RequestThatFindsNoProcessInTimeHasTimedOut) {
    EXPECT_EQ(ask(1).get(), RequestCode::timedOut);
}

TEST_F(SearchTest, RequestWhoseServerGoesMeanwhileIsDown) {
    auto code = ask(longSeconds);
    server.kill();
    EXPECT_EQ(code.get(), RequestCode::down);
}

TEST_F(SearchTest, RequestThatIsStoppedMeanwhileIsDown) {
    auto code = ask(longSeconds);
    here->stopRequests();
    EXPECT_EQ(code.get(), RequestCode::down);
}

TEST_F(LoadTest, LargestRequestAndAnswerPassWhole) {
    const std::string question = large(frame::mostRequestOctets);
    const auto serving = there->serveRequests(id, same);
    Payload answer;
    ASSERT_EQ(ask(thereAddress, question, answer), RequestCode::ok);
    EXPECT_TRUE(answer.view() == question);
}

TEST_F(LoadTest, LargestCommandPassesWhole) {
    const std::string command = large(frame::mostRequestOctets);
    support::Mailbox<Payload> received;
    const auto receiving = there->receiveCommands([&](const Payload& message) { received.put(message); });
    ASSERT_EQ(here->sendCommand(thereAddress, Payload(command)), RequestCode::ok);
    const auto message = received.take();
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->view() == command);
}

TEST_F(LoadTest, AllPiecesToAnyProcessReachTheSameOne) {
    const auto third = connect({3001, 3});
    const std::string octets = large(5U << 20U);
    const auto servingThere = there->serveRequests(id, same);
    const auto servingThird = third->serveRequests(id, same);
    support::Mailbox<Payload> received;
    const auto put = [&](const Payload& message) { received.put(message); };
    const auto receivingThere = there->receiveCommands(put);
    const auto receivingThird = third->receiveCommands(put);
    for (int i = 0; i < 5; ++i) {
        Payload answer;
        ASSERT_EQ(ask(anyOfType, octets, answer), RequestCode::ok);
        EXPECT_TRUE(answer.view() == octets);
        ASSERT_EQ(here->sendCommand(anyOfType, Payload(octets)), RequestCode::ok);
        const auto message = received.take();
        ASSERT_TRUE(message);
        EXPECT_TRUE(message->view() == octets);
    }
}

TEST_F(LoadTest, LargeMessageThatNobodyTakesIsRefused) {
    const std::string octets = large(5U << 20U);
    Payload answer;
    for (const CProcID& to : {thereAddress, anyOfType}) {
        EXPECT_EQ(ask(to, octets, answer), RequestCode::noProcess);
        EXPECT_EQ(here->sendCommand(to, Payload(octets)), RequestCode::noProcess);
    }
}

TEST_F(LoadTest, LargeMessagesOfManyThreadsPassWhole) {
    const auto serving = there->serveRequests(id, same);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            const std::string octets = large((2U << 20U) + thread);
            for (int i = 0; i < 5; ++i) {
                Payload answer;
                ASSERT_EQ(ask(thereAddress, octets, answer), RequestCode::ok);
                EXPECT_TRUE(answer.view() == octets);
            }
        });
    for (std::thread& thread : threads) thread.join();
}

TEST_F(LoadTest, LargeEventsArriveInTheirOrder) {
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    const std::string octets = large(3U << 20U);
    EXPECT_EQ(natstest::publish(*here, octets), BusCode::ok);
    EXPECT_EQ(natstest::publish(*here, "small"), BusCode::ok);
    EXPECT_TRUE(texts.take() == octets);
    EXPECT_EQ(texts.take(), std::optional<std::string>("small"));
}

TEST_F(LoadTest, RequestToAnyProcessFindsTheOneThatTakesIt) {
    constexpr unsigned long other = id + 1;
    const auto third = connect({3001, 3});
    const auto serving = there->serveRequests(id, same);
    const auto servingOther = third->serveRequests(other, same);
    for (int i = 0; i < 50; ++i) {
        Payload answer;
        ASSERT_EQ(ask(anyOfType, "question", answer, id), RequestCode::ok);
        ASSERT_EQ(ask(anyOfType, "question", answer, other), RequestCode::ok);
        ASSERT_EQ(ask(anyOfType, "question", answer, other + 1), RequestCode::noProcess);
    }
}

TEST_F(LoadTest, AnswerLeavesWhileTheNextRequestIsBeingAnswered) {
    support::Gate first;
    support::Gate third;
    const auto serving = there->serveRequests(id, [&](const frame::RequestMessage& request) {
        EXPECT_TRUE(request.record.view() != "first" || first.pass());
        EXPECT_TRUE(request.record.view() != "third" || third.pass());
        return std::optional(request.record);
    });
    std::vector<std::future<RequestCode>> asked;
    for (const char* text : {"first", "second", "third"}) {
        asked.push_back(std::async(std::launch::async, [this, text] {
            Payload answer;
            return ask(thereAddress, text, answer);
        }));
        EXPECT_TRUE(eventually([&] { return there->status().waitingMessages == asked.size(); }));
    }
    first.open();
    EXPECT_EQ(asked[0].get(), RequestCode::ok);
    EXPECT_EQ(asked[1].get(), RequestCode::ok);
    third.open();
    EXPECT_EQ(asked[2].get(), RequestCode::ok);
}

// One runs, and ten wait.
TEST_F(LoadTest, WhatASlowSinkLeavesIsDroppedAndCounted) {
    const auto slow = frame::connectNats({4000, 1}, narrow(server.url()));
    SlowSink sink;
    const auto subscription = slow->subscribeEvent(id, sink.call());
    Texts others;
    const auto other = slow->subscribeEvent(id + 1, natstest::into(others));
    EXPECT_EQ(natstest::publish(*here, "0"), BusCode::ok);
    ASSERT_TRUE(sink.entered.pass());
    for (int i = 1; i < 100; ++i) EXPECT_EQ(natstest::publish(*here, std::to_string(i)), BusCode::ok);
    EXPECT_EQ(here->publishEvent({id + 1, hereAddress, Payload("other")}), BusCode::ok);
    EXPECT_TRUE(eventually([&] { return slow->status().dropped == 90; })) << slow->status().dropped;
    sink.leave.open();
    for (int i = 0; i < 10; ++i) EXPECT_EQ(sink.texts.take(), std::optional(std::to_string(i)));
    EXPECT_EQ(others.take(), std::optional<std::string>("other"));
    EXPECT_TRUE(eventually([&] { return slow->status().waitingMessages == 0; }));
    EXPECT_EQ(slow->status().waitingOctets, 0U);
    EXPECT_EQ(natstest::publish(*here, "next"), BusCode::ok);
    EXPECT_EQ(sink.texts.take(), std::optional<std::string>("next"));
}

TEST_F(LoadTest, OwnEventsTakeNoRoomFromOthers) {
    const auto slow = frame::connectNats({4000, 1}, narrow(server.url()));
    SlowSink sink;
    const auto subscription = slow->subscribeEvent(id, sink.call());
    EXPECT_EQ(natstest::publish(*here, "0"), BusCode::ok);
    ASSERT_TRUE(sink.entered.pass());
    for (int i = 0; i < 9; ++i) EXPECT_EQ(natstest::publish(*slow, "own"), BusCode::ok);
    ASSERT_TRUE(slow->flush());
    for (std::size_t i = 1; i < 10; ++i) {
        EXPECT_EQ(natstest::publish(*here, std::to_string(i)), BusCode::ok);
        ASSERT_TRUE(eventually([&] { return slow->status().waitingMessages == i + 1; }));
    }
    EXPECT_EQ(slow->status().dropped, 0U);
    sink.leave.open();
    for (int i = 0; i < 10; ++i) EXPECT_EQ(sink.texts.take(), std::optional(std::to_string(i)));
}

TEST_F(LoadTest, LongestTimeIsTaken) {
    const auto serving = there->serveRequests(id, same);
    Payload answer;
    EXPECT_EQ(here->request(thereAddress, {id, hereAddress, Payload("x")}, std::numeric_limits<int>::max(), answer),
              RequestCode::ok);
}

TEST_F(LoadTest, SmallServerLimitMeansSmallerPieces) {
    const support::NatsServer small("max_payload: 4096");
    const auto options = natstest::optionsFor(small.url());
    const auto asking = frame::connectNats(hereAddress, options);
    const auto answering = frame::connectNats(thereAddress, options);
    const auto serving = answering->serveRequests(id, same);
    const std::string octets = large(1U << 20U);
    Payload answer;
    ASSERT_EQ(asking->request(thereAddress, {id, hereAddress, Payload(octets)}, longSeconds, answer), RequestCode::ok);
    EXPECT_TRUE(answer.view() == octets);
}
