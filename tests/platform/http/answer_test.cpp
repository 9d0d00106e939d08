// What is sent, and what comes back.
#include "fixture.h"
#include "support/mailbox.h"

namespace {

using NETP::httpOk;
using support::HttpAnswer;
using support::HttpRequest;

class HttpAnswerTest : public HttpTest {
protected:
    // Sends `method` with `body`; returns how the request arrived.
    HttpRequest arrived(const std::string& method, const std::string& body) {
        NETP::SendHttpMsgReqStruct request(method, "aRequest", patientSeconds);
        request.url = echo_.url("/path?a=b%20c");
        request.body = body;
        EXPECT_EQ(send(request).result, httpOk);
        return requests_.take().value_or(HttpRequest{"nothing in time", {}, {}, {}});
    }

    support::Mailbox<HttpRequest> requests_;
    support::HttpServer echo_{[this](const HttpRequest& request) {
        requests_.put(request);
        return HttpAnswer{200, request.body, "text/plain", {}};
    }};
};

TEST_F(HttpAnswerTest, AnswerArrivesWithStatusAndBody) {
    const support::HttpServer server(always({200, R"({"NatInfoList":[]})", "application/json", {}}));
    const auto response = get(server.url());
    EXPECT_EQ(response.result, httpOk);
    EXPECT_EQ(response.statusCode, 200U);
    EXPECT_EQ(response.body, R"({"NatInfoList":[]})");
    EXPECT_TRUE(response.IsSucceedStatusCode());
}

TEST_F(HttpAnswerTest, GetArrivesAsItWasWritten) {
    const HttpRequest request = arrived("GET", "");
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/path?a=b%20c");
    EXPECT_EQ(request.header("Content-Type"), "");
    EXPECT_EQ(request.body, "");
}

TEST_F(HttpAnswerTest, PostArrivesWithBodyAndContentType) {
    const HttpRequest request = arrived("POST", R"({"a":1})");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.body, R"({"a":1})");
}

TEST_F(HttpAnswerTest, PostWithoutBodyArrivesWithLengthZero) {
    const HttpRequest request = arrived("POST", "");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.header("Content-Length"), "0");
    EXPECT_EQ(request.header("Content-Type"), "");
}

TEST_F(HttpAnswerTest, OtherMethodsArriveWithAndWithoutBody) {
    EXPECT_EQ(arrived("PUT", "x").method, "PUT");
    const HttpRequest request = arrived("DELETE", "");
    EXPECT_EQ(request.method, "DELETE");
    EXPECT_EQ(request.body, "");
}

TEST_F(HttpAnswerTest, NothingOfARequestStaysForTheNextOnTheSameConnection) {
    EXPECT_EQ(arrived("POST", "first").body, "first");
    const HttpRequest second = arrived("GET", "");
    EXPECT_EQ(second.method, "GET");
    EXPECT_EQ(second.header("Content-Type"), "");
    EXPECT_EQ(second.header("Content-Length"), "");
    EXPECT_EQ(arrived("HEAD", "").method, "HEAD");
    EXPECT_EQ(arrived("POST", "last").body, "last");
    EXPECT_EQ(echo_.connections(), 1U);
}

TEST_F(HttpAnswerTest, HeadHasStatusAndNoBody) {
    const support::HttpServer server(always({200, "as long as GET's", "text/plain", {}}));
    NETP::SendHttpMsgReqStruct request("HEAD", "aRequest", patientSeconds);
    request.url = server.url();
    const auto response = send(request);
    EXPECT_EQ(response.result, httpOk);
    EXPECT_EQ(response.statusCode, 200U);
    EXPECT_EQ(response.body, "");
}

TEST_F(HttpAnswerTest, AnyOctetsPassBothWays) {
    std::string octets;
    for (int i = 0; i < 512; ++i) octets += static_cast<char>(i);
    NETP::SendHttpMsgReqStruct request("POST", "aRequest", patientSeconds);
    request.url = echo_.url();
    request.body = octets;
    EXPECT_EQ(send(request).body, octets);
}

TEST_F(HttpAnswerTest, LargeBodiesPassBothWays) {
    const std::string octets(std::size_t{8} * 1024 * 1024, 'x');
    NETP::SendHttpMsgReqStruct request("POST", "aRequest", patientSeconds);
    request.url = echo_.url();
    request.body = octets;
    const auto response = send(request);
    EXPECT_EQ(response.result, httpOk);
    EXPECT_TRUE(response.body == octets);
}

TEST_F(HttpAnswerTest, AnswersOfEveryStatusAreAnswers) {
    for (const int status : {204, 299, 300, 400, 404, 500, 503}) {
        const support::HttpServer server(always({status, "", "text/plain", {}}));
        const auto response = get(server.url());
        EXPECT_EQ(response.result, httpOk);
        EXPECT_EQ(response.statusCode, static_cast<unsigned>(status));
        EXPECT_EQ(response.IsSucceedStatusCode(), status < 300);
    }
}

TEST_F(HttpAnswerTest, BodyOfAnErrorArrives) {
    const support::HttpServer server(always({500, "why", "text/plain", {}}));
    EXPECT_EQ(get(server.url()).body, "why");
}

TEST_F(HttpAnswerTest, RedirectIsAnAnswerAndIsNotFollowed) {
    const support::HttpServer server(always({302, "elsewhere", "text/plain", {{"Location", echo_.url()}}}));
    const auto response = get(server.url());
    EXPECT_EQ(response.result, httpOk);
    EXPECT_EQ(response.statusCode, 302U);
    EXPECT_EQ(response.body, "elsewhere");
    EXPECT_EQ(echo_.connections(), 0U);
}

TEST_F(HttpAnswerTest, AnswerInChunksIsPutTogether) {
    support::RawServer server(
        support::answering("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"));
    EXPECT_EQ(get(server.url()).body, "abcde");
}

TEST_F(HttpAnswerTest, InterimAnswersAndTrailersArePassedOver) {
    support::RawServer server(
        support::answering("HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 201 Created\r\nTransfer-Encoding: chunked\r\n\r\n"
                           "0\r\nTrailer: x\r\n\r\n"));
    const auto response = get(server.url());
    EXPECT_EQ(response.result, httpOk);
    EXPECT_EQ(response.statusCode, 201U);
    EXPECT_EQ(response.body, "");
}

TEST_F(HttpAnswerTest, AnswerWithoutLengthEndsWithItsConnection) {
    support::RawServer server(support::answering("HTTP/1.1 200 OK\r\n\r\nabc"));
    const auto response = get(server.url());
    EXPECT_EQ(response.result, httpOk);
    EXPECT_EQ(response.body, "abc");
}

TEST_F(HttpAnswerTest, CompressedBodyIsLeftAsItCame) {
    support::RawServer server(
        support::answering("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc"));
    EXPECT_EQ(get(server.url()).body, "abc");
}

TEST_F(HttpAnswerTest, NothingIsLoggedOfWhatWorked) {
    const frame::LogCapture log;
    arrived("POST", "a body");
    EXPECT_TRUE(log.records().empty());
}

TEST(HttpResponse, SuccessIsAStatusFrom200To299) {
    NETP::SendHttpMsgRspStruct response;
    for (const auto& [status, success] :
         {std::pair{0U, false}, {199U, false}, {200U, true}, {299U, true}, {300U, false}, {4294967295U, false}}) {
        response.statusCode = status;
        EXPECT_EQ(response.IsSucceedStatusCode(), success) << status;
    }
}

TEST(HttpResponse, OnlyAGoodExchangeHasReturnCodeZero) {
    EXPECT_EQ(NETP::GetRetCodeByHttpRspResult(httpOk, 0x41032196), 0U);
    for (int result = NETP::httpClosed; result <= NETP::httpBroken; ++result)
        EXPECT_EQ(NETP::GetRetCodeByHttpRspResult(result, 0x41032196), 0x41032196U);
    EXPECT_EQ(NETP::GetRetCodeByHttpRspResult(-1, 7), 7U);
}

}  // namespace
