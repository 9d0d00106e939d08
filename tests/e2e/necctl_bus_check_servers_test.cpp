// necctl bus check: servers that behave badly, or differently from each other, are named, and stop nothing.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "e2e/necctl_bus.h"
#include "support/raw_server.h"

namespace {

using support::RawConnection;
using support::RawServer;
using testing::HasSubstr;

class NecctlBusCheckServers : public NecctlBus {
protected:
    std::string with(const std::string& servers, const std::string& more = {}) const {
        return configure(operatorProcess, "servers = [" + servers + "]\n" + more);
    }
    static std::string url(const std::string& scheme, int port) {
        return '"' + scheme + "://127.0.0.1:" + std::to_string(port) + '"';
    }
};

const std::string info = "INFO {\"version\":\"2.9.10\",\"max_payload\":1048576,\"jetstream\":true}\r\n";

// Says what it is, and then nothing but that it is there, `answers` times.
RawServer::Script answeringPings(int answers) {
    return [left = answers](RawConnection& connection) mutable {
        if (!connection.send(info)) return;
        if (left-- > 0) {
            connection.readUntil("PING\r\n");
            if (!connection.send("PONG\r\n")) return;
        }
        connection.waitForClose();
    };
}

// Its last words and its end come together, so what it is told afterwards is told to nobody.
void sayAndEnd(RawConnection& connection) {
    const int held = 1;
    setsockopt(connection.socket(), IPPROTO_TCP, TCP_CORK, &held, sizeof held);
    if (!connection.send("INFO {\"version\":\"2.9.10\",\"max_payload\":1048576,\"tls_required\":true}\r\n")) return;
}

// An octet each second, until nobody listens any more.
void drip(RawConnection& connection) {
    pollfd peer{connection.socket(), POLLRDHUP, 0};
    while (connection.send("I") && poll(&peer, 1, 1000) == 0) {
    }
}

}  // namespace

TEST_F(NecctlBusCheckServers, OneThatEndsInTheMiddleOfTlsIsNamed) {
    const RawServer server(sayAndEnd);
    expectWrong(with(url("tls", server.port())), "TLS: [^\n]*; expected a connection with TLS");
}

TEST_F(NecctlBusCheckServers, OneThatSpeaksAnOctetAtATimeIsGivenUp) {
    const RawServer server(drip);
    expectWrong(with(url("nats", server.port())), "it says what no NATS server says; expected a NATS server");
}

TEST_F(NecctlBusCheckServers, FindingsStayWhenOneHangs) {
    const RawServer hanging(answeringPings(1));
    const support::Outcome outcome = check(with(url("nats", hanging.port())));
    EXPECT_EQ(outcome.exitStatus, 1) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("version: 2.9.10\n"));
    EXPECT_THAT(outcome.out,
                testing::ContainsRegex("wrong        [^\n]* user: [^\n]*: it does not answer; expected let"));
}

// The user is let in, and the next one finds it hanging.
TEST_F(NecctlBusCheckServers, OneThatHangsHasTurnedNobodyAway) {
    const RawServer hanging(answeringPings(2));
    const support::Outcome outcome = check(with(url("nats", hanging.port())));
    EXPECT_THAT(outcome.out, HasSubstr(" user: let in\n"));
    EXPECT_THAT(outcome.out,
                testing::ContainsRegex("cannot tell  [^\n]* anonymous client: [^\n]*it does not answer\n"));
}

TEST_F(NecctlBusCheckServers, WhatCouldNotBeTriedIsNotRight) {
    const RawServer hanging(answeringPings(2));
    expectWrong(with(url("nats", hanging.port())), "role, streams, clock: [^\n]*; expected a connection that lasts");
}

TEST_F(NecctlBusCheckServers, TlsToOneIsTlsToAll) {
    const support::NatsServer plain("", true);
    const support::ClosedPort nobody;
    const std::string config = with(url("nats", plain.port()) + ", " + url("tls", nobody.number()));
    expectWrong(config, plain.url() + " TLS: none; expected required, as the configuration says");
    expectWrong(config, plain.url() + " user: [^\n]*; expected let in");
}
