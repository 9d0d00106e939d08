// What an operator reads of servers that are not there, go, or turn a process away: one line for each thing that
// happens, however often it is tried again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "fixture.h"
#include "platform/asn1.h"
#include "platform/log.h"
#include "platform/reliable.h"
#include "support/certificates.h"
#include "support/nats_admin.h"

namespace {

using namespace natstest;
using State = frame::NatsStatus::State;
using testing::ElementsAre;
using testing::HasSubstr;

class NatsOutage : public testing::Test {
protected:
    NatsOutage() {
        frame::LogOptions log;
        log.file = folder_.file("log");
        frame::openLog(log, 1, 1);
    }
    ~NatsOutage() override { frame::closeLog(); }

    // What each line of an error says.
    std::vector<std::string> errors() const {
        std::vector<std::string> found;
        std::istringstream log(support::contentOf(folder_.file("log")));
        for (std::string line; std::getline(log, line);)
            if (line.find(" ERROR ") != std::string::npos) found.push_back(line.substr(line.find("nats bus: ")));
        return found;
    }
    std::vector<std::string> errorsAfter(std::size_t count) const {
        const std::vector<std::string> all = errors();
        return {all.begin() + static_cast<std::ptrdiff_t>(count), all.end()};
    }
    // The client does not always hear why the server turns it away.
    static void expectEachOnce(const std::vector<std::string>& lines) {
        EXPECT_THAT(lines, testing::Each(HasSubstr("3001:1 cannot connect: ")));
        EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size());
        EXPECT_GE(lines.size(), 1U);
        EXPECT_LE(lines.size(), 3U);
    }
    // Lets some more attempts go by.
    static void goOn() { EXPECT_FALSE(Texts().take(std::chrono::seconds(3))); }
    static bool comesTo(const frame::NatsEngine& engine, State state) {
        return eventually([&] { return engine.status().state == state; });
    }
    // What is logged of a process that is turned away again and again.
    std::vector<std::string> errorsOf(const frame::NatsOptions& options) const {
        const auto engine = frame::connectNats(hereAddress, options);
        EXPECT_TRUE(comesTo(*engine, State::down));
        goOn();
        return errors();
    }

    support::Folder folder_;
};

}  // namespace

TEST_F(NatsOutage, ServerThatIsNotThereIsToldOnce) {
    support::NatsServer server;
    server.kill();
    const auto engine = frame::connectNats(hereAddress, optionsFor(server.url()));
    goOn();
    EXPECT_EQ(publish(*engine, "event"), frame::BusCode::down);
    server.start();
    EXPECT_TRUE(comesTo(*engine, State::connected));
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("3001:1 cannot connect: ")));
}

// Longer than the client tries by itself, with somebody who sends, listens and asks all the while.
TEST_F(NatsOutage, ServerThatGoesForLongIsToldOnceAndTakesNothingThatWasAccepted) {
    support::NatsServer server("", true);
    const auto engine = frame::connectNats(hereAddress, optionsFor(server.url()));
    std::optional<frame::ReliableChannel> channel(std::in_place, *engine,
                                                  frame::ReliableOptions{folder_.file("outbox.db")});
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    support::Mailbox<std::string> received;
    auto receiving = proxy->Subscribe(id, [&](const frame::ReliableEvent& event) {
        received.put(event.identifier);
        return true;
    });
    const auto serving = engine->serveRequests(id, [](const frame::RequestMessage& request) { return request.record; });
    ASSERT_EQ(proxy->Send(id, AsnOcts("before")), 0);
    ASSERT_TRUE(received.take());
    const std::size_t before = errors().size();
    server.stop();
    ASSERT_TRUE(comesTo(*engine, State::down));
    for (int i = 0; i < 3; ++i) {
        frame::Payload answer;
        EXPECT_EQ(proxy->Send(id, AsnOcts("meanwhile")), 0);
        EXPECT_EQ(publish(*engine, "event"), frame::BusCode::down);
        EXPECT_EQ(engine->request(hereAddress, {id, hereAddress, {}}, 30, answer), frame::RequestCode::down);
    }
    goOn();
    EXPECT_THAT(errorsAfter(before), ElementsAre(HasSubstr("the connection of 3001:1 is lost")));
    server.start();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(received.take(std::chrono::seconds(60)));
    receiving = {};
    channel.reset();
}

TEST_F(NatsOutage, ReceiverThatIsFarBehindIsToldOnce) {
    const support::NatsServer server("", true);
    support::NatsAdmin admin(server.url());
    admin.makeStream();
    for (int i = 0; i < 1010; ++i) admin.publish("nec.rm.0x217006", std::to_string(i), "3001.2");
    const auto engine = frame::connectNats(hereAddress, optionsFor(server.url()));
    support::Mailbox<std::string> received;
    const auto receiving = engine->subscribeReliable(id, [&](const frame::ReliableMessage& message) {
        received.put(message.identifier);
        return true;
    });
    for (int i = 0; i < 1010; ++i) ASSERT_TRUE(received.take());
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("1009 reliable messages 0x217006 wait for consumer t3001-0x217006")));
    EXPECT_THAT(support::contentOf(folder_.file("log")), HasSubstr("99 reliable messages 0x217006 wait"));
}

TEST_F(NatsOutage, WrongPasswordIsToldOnce) {
    const support::NatsServer server("authorization { users: [ { user: server, password: right } ] }");
    frame::NatsOptions options = optionsFor(server.url());
    options.user = "server";
    options.passwordFile = folder_.write("password", "wrong");
    EXPECT_THAT(errorsOf(options), ElementsAre(HasSubstr("3001:1 cannot connect: Authorization Violation")));
}

TEST_F(NatsOutage, CertificateThatIsNotGoodIsToldOnceOnEitherSide) {
    const support::Certificates certificates;
    const auto serverWith = [&](const support::Certificate& own) {
        return std::make_unique<support::NatsServer>("tls { cert_file: \"" + own.file + "\", key_file: \"" +
                                                     own.keyFile + "\", ca_file: \"" + certificates.authorityFile() +
                                                     "\", verify: true }");
    };
    const auto optionsWith = [&](const support::NatsServer& server, const support::Certificate& own) {
        frame::NatsOptions options = optionsFor("tls://localhost:" + std::to_string(server.port()));
        options.caFile = certificates.authorityFile();
        options.certificateFile = own.file;
        options.keyFile = own.keyFile;
        return options;
    };
    const auto good = serverWith(certificates.good());
    expectEachOnce(errorsOf(optionsWith(*good, certificates.expired())));
    const std::size_t before = errors().size();
    const auto expired = serverWith(certificates.expired());
    errorsOf(optionsWith(*expired, certificates.good()));
    EXPECT_THAT(errorsAfter(before), ElementsAre(HasSubstr("certificate has expired")));
}

TEST_F(NatsOutage, ServerWithoutRoomIsToldInOneLineForEachReason) {
    const support::NatsServer server("max_connections: 1");
    const auto first = frame::connectNats(thereAddress, optionsFor(server.url()));
    expectEachOnce(errorsOf(optionsFor(server.url())));
}
