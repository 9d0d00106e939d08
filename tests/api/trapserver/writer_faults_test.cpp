// jsoncpp makes no writer: in this program all builders find the operation below in place of jsoncpp's own.
#include <gmock/gmock.h>
#include <json/writer.h>

#include <atomic>
#include <sstream>

#include "dispatcher_fixture.h"
#include "nec/trapserver.h"
#include "support/folder.h"
#include "support/http_server.h"

Json::StreamWriter* Json::StreamWriterBuilder::newStreamWriter() const {
    return nullptr;
}

namespace {

using NEC::CTrapServer;

class WriterFaultsTest : public WithDispatcher {
protected:
    WriterFaultsTest() {
        frame::Config config = configWith({0});
        config.http.services = server_.url("");
        config.log.file = folder_.file("log");
        config.log.level = frame::LogLevel::error;
        start(config);
    }

    // The errors in the log, from their code on.
    std::vector<std::string> errors() const {
        std::istringstream log(support::contentOf(folder_.file("log")));
        std::vector<std::string> errors;
        for (std::string line; std::getline(log, line);) errors.push_back(line.substr(line.find("ERROR")));
        return errors;
    }

    support::Folder folder_;
    std::atomic<int> requests_{0};
    support::HttpServer server_{[this](const support::HttpRequest&) {
        ++requests_;
        return support::HttpAnswer{};
    }};
};

}  // namespace

TEST_F(WriterFaultsTest, RegistrationIsLoggedAndNotSentAndTheDispatcherToldAllTheSame) {
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    EXPECT_THAT(errors(),
                testing::ElementsAre("ERROR 0xFFFFFFFF api:456 TrapServerSendMsgForRegist "
                                     "TrapServerSendMsgForRegist StreamWriterBuilder.newStreamWriter() null"));
    EXPECT_EQ(requests_, 0);
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
}

TEST_F(WriterFaultsTest, DeletionIsLoggedAndNotSentAndTheDispatcherToldAllTheSame) {
    CTrapServer::NotifyNEDelete("10.0.0.1");
    EXPECT_THAT(errors(),
                testing::ElementsAre("ERROR 0xFFFFFFFF api:413 TrapServerSendMsgForDelete "
                                     "TrapServerSendMsgForDelete StreamWriterBuilder.newStreamWriter() is null"));
    EXPECT_EQ(requests_, 0);
    EXPECT_EQ(next(), "3ffba0 10.0.0.1");
}
