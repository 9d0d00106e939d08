// necctl bus check: each thing that can be wrong with a broker is named, and nothing else.
#include "bus_check.h"
#include "e2e/necctl_bus.h"
#include "support/nats_admin.h"
#include "support/raw_server.h"

namespace {

using nats_client::Site;
using testing::HasSubstr;
using testing::Not;

class NecctlBusCheck : public NecctlBus {
protected:
    // A user with permissions as a server's configuration has them.
    static std::string serverWith(const std::string& permissions) {
        return "authorization { users: [ { user: u, password: p, permissions: { " + permissions + " } } ] }\n";
    }
    std::string asUser(const support::NatsServer& server, const std::string& process) const {
        return configure(process,
                         servers(server.url()) + "user = \"u\"\npassword_file = \"" + folder.write("u", "p") + "\"\n");
    }
    std::string open(const std::string& url, const std::string& process = operatorProcess) const {
        return configure(process, servers(url));
    }
    static std::string urlOf(int port) { return "nats://127.0.0.1:" + std::to_string(port); }
    // With the files of a server that is no broker of the system's.
    std::string tlsConfig(const support::NatsServer& server, const support::Certificates& certificates,
                          const std::string& scheme = "tls") const {
        return configure(operatorProcess, servers(scheme + "://127.0.0.1:" + std::to_string(server.port())) +
                                              "ca_file = \"" + certificates.authorityFile() + "\"\n");
    }
    static std::string withTls(const support::Certificate& shown) {
        return "tls { cert_file: \"" + shown.file + "\", key_file: \"" + shown.keyFile + "\" }\n";
    }
    static void setUp(const std::string& config) { EXPECT_EQ(bus(config, {"setup"}).exitStatus, 0); }
};

// One that says this of itself, whoever comes.
support::RawServer::Script saying(std::string info) {
    return [info = std::move(info)](support::RawConnection& connection) {
        if (connection.send(info)) connection.waitForClose();
    };
}

}  // namespace

TEST_F(NecctlBusCheck, FindsNothingWrongWithWhatIsShipped) {
    const Site site;
    setUp(as(site, "administrator", "type = 3999\nhandle = 1\n"));
    for (const auto& [user, type] :
         {std::pair("operator", "3006"), std::pair("ne_manager", "3002"), std::pair("management_centre", "3001"),
          std::pair("trap_dispatcher", "3005"), std::pair("trap_dispatcher", "45445"), std::pair("pnp_client", "3003"),
          std::pair("event_listener", "3004")}) {
        const support::Outcome outcome = check(as(site, user, std::string("type = ") + type + "\nhandle = 9\n"));
        EXPECT_EQ(outcome.exitStatus, 0) << type << '\n' << outcome.out << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr("anonymous client: turned away\n"));
        EXPECT_THAT(outcome.out, HasSubstr("ok           administrate streams: 5 subjects not permitted\n"));
        EXPECT_THAT(outcome.out, Not(HasSubstr("wrong"))) << type;
    }
}

TEST_F(NecctlBusCheck, OperatorLearnsOfStreamsAndTheClock) {
    const Site site;
    EXPECT_EQ(bus(as(site, "administrator", "type = 3999\nhandle = 1\n"), {"setup", "--room", "512MB"}).exitStatus, 0);
    const support::Outcome outcome = check(as(site, "operator", operatorProcess));
    for (const char* line : {" version: 2.", " max_payload: 1048576\n", " certificate: verified\n",
                             "ok           stream nec-rm: there, with the right settings\n",
                             "ok           stream nec-bc: there, with the right settings\n",
                             "ok           consumer t3002-0xB0762A: there, with the right settings\n",
                             "ok           consumer t3004-0xB0762A: there, with the right settings\n",
                             "ok           stream nec-rm room: 0% of 536870912 octets used\n", "ok           clock: "})
        EXPECT_THAT(outcome.out, HasSubstr(line));
}

// A message on the bus from one who only looks would be a message too many.
TEST_F(NecctlBusCheck, LeavesNothingBehind) {
    const Site site;
    setUp(as(site, "administrator", "type = 3999\nhandle = 1\n"));
    const auto manager = site.join("ne_manager", {3002, 8}, {site.server().url()});
    const auto listener = site.join("event_listener", {3004, 2}, {site.server().url()});
    const frame::Subscription events = listener->subscribeEvent(0x217006, [](const frame::EventMessage&) {});
    const frame::Subscription commands = manager->receiveCommands([](const frame::Payload&) {});
    EXPECT_EQ(check(as(site, "ne_manager", managerProcess)).exitStatus, 0);
    EXPECT_EQ(check(as(site, "operator", operatorProcess)).exitStatus, 0);
    EXPECT_EQ(manager->status().refused, 0U);
    EXPECT_EQ(listener->status().refused, 0U);
    const Json::Value status = jsonOf(bus(as(site, "operator", operatorProcess), {"status", "--json"}));
    EXPECT_EQ(status["streams"][0]["messages"], 0);
    EXPECT_EQ(status["streams"][1]["messages"], 1);  // which told the operator the clock
    EXPECT_EQ(status["consumers"][0]["unacknowledged"], 0);
}

TEST_F(NecctlBusCheck, EachServerIsTriedByItself) {
    const support::NatsServer server("", true);
    const support::ClosedPort nobody;
    const std::string both = "servers = [\"" + server.url() + "\", \"" + urlOf(nobody.number()) + "\"]\n";
    expectWrong(configure(operatorProcess, both), urlOf(nobody.number()) + ": Connection refused; expected a NATS");
}

TEST_F(NecctlBusCheck, OtherProgramAtThePort) {
    const support::RawServer other(saying("220 smtp.example\r\n"));
    expectWrong(open(urlOf(other.port())), "it says what no NATS server says");
}

TEST_F(NecctlBusCheck, ServerThatIsTooOldOrWithoutStreamsOrHangs) {
    const support::RawServer old(saying("INFO {\"version\":\"2.8.4\",\"max_payload\":1048576}\r\n"));
    expectWrong(open(urlOf(old.port())), "version: 2.8.4; expected 2.9 or later");
    EXPECT_THAT(check(open(urlOf(old.port()))).out, HasSubstr("cannot tell  " + urlOf(old.port()) + " JetStream: off"));
    expectWrong(open(urlOf(old.port())), "answer: none to PING; expected one");
}

TEST_F(NecctlBusCheck, MessagesThatAreTooSmall) {
    const support::NatsServer server("max_payload: 65536\n", true);
    expectWrong(open(server.url()), "max_payload: 65536; expected 525312 or more");
}

TEST_F(NecctlBusCheck, AnybodyIsLetIn) {
    const support::NatsServer server("", true);
    expectWrong(open(server.url()), "anonymous client: let in; expected turned away");
    expectWrong(open(server.url()), "administrate streams .JS.API.STREAM.CREATE.nec-rm: permitted");
    expectWrong(open(server.url()), "read another user.s answers _INBOX.necctl-check.check: permitted");
}

// The server says that it asks for a user, and lets in who shows none.
TEST_F(NecctlBusCheck, AnybodyIsLetInBesideTheUsers) {
    const support::NatsServer server(serverWith("publish: \">\"") + "accounts { $SYS { } }\n", true);
    expectWrong(asUser(server, operatorProcess), "anonymous client: let in; expected turned away");
}

TEST_F(NecctlBusCheck, WrongPassword) {
    const Site site;
    const std::string config =
        configure(operatorProcess, servers(site.server().url()) + identity(site, "operator", "wrong"));
    expectWrong(config, "user: [^\n]*Authorization Violation; expected let in");
    EXPECT_THAT(check(config).out, Not(HasSubstr("pass#word")));
}

TEST_F(NecctlBusCheck, PlainConnectionWhereTlsIsWanted) {
    const support::Certificates certificates;
    const support::NatsServer server("", true);
    expectWrong(tlsConfig(server, certificates), "TLS: none; expected required, as the configuration says");
}

TEST_F(NecctlBusCheck, TlsWhereThePlainIsConfigured) {
    const support::Certificates certificates;
    const support::NatsServer server(withTls(certificates.good()), true);
    expectWrong(open(server.url()), "TLS: required; expected none");
}

TEST_F(NecctlBusCheck, CertificateThatIsNotToBeTrusted) {
    const support::Certificates certificates;
    {
        const support::NatsServer server(withTls(certificates.expired()), true);
        expectWrong(tlsConfig(server, certificates), "certificate: certificate has expired; expected");
        expectWrong(tlsConfig(server, certificates), "certificate.s life: expired; expected more than 0 days");
    }
    {
        const support::NatsServer server(withTls(certificates.ofAnotherHost()), true);
        expectWrong(tlsConfig(server, certificates), "certificate: IP address mismatch; expected one of this host");
    }
    const support::NatsServer server(withTls(certificates.selfSigned()), true);
    expectWrong(tlsConfig(server, certificates), "certificate: self.signed certificate; expected");
}

TEST_F(NecctlBusCheck, CertificatesThatExpireSoon) {
    const Site site;
    const support::Outcome outcome = bus(as(site, "operator", operatorProcess), {"check"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.out,
                testing::ContainsRegex("bus.certificate_file's life: [01] days; expected more than 14 days\n"));
    EXPECT_THAT(outcome.out, testing::ContainsRegex(" certificate's life: [01] days; expected more than 14 days\n"));
}

TEST_F(NecctlBusCheck, WhatTheRoleLacks) {
    const support::NatsServer server(serverWith("publish: [ \"nec.ev.*\" ], subscribe: [ \"_INBOX.u.>\" ]"), true);
    const std::string config = asUser(server, managerProcess);
    expectWrong(config, "publish what is needed nec.rm.0x0: not permitted; expected permitted");
    expectWrong(config, "publish what is needed nec.rq.3001.h0: not permitted");
    expectWrong(config, "subscribe to what is needed nec.rq.3002.h7: not permitted");
    EXPECT_THAT(check(config).out, Not(HasSubstr("nec.ev.0x0")));
    EXPECT_THAT(check(config).out, HasSubstr("cannot tell  clock: this user may not store what would tell\n"));
    EXPECT_THAT(check(config).out, HasSubstr("cannot tell  stream nec-rm: this user may not ask for it\n"));
}

// Without these, messages stay in their outbox, and commands that nobody takes end as if the bus were down.
TEST_F(NecctlBusCheck, WhatSendersNeedBesides) {
    const support::NatsServer server(
        serverWith(
            "publish: { allow: \">\", deny: [ \"$JS.API.CONSUMER.LIST.>\", \"_INBOX.u.>\" ] }, subscribe: \">\""),
        true);
    for (const std::string& process : {managerProcess, operatorProcess}) {
        const std::string config = asUser(server, process);
        expectWrong(config, "publish what is needed .JS.API.CONSUMER.LIST.nec-rm: not permitted");
        expectWrong(config, "publish what is needed _INBOX.u.check.check: not permitted");
    }
}

TEST_F(NecctlBusCheck, WhatTheOperatorListensTo) {
    const support::NatsServer server(serverWith("publish: \">\", subscribe: [ \"_INBOX.u.>\", \"nec.cm.3006.*\" ]"),
                                     true);
    const std::string config = asUser(server, operatorProcess);
    for (const char* subject : {"nec.cm.*.*", "nec.ev.*", "nec.rm.*", "nec.bc.*.announce"})
        EXPECT_THAT(check(config).out, HasSubstr(std::string("subscribe to what is needed ") + subject + ": not perm"));
}

TEST_F(NecctlBusCheck, StreamsAndConsumersThatAreMissing) {
    const support::NatsServer server("", true);
    expectWrong(open(server.url()), "stream nec-rm: not there; expected one that necctl bus setup makes");
    expectWrong(open(server.url()), "stream nec-bc: not there");
    setUp(open(server.url()));
    support::NatsAdmin(server.url()).deleteConsumer("t3004-0xB0762A");
    expectWrong(open(server.url()), "consumer t3004-0xB0762A: not there");
    EXPECT_THAT(check(open(server.url())).out, HasSubstr("consumer t3002-0xB0762A: there"));
}

TEST_F(NecctlBusCheck, StreamsAndConsumersWithOtherSettings) {
    const support::NatsServer server("", true);
    const nats_client::Client client([&] {
        natsOptions* made = nullptr;
        nats_client::check(natsOptions_Create(&made), "options");
        nats_client::Options options(made);
        nats_client::check(natsOptions_SetURL(made, server.url().c_str()), "URL");
        return options;
    }());
    const nats_client::JetStream admin = client.jetStream();
    const char* subjects[] = {"nec.rm.*"};
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    config.Name = "nec-rm";
    config.Subjects = subjects;
    config.SubjectsLen = 1;
    config.Storage = js_MemoryStorage;
    config.MaxAge = std::int64_t{60} * 1'000'000'000;
    config.Duplicates = std::int64_t{10} * 1'000'000'000;
    config.MaxMsgsPerSubject = 5;
    config.MaxMsgSize = 1000;
    nats_client::check(js_AddStream(nullptr, admin.get(), &config, nullptr, nullptr), "stream");
    nats_client::makeStream(admin, "nec-bc", "nec.bc.*.data.*");
    nats_client::makeConsumer(admin, "nec-rm", "t3002-0xB0762A");

    for (const char* line :
         {"stream nec-rm: subjects: ..nec.rm.*..; expected", "stream nec-rm: storage: .memory.; expected .file.",
          "stream nec-rm: discard: .old.; expected .new.", "stream nec-rm: allow_direct: false; expected true",
          "stream nec-rm: max_age: 60 s; expected 604800 s or more",
          "stream nec-rm: duplicate_window: 10 s; expected 300 s or more",
          "stream nec-rm: max_msgs_per_subject: 5; expected no limit", "stream nec-rm: max_msg_size: 1000; expected",
          "stream nec-bc: max_bytes: -1; expected 536870912 or more",
          "consumer t3002-0xB0762A: filter_subject: none; expected .nec.rm.0xB0762A.",
          "consumer t3002-0xB0762A: max_ack_pending: [0-9]+; expected 1"})
        expectWrong(open(server.url()), line);
}

TEST_F(NecctlBusCheck, StreamThatIsAlmostFull) {
    const support::NatsServer server("", true);
    support::NatsAdmin admin(server.url());
    admin.makeStream(10);
    for (int i = 0; i < 9; ++i) admin.publish("nec.rm.0x1", "3002.7-a-" + std::to_string(i), "3002.7");
    expectWrong(open(server.url()), "stream nec-rm room: 90% of 10 messages used; expected less than 90%");
}

TEST_F(NecctlBusCheck, EmbeddedBusHasNoBroker) {
    const std::string config = folder.write("nec.toml", "[process]\ntype = 5\nhandle = 6\n");
    const support::Outcome outcome = bus(config, {"check", "--json"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(jsonOf(outcome)[0]["verdict"], "ok");
}

TEST(NecctlBusClock, IsWrongWhenItIsFarOffForSure) {
    const auto wrongOnes = [](double difference, double uncertainty) {
        necctl::Findings findings;
        necctl::judgeClock(difference, uncertainty, findings);
        return findings.wrongOnes();
    };
    EXPECT_EQ(wrongOnes(1.9, 0.001), 0U);
    EXPECT_EQ(wrongOnes(-1.9, 0.001), 0U);
    EXPECT_EQ(wrongOnes(2.5, 0.001), 1U);
    EXPECT_EQ(wrongOnes(-2.5, 0.001), 1U);
    EXPECT_EQ(wrongOnes(2.5, 1), 0U);
}
