// URLs that cannot be sent to, and what the log shows of them.
#include <vector>

#include "fixture.h"

namespace {

using NETP::httpBadUrl;
using testing::HasSubstr;
using testing::Not;

using HttpUrl = HttpTest;

TEST_F(HttpUrl, WhatIsNoAbsoluteHttpUrlIsRefused) {
    const std::vector<std::string> urls = {"",
                                           " ",
                                           "/rest/list",
                                           "localhost",
                                           "127.0.0.1:80/x",
                                           "//127.0.0.1/x",
                                           "http://",
                                           "http:///x",
                                           "http:/127.0.0.1/",
                                           "http:127.0.0.1",
                                           "ftp://127.0.0.1/",
                                           "file:///etc/passwd",
                                           "gopher://127.0.0.1/",
                                           "javascript:1",
                                           "http://127.0.0.1:99999/",
                                           "http://127.0.0.1:x/",
                                           "http://127.0.0.1/a b",
                                           "http://127.0.0.1/\r\nX: y",
                                           "http://[::1/",
                                           "ws://127.0.0.1/"};
    for (const std::string& url : urls) EXPECT_NE(failureOf(url, httpBadUrl), "") << url;
}

TEST_F(HttpUrl, NulInAUrlIsRefused) {
    failureOf(std::string("http://127.0.0.1/\0x", 19), httpBadUrl);
}

TEST_F(HttpUrl, EndlessUrlIsRefused) {
    failureOf("http://127.0.0.1/" + std::string(std::size_t{9} * 1024 * 1024, 'x'), httpBadUrl);
}

TEST_F(HttpUrl, CredentialsAreRefusedAndNotLogged) {
    const support::HttpServer server(always({}));
    const std::string host = "127.0.0.1:" + std::to_string(server.port()) + "/";
    for (const char* user : {"http://user:secret@", "http://user:sec?ret@", "http://user:sec#ret@", "http://secret@",
                             "http://:secret@", "user:secret@"})
        EXPECT_THAT(failureOf(user + host, httpBadUrl), Not(HasSubstr("sec")));
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(HttpUrl, SchemeIsTakenInAnyLetters) {
    const support::HttpServer server(always({}));
    EXPECT_EQ(get("HTTP://127.0.0.1:" + std::to_string(server.port()) + "/").result, NETP::httpOk);
}

TEST_F(HttpUrl, PathIsSentAsItStands) {
    std::string target;
    const support::HttpServer server([&](const support::HttpRequest& request) {
        target = request.target;
        return support::HttpAnswer{};
    });
    EXPECT_EQ(get(server.url("/a/../b/./c?d=../e")).result, NETP::httpOk);
    EXPECT_EQ(target, "/a/../b/./c?d=../e");
}

TEST_F(HttpUrl, LogShowsTheUrlWithoutItsQueryAndNeverTheBody) {
    const support::ClosedPort nobody;
    const std::string base = "http://127.0.0.1:" + std::to_string(nobody.number());
    NETP::SendHttpMsgReqStruct request("POST", "aRequest", patientSeconds);
    request.url = base + "/path?token=secret#secret";
    request.body = "secret";
    const std::string text = failureOf(request, NETP::httpUnreachable);
    EXPECT_THAT(text, HasSubstr(base + "/path"));
    EXPECT_THAT(text, Not(HasSubstr("secret")));
}

}  // namespace
