// nec-peers as its users start it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/http.h"
#include "support/certificates.h"
#include "support/folder.h"
#include "support/run.h"

namespace {

using support::Child;
using support::Outcome;
using testing::HasSubstr;

class NecPeers : public testing::Test {
protected:
    static Outcome peers(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), NEC_PEERS);
        return support::run(arguments);
    }
    std::vector<std::string> command(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> all{NEC_PEERS, folder.file(".")};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    // The address that it writes, with this scheme.
    static std::string addressOf(Child& child, const std::string& scheme) {
        EXPECT_TRUE(child.waitForOutput(scheme));
        EXPECT_TRUE(child.waitForOutput("\n"));
        const std::size_t begin = child.out().find(scheme);
        return child.out().substr(begin, child.out().find('\n', begin) - begin);
    }
    // The body of the answer, which is one of success.
    static std::string ask(const char* method, const std::string& url, const std::string& body = {}) {
        NETP::SendHttpMsgReqStruct request(method, "ask", 60);
        request.url = url;
        request.body = body;
        NETP::SendHttpMsgRspStruct response;
        EXPECT_EQ(NETP::DirectSendTheHttpMsg(request, response), NETP::httpOk);
        EXPECT_TRUE(response.IsSucceedStatusCode()) << response.body;
        return response.body;
    }

    support::Folder folder;
};

const std::string registPath = "/dam/v1/netrapserver/action/regist";
const std::string deletePath = "/dam/v1/netrapserver/action/delete";
const std::string listPath = "/dam/v1/netrapserver";
const std::string assignment = R"([{"neIP":"10.0.0.1","trapServerID":5}])";

}  // namespace

TEST_F(NecPeers, AnswersUntilItIsTerminated) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Child child(command());
        ASSERT_TRUE(child.waitForOutput("answering at http://127.0.0.1:"));
        child.signal(signal);
        EXPECT_EQ(child.wait().exitStatus, 0);
    }
}

TEST_F(NecPeers, ListensForHttpsWithACertificate) {
    const support::Certificates certificates;
    const support::Certificate good = certificates.good();
    Child child(command({"--certificate", good.file, "--key", good.keyFile}));
    EXPECT_TRUE(child.waitForOutput("answering at https://127.0.0.1:"));
}

TEST_F(NecPeers, KeepsWhatItWasToldThroughAKill) {
    const frame::HttpService client({});
    for (const bool killed : {false, true}) {
        Child child(command());
        const std::string url = addressOf(child, "http://");
        if (!killed) {
            EXPECT_EQ(ask("POST", url + registPath, assignment), "{}");
        }
        EXPECT_EQ(ask("GET", url + listPath), assignment);
        child.signal(SIGKILL);
        EXPECT_EQ(child.wait().signal, SIGKILL);
    }
}

TEST_F(NecPeers, TakesAssignmentsOverHttps) {
    const support::Certificates certificates;
    const support::Certificate good = certificates.good();
    Child child(command({"--certificate", good.file, "--key", good.keyFile}));
    const std::string url = addressOf(child, "https://");
    frame::HttpOptions options;
    options.caFile = certificates.authorityFile();
    const frame::HttpService client(options);
    EXPECT_EQ(ask("POST", url + registPath, assignment), "{}");
    EXPECT_EQ(ask("GET", url + listPath), assignment);
    EXPECT_EQ(ask("POST", url + deletePath, R"({"neIP":["10.0.0.1"]})"), "{}");
    EXPECT_EQ(ask("GET", url + listPath), "[]");
}

TEST_F(NecPeers, JoinsTheBusAsTheProcessOfItsConfiguration) {
    const std::string config =
        folder.write("mc.toml", "[process]\ntype = 3005\nhandle = 1\n[log]\nfile = \"mc.log\"\nlevel = \"off\"\n");
    Child child(command({"--config", config}));
    EXPECT_TRUE(child.waitForOutput("answering at http://"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("mc.log")));
}

TEST_F(NecPeers, WrongCommandLineIsTold) {
    for (const auto& [arguments, expected] :
         {std::pair{std::vector<std::string>{}, "FOLDER is required"},
          std::pair{std::vector<std::string>{".", "--port", "65536"}, "--port"},
          std::pair{std::vector<std::string>{".", "--key", "y"}, "--certificate"}}) {
        const Outcome outcome = peers(arguments);
        EXPECT_EQ(outcome.exitStatus, 2);
        EXPECT_THAT(outcome.err, HasSubstr(expected));
        EXPECT_THAT(outcome.err, HasSubstr("see nec-peers --help"));
    }
}

TEST_F(NecPeers, WhatCannotBeUsedIsTold) {
    const std::string rubbish = folder.write("rubbish.pem", "rubbish");
    const Outcome certificate = peers({folder.file("."), "--certificate", rubbish, "--key", rubbish});
    EXPECT_EQ(certificate.exitStatus, 3);
    EXPECT_THAT(certificate.err, HasSubstr("certificate " + rubbish));
    const Outcome config = peers({folder.file("."), "--config", folder.file("none.toml")});
    EXPECT_EQ(config.exitStatus, 3);
    EXPECT_THAT(config.err, HasSubstr("none.toml: cannot be read"));
    EXPECT_EQ(peers({folder.file("."), "--listen", "192.0.2.1"}).exitStatus, 3);
    EXPECT_THAT(peers({folder.file("none")}).err, HasSubstr("none: no such folder"));
}

TEST_F(NecPeers, HelpAndVersionAreWritten) {
    EXPECT_THAT(peers({"--help"}).out, HasSubstr("FOLDER"));
    EXPECT_THAT(peers({"--version"}).out, HasSubstr("nec-peers "));
}
