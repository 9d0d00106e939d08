// The exported question, with the real HTTP client and real servers.
#include "platform/http.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <thread>

#include "nec/localip.h"
#include "platform/sysconfig.h"
#include "support/environment.h"
#include "support/folder.h"
#include "support/gate.h"
#include "support/http_server.h"
#include "support/logged.h"
#include "support/raw_server.h"

namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr long badAnswer = 0xB00001A;
constexpr long exchangeFailed = 0x41032196;
constexpr const char* path = "/rest/mc/v1/getnatinfolist";
constexpr const char* oneRow = R"({"NatInfoList": [{"beginNEIP": "10.0.0.1", "endNEIP": "10.0.0.10",)"
                               R"( "nmsip": "192.168.1.5", "natip": "1.2.3.4"}]})";

struct Answer {
    long code = 0;
    std::string localIp;
    friend bool operator==(const Answer& a, const Answer& b) { return a.code == b.code && a.localIp == b.localIp; }
    friend std::ostream& operator<<(std::ostream& os, const Answer& answer) {
        return os << std::hex << answer.code << std::dec << " \"" << answer.localIp << '"';
    }
};

Answer ask(const std::string& remoteIp = "10.0.0.9") {
    Answer answer{0, "untouched"};
    answer.code = NEC::GetLocalIpByRemoteIp(remoteIp, answer.localIp);
    return answer;
}

void configure(const std::string& south, const std::string& managementCentre) {
    frame::setSysConfig({south, managementCentre});
}

// Without the slash at its end, to which a path is appended.
std::string baseOf(const support::RawServer& server) {
    const std::string url = server.url();
    return url.substr(0, url.size() - 1);
}

class LocalIp : public testing::Test {
protected:
    ~LocalIp() override { frame::setSysConfig({}); }

    // The answer when the management centre serves `body`.
    Answer askOf(const std::string& body, const std::string& south = "192.168.1.5;192.168.2.5") {
        return askOf(support::HttpAnswer{200, body, "application/json", {}}, south);
    }
    Answer askOf(const support::HttpAnswer& answer, const std::string& south = "192.168.1.5;192.168.2.5") {
        const support::HttpServer server([&](const support::HttpRequest& request) {
            EXPECT_EQ(request.method, "GET");
            EXPECT_EQ(request.target, path);
            ++requests_;
            return answer;
        });
        const frame::HttpService client({});
        configure(south, base_ = server.url(""));
        return ask();
    }

    support::Folder folder_;
    support::Variable processName_{"PROCESS_NAME", "nms"};
    support::Variable file_{"APP_CONF_FILE", folder_.file("app_version.json")};
    std::string base_;  // of the latest server
    std::atomic<int> requests_{0};
};

TEST_F(LocalIp, RowWithNatGivesTheNatAddress) {
    EXPECT_EQ(askOf(oneRow), (Answer{0, "1.2.3.4"}));
}

TEST_F(LocalIp, RowWithoutNatGivesTheNmsAddress) {
    EXPECT_EQ(askOf(R"({"NatInfoList": [{"beginNEIP": "10.0.0.1", "endNEIP": "10.0.0.10", "nmsip": "192.168.1.5"}]})"),
              (Answer{0, "192.168.1.5"}));
}

TEST_F(LocalIp, SecondSouthAddressIsTriedAfterTheFirst) {
    EXPECT_EQ(askOf(oneRow, "192.168.2.5;192.168.1.5"), (Answer{0, "1.2.3.4"}));
}

TEST_F(LocalIp, EmptyPieceOfTheSouthAddressesIsOneOfThem) {
    EXPECT_EQ(askOf(R"({"NatInfoList": [{"beginNEIP": "10.0.0.1", "endNEIP": "10.0.0.10", "natip": "1.2.3.4"}]})",
                    "192.168.2.5;;192.168.1.5"),
              (Answer{0, "1.2.3.4"}));
    EXPECT_EQ(askOf("{}", ";192.168.1.5"), (Answer{0, ""}));
}

TEST_F(LocalIp, EverythingIsLoggedInItsOrder) {
    const frame::LogCapture log;
    askOf(oneRow, "192.168.2.5;192.168.1.5");
    EXPECT_THAT(
        logged::lines(log),
        ElementsAre("trace [GetLocalIpByRemoteIp] require parameters url " + base_ + path,
                    std::string("trace [GetLocalIpByRemoteIp]strRspBody rsp ") + oneRow,
                    "trace [GetLocalIpByRemoteIp][10.0.0.1, 10.0.0.10, 192.168.1.5, 1.2.3.4]",
                    "trace [GetLocalIpRspFromDB] NAT IP is 1.2.3.4",
                    "trace [GetLocalIpRspFromDB] NMS IP is 192.168.1.5",
                    "info GetOneLocalIpRspFromIpTable [GetLocalIpRspFromDB] ulRemoteIp=167772169, beginIP=167772161, "
                    "endIP=167772170\n",
                    "error 0 GetNmsIPOrNATIP [GetNmsIPOrNATIP] nmsIP is 192.168.1.5\n",
                    "error 0 GetNmsIPOrNATIP [GetNmsIPOrNATIP] nmsIP is 192.168.1.5\n",
                    "trace [GetLocalIpByRemoteIp] get localip is: 1.2.3.4 for RemoteIP:10.0.0.9"));
}

TEST_F(LocalIp, BodyWithoutRowsGivesTheFirstSouthAddress) {
    for (const char* body : {"{}", R"({"NatInfoList": []})", R"({"NatInfoList": {}})", R"({"NatInfoList": null})",
                             R"({"NatInfoList": 5})", R"({"NatInfoList": "text"})", R"({"other": [1]})"}) {
        EXPECT_EQ(askOf(body), (Answer{0, "192.168.1.5"})) << body;
    }
}

TEST_F(LocalIp, BodyThatIsNoObjectHasNoRows) {
    for (const char* body : {"[]", "[{\"NatInfoList\": []}]", "null", "5", "\"text\"", "true"}) {
        EXPECT_EQ(askOf(body), (Answer{0, "192.168.1.5"})) << body;
    }
}

TEST_F(LocalIp, BodyWithoutRowsLeavesTheAnswerToVirtualAddresses) {
    folder_.write("app_version.json", R"({"processes": {"nms": {"LVS_a": {"vips": [{"vip": "9.9.9.9", "proxy": [
        {"networkmask": "255.0.0.0", "targetnetwork": "10.0.0.0"}]}]}}}})");
    EXPECT_EQ(askOf("{}"), (Answer{0, "9.9.9.9"}));
    EXPECT_EQ(askOf(R"({"NatInfoList": []})"), (Answer{0, "9.9.9.9"}));
    EXPECT_EQ(askOf(oneRow), (Answer{0, "1.2.3.4"}));
}

TEST_F(LocalIp, ElementsThatAreNoObjectsAreRowsWithoutAddresses) {
    EXPECT_EQ(askOf(R"({"NatInfoList": [5, null, "text", [1]]})"), (Answer{0, "192.168.1.5"}));
}

TEST_F(LocalIp, FieldsOfWrongTypesAreLoggedAndEmpty) {
    const frame::LogCapture log;
    EXPECT_EQ(askOf(R"({"NatInfoList": [{"beginNEIP": "10.0.0.1", "endNEIP": "10.0.0.10", "nmsip": "192.168.1.5",)"
                    R"( "natip": {}}]})"),
              (Answer{0, "192.168.1.5"}));
    EXPECT_EQ(logged::lines(log).at(2), "error 0 GetLocalIpByRemoteIp json exception unknow what natip");
    EXPECT_EQ(logged::lines(log).at(3), "trace [GetLocalIpByRemoteIp][10.0.0.1, 10.0.0.10, 192.168.1.5, ]");
}

TEST_F(LocalIp, WithoutSouthAddressItIsEmptyAndNobodyIsAsked) {
    const frame::LogCapture log;
    EXPECT_EQ(askOf(oneRow, ""), (Answer{-1, ""}));
    EXPECT_EQ(requests_, 0);
    EXPECT_THAT(logged::lines(log), ElementsAre("error FFFFFFFF GetLocalIpByRemoteIp getLocalSouthIP failed!"));
}

TEST_F(LocalIp, StatusThatIsNoSuccessIsABadAnswer) {
    for (const int status : {300, 302, 304, 400, 401, 404, 429, 500, 503}) {
        EXPECT_EQ(askOf({status, status == 304 ? "" : oneRow, "application/json", {}}),
                  (Answer{badAnswer, "untouched"}))
            << status;
    }
}

TEST_F(LocalIp, BadAnswerIsTracedWithItsStatusAndBody) {
    const frame::LogCapture log;
    askOf({500, "{}", "application/json", {}});
    EXPECT_THAT(logged::lines(log),
                ElementsAre("trace [GetLocalIpByRemoteIp] require parameters url " + base_ + path,
                            "trace [GetLocalIpByRemoteIp]strRspBody rsp {}",
                            "trace [GetLocalIpByRemoteIp]Parse buffer to json_object failed, lStatusCode:500, rsp {}"));
}

TEST_F(LocalIp, EverySuccessStatusIsOne) {
    for (const int status : {200, 201, 203, 299}) {
        EXPECT_EQ(askOf({status, oneRow, "application/json", {}}), (Answer{0, "1.2.3.4"})) << status;
    }
}

TEST_F(LocalIp, RedirectIsNotFollowed) {
    EXPECT_EQ(askOf({302, "", "application/json", {{"Location", path}}}), (Answer{badAnswer, "untouched"}));
    EXPECT_EQ(requests_, 1);
}

TEST_F(LocalIp, BodyThatIsNoJsonIsABadAnswer) {
    for (const char* body : {"", "<html></html>", "{", R"({"NatInfoList": [)", "{} {}", "\xFF", "nul"}) {
        EXPECT_EQ(askOf(body), (Answer{badAnswer, "untouched"})) << body;
    }
}

TEST_F(LocalIp, DeeplyNestedBodyIsABadAnswer) {
    constexpr std::size_t levels = 100'000;
    EXPECT_EQ(askOf(std::string(levels, '[')), (Answer{badAnswer, "untouched"}));
    EXPECT_EQ(askOf(std::string(levels, '[') + std::string(levels, ']')), (Answer{badAnswer, "untouched"}));
    EXPECT_EQ(askOf("{\"NatInfoList\": " + std::string(levels, '[') + std::string(levels, ']') + '}'),
              (Answer{badAnswer, "untouched"}));
}

TEST_F(LocalIp, RefusedConnectionIsAFailedExchange) {
    const support::ClosedPort nobody;
    const frame::HttpService client({});
    configure("192.168.1.5", "http://127.0.0.1:" + std::to_string(nobody.number()));
    const frame::LogCapture log;
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
    EXPECT_THAT(logged::lines(log),
                ElementsAre("trace [GetLocalIpByRemoteIp] require parameters url http://127.0.0.1:" +
                                std::to_string(nobody.number()) + path,
                            StartsWith("error "),  // the client's own
                            "trace [GetLocalIpByRemoteIp]QCMD_SEND_HTTPMSG failed 1090724246, rsp "));
}

TEST_F(LocalIp, WithoutManagementCentreOrProcessItIsAFailedExchange) {
    configure("192.168.1.5", "");
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
    const frame::HttpService client({});
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
}

TEST_F(LocalIp, EndlessBodyIsAFailedExchange) {
    support::RawServer server([](support::RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        if (connection.send("HTTP/1.1 200 OK\r\n\r\n")) connection.sendForEver(std::string(65536, '['));
    });
    const frame::HttpService client({});
    configure("192.168.1.5", baseOf(server));
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
}

TEST_F(LocalIp, RubbishInPlaceOfHttpIsAFailedExchange) {
    support::RawServer server(support::answering("rubbish\r\n\r\n"));
    const frame::HttpService client({});
    configure("192.168.1.5", baseOf(server));
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
}

TEST_F(LocalIp, CentreThatIsNotTrustedIsAFailedExchange) {
    const support::Certificates certificates;
    for (const support::Certificate& certificate :
         {certificates.expired(), certificates.ofAnotherHost(), certificates.selfSigned()}) {
        const support::HttpServer server([](const support::HttpRequest&) { return support::HttpAnswer{}; },
                                         certificate);
        frame::HttpOptions options;
        options.caFile = certificates.authorityFile();
        const frame::HttpService client(options);
        configure("192.168.1.5", server.url(""));
        EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
    }
}

TEST_F(LocalIp, RequestIsNamedInTheLogOfItsFailure) {
    const frame::HttpService client({});
    configure("192.168.1.5", "http://127.0.0.1:1");
    const frame::LogCapture log;
    EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"}));
    EXPECT_THAT(logged::lines(log), testing::Contains(testing::HasSubstr("HTTP request getnatinfolist, GET ")));
}

TEST_F(LocalIp, CallThatWaitsIsGivenUpWhenTheProcessGoes) {
    support::Gate asked;
    support::RawServer server([&](support::RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        asked.open();
        connection.waitForClose();
    });
    std::optional<frame::HttpService> client(std::in_place, frame::HttpOptions{});
    configure("192.168.1.5", baseOf(server));
    std::thread asking([] { EXPECT_EQ(ask(), (Answer{exchangeFailed, "untouched"})); });
    EXPECT_TRUE(asked.pass());
    client.reset();
    asking.join();
}

TEST_F(LocalIp, BadNumbersInTheDescriptionThrow) {
    folder_.write("app_version.json", R"({"processes": {"nms": {"LVS_a": {"vips": [{"vip": "9.9.9.9", "proxy": [
        {"networkmask": "255.0.0.0", "targetnetwork": "ten"}]}]}}}})");
    EXPECT_THROW(askOf("{}"), std::invalid_argument);
}

TEST_F(LocalIp, WrongTypesInTheDescriptionThrow) {
    folder_.write("app_version.json", R"({"processes": []})");
    EXPECT_THROW(askOf("{}"), std::exception);
}

TEST_F(LocalIp, ManyThreadsGetTheirAnswersAtOnce) {
    const support::HttpServer server([](const support::HttpRequest&) {
        return support::HttpAnswer{200,
                                   R"({"NatInfoList": [
                {"beginNEIP": "10.0.0.0", "endNEIP": "10.0.0.255", "nmsip": "192.168.1.5", "natip": "1.2.3.0"},
                {"beginNEIP": "10.0.1.0", "endNEIP": "10.0.1.255", "nmsip": "192.168.1.5", "natip": "1.2.3.1"},
                {"beginNEIP": "10.0.2.0", "endNEIP": "10.0.2.255", "nmsip": "192.168.1.5", "natip": "1.2.3.2"},
                {"beginNEIP": "10.0.3.0", "endNEIP": "10.0.3.255", "nmsip": "192.168.1.5", "natip": "1.2.3.3"}]})",
                                   "application/json",
                                   {}};
    });
    const frame::HttpService client({});
    configure("192.168.1.5", server.url(""));
    const auto askManyTimes = [](const std::string& third) {
        for (int i = 0; i < 10; ++i) EXPECT_EQ(ask("10.0." + third + ".9"), (Answer{0, "1.2.3." + third}));
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (const char* third : {"0", "1", "2", "3"}) threads.emplace_back(askManyTimes, third);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
