// Servers that are not there, do not answer, or answer something else.
#include <cstdlib>
#include <limits>

#include "fixture.h"

namespace {

using support::answering;
using support::RawConnection;
using support::RawServer;
using testing::HasSubstr;

using HttpFailure = HttpTest;

std::string refusingUrl(const support::ClosedPort& port) {
    return "http://127.0.0.1:" + std::to_string(port.number()) + "/";
}

TEST_F(HttpFailure, NobodyListeningIsUnreachable) {
    const support::ClosedPort nobody;
    EXPECT_THAT(failureOf(refusingUrl(nobody), NETP::httpUnreachable), HasSubstr(refusingUrl(nobody)));
}

TEST_F(HttpFailure, UnknownNameIsUnreachable) {
    EXPECT_THAT(failureOf("http://nobody.invalid/", NETP::httpUnreachable), HasSubstr("nobody.invalid"));
}

TEST_F(HttpFailure, ServerThatNeverAnswersTimesOut) {
    RawServer server([](RawConnection& connection) { connection.waitForClose(); });
    for (const int seconds : {1, 0, -1}) failureOf(getRequest(server.url(), seconds), NETP::httpTimedOut);
}

TEST_F(HttpFailure, AnswerThatDoesNotEndInTimeTimesOut) {
    RawServer server([](RawConnection& connection) {
        EXPECT_TRUE(connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"));
        connection.waitForClose();
    });
    failureOf(getRequest(server.url(), 1), NETP::httpTimedOut);
}

TEST_F(HttpFailure, LongestTimeOutIsNoError) {
    const support::HttpServer server(always({}));
    EXPECT_EQ(get(server.url(), std::numeric_limits<int>::max()).result, NETP::httpOk);
}

TEST_F(HttpFailure, RubbishInsteadOfHttpIsBroken) {
    for (const char* rubbish : {"rubbish\r\n\r\n", "\x16\x03\x01", "<html></html>", "HTTP/9.9 200 OK\r\n\r\n",
                                "SSH-2.0-OpenSSH_9.2\r\n", "HTTP/1.1 xyz\r\n\r\n"}) {
        RawServer server(answering(rubbish));
        failureOf(server.url(), NETP::httpBroken);
    }
}

TEST_F(HttpFailure, ConnectionClosedWithoutAnAnswerIsBroken) {
    RawServer server(answering(""));
    failureOf(server.url(), NETP::httpBroken);
}

TEST_F(HttpFailure, AnswerBrokenOffHalfWayIsBroken) {
    for (const char* beginning : {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc", "HTTP/1.1 200 OK\r\nContent-Le",
                                  "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", "HTTP/1.1 102 Processing\r\n\r\n",
                                  "HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 200 OK\r\nContent-Le",
                                  "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabc",
                                  "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n",
                                  "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"}) {
        RawServer server(answering(beginning));
        EXPECT_NE(failureOf(server.url(), NETP::httpBroken), "") << beginning;
    }
}

TEST_F(HttpFailure, EndlessHeaderIsTooLarge) {
    RawServer server([](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        if (connection.send("HTTP/1.1 200 OK\r\n")) connection.sendForEver("Header: value\r\n");
    });
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, EndlessHeaderLineIsTooLarge) {
    RawServer server([](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        if (connection.send("HTTP/1.1 200 OK\r\nHeader: ")) connection.sendForEver(std::string(1000, 'x'));
    });
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, EndlessHeaderLineOnAKeptConnectionIsTooLarge) {
    RawServer server([](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        EXPECT_TRUE(connection.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
        connection.readUntil("\r\n\r\n");
        if (connection.send("HTTP/1.1 200 OK\r\nHeader: ")) connection.sendForEver(std::string(1000, 'x'));
    });
    EXPECT_EQ(get(server.url()).result, NETP::httpOk);
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, LongHeaderLineThatPassesTheBoundIsTooLarge) {
    const std::string line = "Header: " + std::string(100'000, 'x') + "\r\n";
    RawServer server(answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n" + line + line +
                               "Header: " + std::string(60'000, 'x') + "\r\n" + line + "\r\n"));
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, EndlessInterimAnswersAreTooLarge) {
    RawServer server([](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        connection.sendForEver("HTTP/1.1 102 Processing\r\n\r\n");
    });
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, HeaderUpToItsBoundIsTaken) {
    const std::string line = "Header: " + std::string(990, 'x') + "\r\n";  // 1,000 octets
    std::string header = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
    for (int i = 0; i < 260; ++i) header += line;
    RawServer fits(answering(header + "\r\n"));
    EXPECT_EQ(get(fits.url()).result, NETP::httpOk);
    for (int i = 0; i < 3; ++i) header += line;
    RawServer tooLarge(answering(header + "\r\n"));
    failureOf(tooLarge.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, EndlessBodyIsTooLarge) {
    for (const char* header : {"HTTP/1.1 200 OK\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 1000000000000\r\n\r\n"}) {
        RawServer server([header](RawConnection& connection) {
            connection.readUntil("\r\n\r\n");
            if (connection.send(header)) connection.sendForEver(std::string(65536, 'x'));
        });
        failureOf(server.url(), NETP::httpTooLarge);
    }
}

TEST_F(HttpFailure, BodyUpToItsBoundIsTaken) {
    constexpr std::size_t bound = std::size_t{64} * 1024 * 1024;
    std::size_t octets = bound;
    const support::HttpServer server([&](const support::HttpRequest&) {
        return support::HttpAnswer{200, std::string(octets, 'x'), "a/b", {}};
    });
    EXPECT_EQ(get(server.url()).body.size(), bound);
    octets = bound + 1;
    failureOf(server.url(), NETP::httpTooLarge);
}

TEST_F(HttpFailure, NextExchangeAfterEachFailureWorks) {
    const support::HttpServer server(always({200, "fine", "text/plain", {}}));
    const support::ClosedPort nobody;
    RawServer rubbish(answering("rubbish\r\n\r\n"));
    RawServer cut(answering("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"));
    for (const std::string& url : {refusingUrl(nobody), rubbish.url(), cut.url(), std::string("ftp://x")}) {
        EXPECT_NE(get(url).result, NETP::httpOk);
        EXPECT_EQ(get(server.url()).body, "fine");
    }
}

// While it lives, every request that asked the environment would go to a proxy that is not there.
class ProxyInEnvironment {
public:
    ProxyInEnvironment() {
        for (const char* name : names) setenv(name, refusingUrl(nobody_).c_str(), 1);
    }
    ~ProxyInEnvironment() {
        for (const char* name : names) unsetenv(name);
    }
    ProxyInEnvironment(const ProxyInEnvironment&) = delete;
    ProxyInEnvironment& operator=(const ProxyInEnvironment&) = delete;

private:
    static constexpr const char* names[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"};
    support::ClosedPort nobody_;
};

TEST_F(HttpFailure, ProxyThatTheEnvironmentNamesIsNotUsed) {
    const ProxyInEnvironment proxy;
    const support::HttpServer server(always({}));
    EXPECT_EQ(get(server.url()).result, NETP::httpOk);
}

}  // namespace
