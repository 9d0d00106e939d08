// necctl bus status: what an operator sees of the bus.
#include "e2e/necctl_bus.h"
#include "nec/records.h"
#include "platform/process.h"
#include "platform/reliable.h"
#include "support/raw_server.h"

namespace {

using nats_client::Site;
using testing::ContainsRegex;
using testing::HasSubstr;

constexpr unsigned long transferred = 0xB0762A;

// Answers as it likes when processes are asked how they are.
class Stranger {
public:
    Stranger(const std::string& url, natsMsgHandler answer) {
        natsConnection* connection = nullptr;
        nats_client::check(natsConnection_ConnectTo(&connection, url.c_str()), "connection");
        connection_.reset(connection);
        natsSubscription* answering = nullptr;
        nats_client::check(natsConnection_Subscribe(&answering, connection, "nec.st", answer, nullptr), "subscription");
        answering_.reset(answering);
        nats_client::check(natsConnection_Flush(connection), "flush");
    }

private:
    nats_client::Connection connection_;
    nats_client::Subscription answering_;
};

class NecctlBusStatus : public NecctlBus {
protected:
    frame::Config processConfig(const std::string& file) const {
        frame::Config config = frame::readConfig(file);
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        return config;
    }
    // Asks until it is so.
    template <class Holds>
    static Json::Value statusWhere(const std::string& config, const Holds& holds) {
        const auto deadline = std::chrono::steady_clock::now() + support::patience;
        for (;;) {
            Json::Value status = jsonOf(bus(config, {"status", "--json"}));
            if (holds(status)) return status;
            if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error(status.toStyledString());
        }
    }
};

}  // namespace

TEST_F(NecctlBusStatus, TellsOfStreamsConsumersAndProcesses) {
    const Site site;
    ASSERT_EQ(bus(as(site, "administrator", "type = 3999\nhandle = 1\n"), {"setup"}).exitStatus, 0);
    frame::Config config = processConfig(as(site, "ne_manager", managerProcess));
    config.reliable.file = folder.file("outbox.db");
    const frame::Process process(config);
    const auto listener = site.join("event_listener", {3004, 2}, {site.server().url()});
    const auto client = site.join("pnp_client", {3003, 1}, {site.server().url()});
    ASSERT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(transferred, asn_frame::AsnFrameProcID()), 0);

    const std::string asOperator = as(site, "operator", operatorProcess);
    const Json::Value status = statusWhere(asOperator, [](const Json::Value& now) {
        return now["processes"].size() == 3 && now["processes"][0]["more"]["outbox_held"].asInt() == 1;
    });
    const Json::Value& manager = status["processes"][0];
    EXPECT_EQ(manager["process"], "3002:7");
    EXPECT_EQ(manager["state"], "connected");
    EXPECT_EQ(manager["pid"], getpid());
    EXPECT_EQ(manager["more"]["outbox_depth"], 1);
    EXPECT_EQ(status["processes"][1]["process"], "3003:1");
    EXPECT_EQ(status["processes"][2]["process"], "3004:2");
    EXPECT_EQ(status["streams"][0]["name"], "nec-rm");
    EXPECT_EQ(status["streams"][0]["messages"], 1);
    EXPECT_EQ(status["streams"][1]["name"], "nec-bc");
    EXPECT_EQ(status["consumers"][0]["name"], "t3002-0xB0762A");
    EXPECT_EQ(status["consumers"][0]["waiting"], 1);
    EXPECT_EQ(status["consumers"][0]["unacknowledged"], 0);

    const support::Outcome text = bus(asOperator, {"status"});
    EXPECT_EQ(text.exitStatus, 0) << text.err;
    EXPECT_THAT(text.out, ContainsRegex("nec-rm  1         [0-9]+\n"));
    EXPECT_THAT(text.out, ContainsRegex("t3002-0xB0762A  1        0\n"));
    EXPECT_THAT(text.out, ContainsRegex("3002:7 .* connected "));
    EXPECT_EQ(site.log().find("Violation"), std::string::npos) << site.log();
}

TEST_F(NecctlBusStatus, UserWhoMayNotAskProcessesIsTold) {
    const Site site;
    const support::Outcome outcome = bus(as(site, "ne_manager", managerProcess), {"status"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_THAT(outcome.err, HasSubstr("this user may not ask processes how they are"));
    EXPECT_THAT(outcome.out, HasSubstr("nec-rm  -         -       it is not there\n"));
}

TEST_F(NecctlBusStatus, RubbishIsCountedAndLeftOut) {
    const support::NatsServer server("", true);
    const Stranger stranger(server.url(), [](natsConnection* connection, natsSubscription*, natsMsg* question, void*) {
        natsConnection_PublishString(connection, natsMsg_GetReply(question), "{\"process\":\"1.1\"}");
        natsConnection_PublishString(connection, natsMsg_GetReply(question), "\x1b[2J");
        natsMsg_Destroy(question);
    });
    const support::Outcome outcome = bus(configure(operatorProcess, servers(server.url())), {"status"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_THAT(outcome.err, HasSubstr("2 answers are left out"));
    EXPECT_THAT(outcome.err, HasSubstr("no process answers"));
}

TEST_F(NecctlBusStatus, AnswersThatAreTooManyAreToldToBe) {
    const support::NatsServer server("", true);
    const Stranger stranger(server.url(), [](natsConnection* connection, natsSubscription*, natsMsg* question, void*) {
        for (int i = 0; i < 10001; ++i) natsConnection_PublishString(connection, natsMsg_GetReply(question), "x");
        natsMsg_Destroy(question);
    });
    const std::string config = configure(operatorProcess, servers(server.url()));
    const support::Outcome outcome = bus(config, {"status", "--seconds", "60"});
    EXPECT_THAT(outcome.err, HasSubstr("more than 10000 answer; those beyond are left out"));
    EXPECT_THAT(outcome.err, HasSubstr("10000 answers are left out that no process gives"));
}

TEST_F(NecctlBusStatus, WithoutAServerTheOutboxIsToldAndTheReason) {
    const support::ClosedPort nobody;
    const std::string config =
        configure(operatorProcess, servers("nats://127.0.0.1:" + std::to_string(nobody.number())),
                  "[reliable]\nfile = \"" + folder.file("outbox.db") + "\"\n");
    const support::Outcome outcome = bus(config, {"status"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.out, HasSubstr("state         not connected\n"));
    EXPECT_THAT(outcome.out, HasSubstr("outbox        " + folder.file("outbox.db") + "\n"));
    EXPECT_THAT(outcome.err, HasSubstr("necctl: error: nats://127.0.0.1:"));
}

TEST_F(NecctlBusStatus, ServerThatHangsIsNotWaitedForForEver) {
    const support::RawServer hanging([](support::RawConnection& connection) {
        if (connection.send("INFO {\"version\":\"2.9.10\",\"max_payload\":1048576}\r\n")) connection.waitForClose();
    });
    const std::string url = "nats://127.0.0.1:" + std::to_string(hanging.port());
    const std::string outbox = "[reliable]\nfile = \"" + folder.file("outbox.db") + "\"\n";
    const support::Outcome outcome = bus(configure(operatorProcess, servers(url), outbox), {"status"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.out, HasSubstr("outbox        " + folder.file("outbox.db") + "\n"));
    EXPECT_THAT(outcome.err, HasSubstr(url + ": it does not answer"));
}

TEST_F(NecctlBusStatus, EmbeddedBusHasAnOutboxOnly) {
    const std::string config = folder.write(
        "nec.toml", "[process]\ntype = 5\nhandle = 6\n[reliable]\nfile = \"" + folder.file("outbox.db") + "\"\n");
    {
        const frame::Process process(processConfig(config));
        ASSERT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(transferred, asn_frame::AsnFrameProcID()), 0);
    }
    EXPECT_EQ(bus(config, {"status"}).out,
              "engine        local\noutbox        " + folder.file("outbox.db") + "\noutbox depth  1\n");
    const Json::Value json = jsonOf(bus(config, {"status", "--json"}));
    EXPECT_EQ(json["engine"], "local");
    EXPECT_EQ(json["outbox"]["depth"], 1);
}
