// The management centre: asked over the real bus and over real HTTP, by libnec itself and by hand.
#include "management_centre.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "address_table.h"
#include "localip/nms_lookup.h"
#include "localip/subnet.h"
#include "nec/localip.h"
#include "nec/records.h"
#include "platform/http.h"
#include "platform/log.h"
#include "platform/process.h"
#include "support/certificates.h"
#include "support/folder.h"
#include "support/openapi.h"

namespace {

using asn_frame::AsnFrameGetNodeIPResponse;
using frame::RequestCode;
using peers::HttpServer;
using peers::ManagementCentre;

const std::string twoRows = "10.0.0.1 10.0.0.10 192.168.1.5 1.2.3.4\n10.0.0.5 10.0.1.255 192.168.2.5\n";

// A server process on a bus with a management centre, whose HTTP server it knows.
class ManagementCentreTest : public testing::Test {
protected:
    static frame::Config configFor(const std::string& url, const std::string& caFile = {}) {
        frame::Config config;
        config.process = {3005, 7, 0};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.sysConfig = {"192.168.1.5;192.168.2.5", url};
        config.http.caFile = caFile;
        return config;
    }

    explicit ManagementCentreTest(const peers::HttpServerOptions& options = {}) : server_(options) {
        centre_.serve(server_);
        server_.start();
        start(configFor(server_.url()));
    }

    void start(const frame::Config& config) {
        process_.emplace(config);
        engine_ = process_->localBus()->connect({3001, 1});
        requests_ = centre_.serve(*engine_);
    }

    void writeTable(const std::string& text) const { folder_.write("iptable_ne2nms.cfg", text); }

    static NETP::SendHttpMsgRspStruct get(const std::string& url) {
        NETP::SendHttpMsgReqStruct request("GET", "natList", 60);
        request.url = url + ManagementCentre::natListPath;
        NETP::SendHttpMsgRspStruct response;
        EXPECT_EQ(NETP::DirectSendTheHttpMsg(request, response), NETP::httpOk);
        return response;
    }

    // What the NE must be given by what the centre tells over the bus.
    static std::string overTheBus(const char* neAddress) {
        AsnFrameGetNodeIPResponse response;
        EXPECT_EQ(NEC::GetNmsIPByNEIPFromMC(response, neAddress), 0);
        std::string answer;
        for (const char* south : {"192.168.1.5", "192.168.2.5"})
            if (NEC::GetNmsIPOrNATIP(answer, south, response.nodeIPList) == 0) return answer;
        return "192.168.1.5";
    }

    static std::string overHttp(const char* neAddress) {
        std::string answer;
        EXPECT_EQ(NEC::GetLocalIpByRemoteIp(neAddress, answer), 0);
        return answer;
    }

    support::Folder folder_;
    ManagementCentre centre_{folder_.file("iptable_ne2nms.cfg")};
    HttpServer server_;
    std::optional<frame::Process> process_;
    std::unique_ptr<frame::BusEngine> engine_;
    frame::Subscription requests_;
};

}  // namespace

TEST_F(ManagementCentreTest, SameRowsGiveTheSameAnswerOverTheBusAndOverHttp) {
    writeTable(twoRows + "10.0.2.1 10.0.2.1 172.16.0.1\n");
    for (const auto& [ne, expected] : {std::pair{"10.0.0.1", "1.2.3.4"}, std::pair{"10.0.0.10", "1.2.3.4"},
                                       std::pair{"10.0.0.11", "192.168.2.5"}, std::pair{"10.0.1.255", "192.168.2.5"},
                                       std::pair{"10.0.2.1", "192.168.1.5"}, std::pair{"10.0.3.1", "192.168.1.5"}}) {
        EXPECT_EQ(overTheBus(ne), expected);
        EXPECT_EQ(overHttp(ne), expected);
    }
}

TEST_F(ManagementCentreTest, NodeForEachRowThatTheNeLiesInIsTold) {
    writeTable(twoRows);
    AsnFrameGetNodeIPResponse response;
    ASSERT_EQ(NEC::GetNmsIPByNEIPFromMC(response, "10.0.0.7"), 0);
    ASSERT_EQ(response.nodeIPList.count, 2U);
    EXPECT_EQ(response.nodeIPList.first->element->nmsIP.view(), "192.168.1.5");
    EXPECT_EQ(response.nodeIPList.first->next->element->nmsIP.view(), "192.168.2.5");
}

TEST_F(ManagementCentreTest, ChangedTableIsReadAtTheNextRequest) {
    writeTable(twoRows);
    EXPECT_EQ(overHttp("10.0.0.1"), "1.2.3.4");
    writeTable("10.0.0.1 10.0.0.10 192.168.1.5 5.6.7.8\n");
    EXPECT_EQ(overHttp("10.0.0.1"), "5.6.7.8");
    EXPECT_EQ(overTheBus("10.0.0.1"), "5.6.7.8");
}

TEST_F(ManagementCentreTest, MissingTableIsToldAs100AndHasNoRows) {
    AsnFrameGetNodeIPResponse response;
    asn_frame::AsnOctsList request;
    request.Append(AsnOcts("10.0.0.1"));
    EXPECT_EQ(FrameUtil::SynSendMsg({3001, 0, 0, 0}, ManagementCentre::addressRequest, request, &response, 60), 0);
    EXPECT_EQ(response.result, 100);
    EXPECT_EQ(get(server_.url()).body, "{\"NatInfoList\":[]}");
}

TEST_F(ManagementCentreTest, WrongTableIsToldBothWaysAndLogged) {
    writeTable("10.0.0.1\n");
    AsnFrameGetNodeIPResponse response;
    EXPECT_EQ(NEC::GetNmsIPByNEIPFromMC(response, "10.0.0.1"), 101);
    const auto answer = get(server_.url());
    EXPECT_EQ(answer.statusCode, 500U);
    EXPECT_THAT(answer.body, testing::HasSubstr("iptable_ne2nms.cfg:1: end of line"));
    EXPECT_EQ(support::answerError("get", ManagementCentre::natListPath, 500, answer.body), "");
}

TEST_F(ManagementCentreTest, AnswersAreAsTheyAreDescribed) {
    writeTable(twoRows + "10.0.2.1 10.0.2.1 - 1.2.3.5\n");
    const auto answer = get(server_.url());
    EXPECT_EQ(answer.statusCode, 200U);
    EXPECT_EQ(support::answerError("get", ManagementCentre::natListPath, 200, answer.body), "");
    EXPECT_NE(support::answerError("get", ManagementCentre::natListPath, 200, "{\"NatInfoList\":[{}]}"), "");
}

TEST_F(ManagementCentreTest, RequestThatIsNoListOfOneAddressIsNotAnswered) {
    writeTable(twoRows);
    AsnFrameGetNodeIPResponse response;
    const asn_frame::AsnOctsList none;
    EXPECT_EQ(FrameUtil::SynSendMsg({3001, 0, 0, 0}, ManagementCentre::addressRequest, none, &response, 1),
              static_cast<int>(RequestCode::timedOut));
    EXPECT_EQ(FrameUtil::SynSendMsg({3001, 0, 0, 0}, ManagementCentre::addressRequest, AsnOcts("x"), &response, 1),
              static_cast<int>(RequestCode::timedOut));
}

TEST_F(ManagementCentreTest, PortThatIsTakenIsToldByAddress) {
    const std::string url = server_.url();
    peers::HttpServerOptions options;
    options.port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    try {
        const HttpServer second(options);
        FAIL() << "listens";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "cannot listen at " + url.substr(7));
    }
}

TEST_F(ManagementCentreTest, CertificateThatCannotBeUsedIsToldByName) {
    peers::HttpServerOptions options;
    options.certificateFile = options.keyFile = folder_.write("rubbish.pem", "rubbish");
    EXPECT_THROW(HttpServer{options}, std::runtime_error);
}

namespace {

class ManagementCentreTlsTest : public ManagementCentreTest {
protected:
    ManagementCentreTlsTest() : ManagementCentreTest(optionsOf(certificates().good())) {
        requests_ = {};
        engine_.reset();
        process_.reset();
        start(configFor(server_.tlsUrl(), certificates().authorityFile()));
    }

private:
    static const support::Certificates& certificates() {
        static const support::Certificates made;
        return made;
    }
    static peers::HttpServerOptions optionsOf(const support::Certificate& certificate) {
        peers::HttpServerOptions options;
        options.certificateFile = certificate.file;
        options.keyFile = certificate.keyFile;
        return options;
    }
};

}  // namespace

TEST_F(ManagementCentreTlsTest, AnswersOverHttpsToThoseWhoTrustItsAuthority) {
    writeTable(twoRows);
    EXPECT_EQ(overHttp("10.0.0.1"), "1.2.3.4");
    EXPECT_EQ(get(server_.url()).body, get(server_.tlsUrl()).body);
}
