// Services come and go, with requests under way.
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "fixture.h"
#include "support/gate.h"

namespace {

using NETP::httpClosed;
using NETP::httpOk;
using support::Gate;
using support::RawConnection;
using testing::HasSubstr;

using HttpLifetime = HttpTest;

TEST(HttpWithoutService, NothingIsSent) {
    const support::HttpServer server(always({}));
    EXPECT_THAT(failureOf(server.url(), httpClosed), HasSubstr("no process"));
    EXPECT_EQ(server.connections(), 0U);
}

TEST(HttpWithoutService, ThereIsNoAddressOfServices) {
    EXPECT_EQ(NETP::GetHttpReqIPAddr(), "");
}

TEST(HttpServices, AddressIsTheConfiguredOne) {
    {
        const frame::HttpService service({"https://10.0.0.1:26335", ""});
        EXPECT_EQ(NETP::GetHttpReqIPAddr(), "https://10.0.0.1:26335");
    }
    const frame::HttpService service({});
    EXPECT_EQ(NETP::GetHttpReqIPAddr(), "");
}

TEST_F(HttpLifetime, SecondServiceIsRefusedAndTheFirstGoesOn) {
    EXPECT_THROW(frame::HttpService({"other", ""}), std::logic_error);
    const support::HttpServer server(always({}));
    EXPECT_EQ(get(server.url()).result, httpOk);
    EXPECT_EQ(NETP::GetHttpReqIPAddr(), "");
}

TEST_F(HttpLifetime, ServicesAreMadeOneAfterAnother) {
    const support::HttpServer server(always({}));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(get(server.url()).result, httpOk);
        service_.reset();
        EXPECT_EQ(get(server.url()).result, httpClosed);
        service_ = std::make_unique<frame::HttpService>(frame::HttpOptions{});
    }
}

// Sends to `server` from a thread, and destroys `service` once `atServer` is open.
void expectBrokenOff(std::unique_ptr<frame::HttpService>& service, const support::RawServer& server, Gate& atServer) {
    std::thread sender([&] { failureOf(server.url(), httpClosed); });
    EXPECT_TRUE(atServer.pass());
    service.reset();
    sender.join();
}

TEST_F(HttpLifetime, DestroyingBreaksOffAnExchangeThatWaitsForItsAnswer) {
    Gate arrived;
    support::RawServer server([&](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        arrived.open();
        connection.waitForClose();
    });
    expectBrokenOff(service_, server, arrived);
}

TEST_F(HttpLifetime, DestroyingBreaksOffAnAnswerThatTrickles) {
    Gate begun;
    support::RawServer server([&](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        EXPECT_TRUE(connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n"));
        begun.open();
        connection.waitForClose();
    });
    expectBrokenOff(service_, server, begun);
}

TEST_F(HttpLifetime, ExchangesAfterBreakingOffAreClosedToo) {
    const support::HttpServer server(always({}));
    service_->breakOff();
    EXPECT_THAT(failureOf(server.url(), httpClosed), HasSubstr("going down"));
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(HttpLifetime, DestroyingBreaksOffAllExchanges) {
    std::atomic<int> waiting{0};
    Gate allWait;
    Gate end;
    const support::HttpServer server([&](const support::HttpRequest&) {
        if (++waiting == 8) allWait.open();
        EXPECT_TRUE(end.pass());
        return support::HttpAnswer{};
    });
    std::vector<std::thread> senders;
    senders.reserve(8);
    for (int i = 0; i < 8; ++i) senders.emplace_back([&] { EXPECT_EQ(get(server.url()).result, httpClosed); });
    EXPECT_TRUE(allWait.pass());
    service_.reset();
    for (std::thread& sender : senders) sender.join();
    end.open();
}

TEST_F(HttpLifetime, ThreadsSendWhileServicesComeAndGo) {
    const support::HttpServer server(always({}));
    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    senders.reserve(3);
    for (int i = 0; i < 3; ++i)
        senders.emplace_back([&] {
            while (!stop) EXPECT_THAT(get(server.url()).result, testing::AnyOf(httpOk, httpClosed));
        });
    for (int i = 0; i < 20; ++i) {
        service_.reset();
        service_ = std::make_unique<frame::HttpService>(frame::HttpOptions{});
        EXPECT_EQ(get(server.url()).result, httpOk);
    }
    stop = true;
    for (std::thread& sender : senders) sender.join();
}

}  // namespace
