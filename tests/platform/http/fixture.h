// The real client, and how tests use it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/http.h"
#include "platform/log.h"
#include "support/http_server.h"
#include "support/raw_server.h"

inline constexpr int patientSeconds = 60;

inline NETP::SendHttpMsgReqStruct getRequest(const std::string& url, int seconds = patientSeconds) {
    NETP::SendHttpMsgReqStruct request("GET", "aRequest", seconds);
    request.url = url;
    return request;
}

inline NETP::SendHttpMsgRspStruct send(const NETP::SendHttpMsgReqStruct& request) {
    NETP::SendHttpMsgRspStruct response;
    response.statusCode = 1;
    response.body = "from before";
    EXPECT_EQ(NETP::DirectSendTheHttpMsg(request, response), response.result);
    return response;
}

inline NETP::SendHttpMsgRspStruct get(const std::string& url, int seconds = patientSeconds) {
    return send(getRequest(url, seconds));
}

// Sends `request`, which must fail with `result`: nothing of an answer is there, and one error is logged, whose text is
// returned.
inline std::string failureOf(const NETP::SendHttpMsgReqStruct& request, NETP::HttpResult result) {
    const frame::LogCapture log;
    const NETP::SendHttpMsgRspStruct response = send(request);
    EXPECT_EQ(response.result, result);
    EXPECT_EQ(response.statusCode, 0U);
    EXPECT_EQ(response.body, "");
    if (log.records().size() != 1) {
        ADD_FAILURE() << log.records().size() << " records are logged";
        return {};
    }
    EXPECT_EQ(log.records()[0].kind, frame::LogRecord::Kind::error);
    EXPECT_EQ(log.records()[0].code, 0xFFFFFFFFU);
    EXPECT_THAT(log.records()[0].text, testing::HasSubstr("aRequest"));
    return log.records()[0].text;
}

inline std::string failureOf(const std::string& url, NETP::HttpResult result) {
    return failureOf(getRequest(url), result);
}

// A handler that gives the same answer to all.
inline support::HttpHandler always(support::HttpAnswer answer) {
    return [answer = std::move(answer)](const support::HttpRequest&) { return answer; };
}

class HttpTest : public testing::Test {
protected:
    std::unique_ptr<frame::HttpService> service_ = std::make_unique<frame::HttpService>(frame::HttpOptions{});
};
