// The trap-server service and the trap dispatcher, as libnec tells them, and by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "host.h"
#include "nec/trapserver.h"
#include "platform/http.h"
#include "platform/log.h"
#include "platform/process.h"
#include "support/folder.h"
#include "support/openapi.h"
#include "trapserver/dispatcher.h"

namespace {

using NEC::CTrapServer;
using peers::TrapDispatcher;
using peers::TrapService;
using testing::HasSubstr;

// A server process, and the stand-ins on its bus, with their data in a folder that outlives them.
class TrapPeersTest : public testing::Test {
protected:
    TrapPeersTest() { start(); }

    void start() {
        host_ = std::make_unique<peers::Host>(folder_.file("."), peers::HttpServerOptions{});
        frame::Config config;
        config.process = {3005, 7, 0};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.http.services = host_->http().url();
        process_ = std::make_unique<frame::Process>(config);
        host_->join(*process_->localBus());
    }
    void restart() {
        host_.reset();
        process_.reset();
        start();
    }

    NETP::SendHttpMsgRspStruct ask(const char* method, const std::string& path, const std::string& body = {}) const {
        NETP::SendHttpMsgReqStruct request(method, "ask", 60);
        request.url = host_->http().url() + path;
        request.body = body;
        NETP::SendHttpMsgRspStruct response;
        EXPECT_EQ(NETP::DirectSendTheHttpMsg(request, response), NETP::httpOk);
        return response;
    }
    std::string service() const { return ask("GET", TrapService::listPath).body; }
    static std::string command(unsigned int command, const std::string& text = {}) {
        CmdMSG* rsp = nullptr;
        if (NEC::SendSyncStringMsgTask(text, command, rsp, TrapDispatcher::manager, 10) != 0) return "no answer";
        const std::unique_ptr<CmdMSG> owned(rsp);
        return rsp->payload;
    }
    static std::string dispatcher() { return command(TrapDispatcher::listCommand); }

    support::Folder folder_;
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<peers::Host> host_;
};

const std::string oneBody = R"([{"neIP":"10.0.0.1","trapServerID":5}])";

}  // namespace

TEST_F(TrapPeersTest, BothHoldWhatLibnecTells) {
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    CTrapServer::NotifyNECreated("10.0.0.2", -32768);
    CTrapServer::NotifyNETransfer("10.0.0.1", 6);
    EXPECT_EQ(service(), R"([{"neIP":"10.0.0.1","trapServerID":6},{"neIP":"10.0.0.2","trapServerID":-32768}])");
    EXPECT_EQ(dispatcher(), "10.0.0.1,6,10.0.0.2,-32768");
    CTrapServer::NotifyNEDelete("10.0.0.1");
    EXPECT_EQ(service(), R"([{"neIP":"10.0.0.2","trapServerID":-32768}])");
    EXPECT_EQ(dispatcher(), "10.0.0.2,-32768");
}

TEST_F(TrapPeersTest, BothKeepWhatTheyWereToldThroughARestart) {
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    restart();
    EXPECT_EQ(service(), oneBody);
    EXPECT_EQ(dispatcher(), "10.0.0.1,5");
}

TEST_F(TrapPeersTest, AnswersAndRequestsAreAsTheyAreDescribed) {
    EXPECT_EQ(support::requestError("post", TrapService::registPath, oneBody), "");
    EXPECT_EQ(support::requestError("post", TrapService::deletePath, R"({"neIP":["10.0.0.1"]})"), "");
    const auto taken = ask("POST", TrapService::registPath, oneBody);
    EXPECT_EQ(taken.statusCode, 200U);
    EXPECT_EQ(support::answerError("post", TrapService::registPath, 200, taken.body), "");
    EXPECT_EQ(support::answerError("get", TrapService::listPath, 200, service()), "");
    const auto refused = ask("POST", TrapService::registPath, "{}");
    EXPECT_EQ(support::answerError("post", TrapService::registPath, 400, refused.body), "");
}

TEST_F(TrapPeersTest, BadBodiesAreRefusedWithAReasonAndChangeNothing) {
    struct Case {
        const char* path;
        std::string body;
        std::string error;
    };
    const std::string address = "expected an IPv4 address in dotted-quad form";
    const std::string number = "expected a number from -32768 to 32767";
    const std::string pair = "expected an object with just the members neIP and trapServerID";
    const Case cases[] = {
        {TrapService::registPath, "x", "body: expected JSON"},
        {TrapService::registPath, std::string(100'000, '['), "body: expected JSON"},
        {TrapService::registPath, "null", "body: expected an array"},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9","trapServerID":1},7])", "[1]: " + pair},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9"}])", "[0]: " + pair},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9","trapServerID":1,"x":1}])", "[0]: " + pair},
        {TrapService::registPath, R"([{"neIP":"10.0.0","trapServerID":1}])", "[0].neIP: " + address},
        {TrapService::registPath, R"([{"neIP":"","trapServerID":1}])", "[0].neIP: " + address},
        {TrapService::registPath, R"([{"neIP":7,"trapServerID":1}])", "[0].neIP: " + address},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9","trapServerID":32768}])", "[0].trapServerID: " + number},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9","trapServerID":"1"}])", "[0].trapServerID: " + number},
        {TrapService::registPath, R"([{"neIP":"10.0.0.9","trapServerID":1.5}])", "[0].trapServerID: " + number},
        {TrapService::deletePath, "null", "body: expected an object with just the member neIP"},
        {TrapService::deletePath, R"({"neIP":"10.0.0.1"})", "neIP: expected an array"},
        {TrapService::deletePath, R"({"neIP":["10.0.0.1","a,b"]})", "neIP[1]: " + address},
    };
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    for (const Case& wrong : cases) {
        const auto response = ask("POST", wrong.path, wrong.body);
        EXPECT_EQ(response.statusCode, 400U) << wrong.body;
        EXPECT_EQ(response.body, R"({"error":")" + wrong.error + "\"}");
    }
    EXPECT_EQ(service(), oneBody);
}

TEST_F(TrapPeersTest, DispatcherTakesTextAsItStands) {
    EXPECT_EQ(command(NEC::neAssignedCommand, "a,1,,2,b"), "0");
    EXPECT_EQ(dispatcher(), "a,1,b,0");
    EXPECT_EQ(command(NEC::neDeletedCommand, "a,,nobody"), "0");
    EXPECT_EQ(dispatcher(), "b,0");
    EXPECT_EQ(command(NEC::neAssignedCommand, ""), "0");
    EXPECT_EQ(dispatcher(), "b,0");
}

TEST_F(TrapPeersTest, UnknownCommandIsAnsweredWithAFailure) {
    EXPECT_EQ(command(0x3ffb9e, "10.0.0.1,1"), "1");
}

TEST_F(TrapPeersTest, FolderThatIsNotThereIsToldByName) {
    try {
        const peers::Host host(folder_.file("none"), {});
        FAIL() << "was made";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), folder_.file("none") + ": no such folder");
    }
}

TEST(AssignmentStoreTest, FileThatIsNoDatabaseIsToldByName) {
    const support::Folder folder;
    const std::string file = folder.write("store.db", std::string(4096, 'x'));
    try {
        const peers::AssignmentStore store(file);
        FAIL() << "was opened";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::StartsWith(file + ": "));
    }
}
