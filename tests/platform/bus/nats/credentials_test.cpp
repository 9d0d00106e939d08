// Credentials files: a user's token, which an account has signed whose own token an operator has signed, and the seed
// that proves who shows it. The server knows its operator's and accounts' tokens, and no user.
#include <gtest/gtest.h>

#include "fixture.h"
#include "nkeys.h"
#include "platform/log.h"

namespace {

using namespace natstest;
using State = frame::NatsStatus::State;

constexpr const char* accountClaims =
    R"("nats":{"type":"account","version":2,"limits":{"subs":-1,"data":-1,"payload":-1,"imports":-1,"exports":-1,"wildcards":true,"conn":-1,"leaf":-1}})";
constexpr const char* user =
    R"("nats":{"type":"user","version":2,"subs":-1,"data":-1,"payload":-1,"pub":{"allow":["nec.ev.*","nec.at.>"]},"sub":{"allow":["nec.ev.*","nec.at.>","nec.st","nec.st.>","_INBOX.3001_1.>"]}})";

class NatsCredentials : public testing::Test {
protected:
    std::string tokenFile() const {
        return folder_.write("operator.jwt",
                             operator_.token(operator_.publicKey(), R"("nats":{"type":"operator","version":2})"));
    }
    std::string configuration() const {
        return "operator: \"" + tokenFile() + "\"\nresolver: MEMORY\nresolver_preload: { " + account_.publicKey() +
               ": \"" + operator_.token(account_.publicKey(), accountClaims) + "\" }\n";
    }
    // What `signer` says of the owner of this key.
    frame::NatsOptions optionsWith(const Nkey& signer, const Nkey& key, const std::string& claims) const {
        frame::NatsOptions options = optionsFor(server_.url());
        options.credentialsFile = write(signer.token(user_.publicKey(), claims), key);
        return options;
    }
    std::string write(const std::string& token, const Nkey& key) const {
        return folder_.write("user.creds", "-----BEGIN NATS USER JWT-----\n" + token +
                                               "\n------END NATS USER JWT------\n\n-----BEGIN USER NKEY SEED-----\n" +
                                               key.seed() + "\n------END USER NKEY SEED------\n");
    }
    // Why it cannot connect.
    static std::string refusal(const frame::NatsOptions& options) {
        const auto engine = frame::connectNats(hereAddress, options);
        const bool refused = eventually([&] { return engine->status().state == State::down; });
        return refused ? engine->status().lastError : "was not refused";
    }

    const support::Folder folder_;
    const Nkey operator_{Nkey::ofAnOperator, 1};
    const Nkey account_{Nkey::ofAnAccount, 2};
    const Nkey user_{Nkey::ofAUser, 3};
    const Nkey stranger_{Nkey::ofAUser, 4};
    support::NatsServer server_{configuration()};
};

}  // namespace

TEST_F(NatsCredentials, OwnerOfATokenIsLetInWithWhatItGrants) {
    const auto engine = frame::connectNats(hereAddress, optionsWith(account_, user_, user));
    ASSERT_EQ(engine->status().state, State::connected) << engine->status().lastError;
    EXPECT_EQ(publish(*engine, "event"), frame::BusCode::ok);
    EXPECT_EQ(engine->status().lastError, "");
    const auto receiving = engine->receiveCommands([](const frame::Payload&) {});
    EXPECT_TRUE(eventually([&] {
        return engine->status().lastError.find("Permissions Violation for Subscription to \"nec.cm.3001.") == 0;
    })) << engine->status().lastError;
}

TEST_F(NatsCredentials, TokenIsWorthNothingWithoutItsKey) {
    EXPECT_EQ(refusal(optionsWith(account_, stranger_, user)), "Authorization Violation");
}

TEST_F(NatsCredentials, TokenThatNoAccountOfTheServerSignedIsRefused) {
    EXPECT_EQ(refusal(optionsWith({Nkey::ofAnAccount, 5}, user_, user)), "Authorization Violation");
}

TEST_F(NatsCredentials, TokenWhoseTimeIsOverIsRefusedAndAnotherIsReadLater) {
    const std::string over = R"("exp":2,)";
    frame::LogOptions log;
    log.file = folder_.file("log");
    frame::openLog(log, 1, 1);
    const auto engine = frame::connectNats(hereAddress, optionsWith(account_, user_, over + user));
    ASSERT_TRUE(eventually([&] { return engine->status().state == State::down; }));
    EXPECT_EQ(engine->status().lastError, "Authorization Violation");
    write(account_.token(user_.publicKey(), user), user_);
    EXPECT_TRUE(eventually([&] { return engine->status().state == State::connected; }));
    frame::closeLog();
    const std::string lines = support::contentOf(log.file);
    EXPECT_EQ(lines.find(user_.seed()), std::string::npos);
    EXPECT_EQ(lines.find("eyJ"), std::string::npos) << lines;
}

TEST_F(NatsCredentials, ServerThatAsksForTokensTurnsAnonymousOnesAway) {
    EXPECT_EQ(refusal(optionsFor(server_.url())), "Authorization Violation");
}

TEST_F(NatsCredentials, FileThatIsMissingOrNoneIsNamed) {
    frame::NatsOptions options = optionsFor(server_.url());
    options.credentialsFile = folder_.file("none.creds");
    EXPECT_NE(refusal(options).find("none.creds"), std::string::npos);
}
