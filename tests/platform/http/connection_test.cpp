// Connections: kept, used again, any number at once.
#include <atomic>
#include <thread>
#include <vector>

#include "fixture.h"
#include "support/gate.h"

namespace {

using NETP::httpOk;
using support::HttpAnswer;
using support::HttpRequest;

using HttpConnection = HttpTest;

// Runs `action` on `count` threads, each with its number.
template <class Action>
void onThreads(int count, Action action) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) threads.emplace_back(action, i);
    for (std::thread& thread : threads) thread.join();
}

TEST_F(HttpConnection, OneConnectionServesManyRequests) {
    const support::HttpServer server(always({}));
    for (int i = 0; i < 50; ++i) EXPECT_EQ(get(server.url()).result, httpOk);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpConnection, ConnectionIsUsedAgainByOtherThreads) {
    const support::HttpServer server(always({}));
    for (int i = 0; i < 5; ++i) onThreads(1, [&](int) { EXPECT_EQ(get(server.url()).result, httpOk); });
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpConnection, ConnectionsToSeveralServersAreKept) {
    const support::HttpServer one(always({200, "one", "text/plain", {}}));
    const support::HttpServer other(always({200, "other", "text/plain", {}}));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(get(one.url()).body, "one");
        EXPECT_EQ(get(other.url()).body, "other");
    }
    EXPECT_EQ(one.connections(), 1U);
    EXPECT_EQ(other.connections(), 1U);
}

TEST_F(HttpConnection, ServerThatClosesEachConnectionIsServedByNewOnes) {
    std::atomic<int> connections{0};
    support::RawServer server([&](support::RawConnection& connection) {
        ++connections;
        connection.readUntil("\r\n\r\n");
        EXPECT_TRUE(connection.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"));  // and closes without a word
    });
    for (int i = 0; i < 5; ++i) EXPECT_EQ(get(server.url()).body, "ok");
    EXPECT_EQ(connections, 5);
}

TEST_F(HttpConnection, RequestsOfManyThreadsGetTheirOwnAnswers) {
    const support::HttpServer server([](const HttpRequest& request) {
        return HttpAnswer{200, request.target + request.body, "text/plain", {}};
    });
    onThreads(16, [&](int thread) {
        for (int i = 0; i < 20; ++i) {
            NETP::SendHttpMsgReqStruct request("POST", "aRequest", patientSeconds);
            request.url = server.url("/" + std::to_string(thread) + "/");
            request.body = std::to_string(i);
            EXPECT_EQ(send(request).body, "/" + std::to_string(thread) + "/" + std::to_string(i));
        }
    });
    EXPECT_LE(server.connections(), 16U);
}

TEST_F(HttpConnection, SlowAnswerHoldsUpNoOtherRequest) {
    support::Gate fastIsDone;
    const support::HttpServer server([&](const HttpRequest& request) {
        EXPECT_TRUE(request.target != "/slow" || fastIsDone.pass());
        return HttpAnswer{};
    });
    std::thread slow([&] { EXPECT_EQ(get(server.url("/slow")).result, httpOk); });
    EXPECT_EQ(get(server.url("/fast")).result, httpOk);
    fastIsDone.open();
    slow.join();
}

// More than are kept idle.
TEST_F(HttpConnection, ThirtyExchangesWaitAtOnce) {
    constexpr int count = 30;
    std::atomic<int> waiting{0};
    support::Gate allWait;
    const support::HttpServer server([&](const HttpRequest&) {
        if (++waiting == count) allWait.open();
        EXPECT_TRUE(allWait.pass());
        return HttpAnswer{};
    });
    for (int round = 0; round < 2; ++round) {
        onThreads(count, [&](int) { EXPECT_EQ(get(server.url()).result, httpOk); });
    }
}

}  // namespace
