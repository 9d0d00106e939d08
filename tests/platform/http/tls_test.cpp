// Secure connections, and the ones that are not secure enough.
#include <filesystem>
#include <stdexcept>

#include "fixture.h"

namespace {

using support::Certificate;
using support::Certificates;
using support::HttpServer;
using testing::HasSubstr;

class HttpTls : public testing::Test {
protected:
    static std::string fileError(const std::string& caFile) {
        try {
            const frame::HttpService service({"", caFile});
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        ADD_FAILURE() << "accepted: " << caFile;
        return {};
    }
    void expectRefused(const Certificate& certificate, support::TlsVersions versions = support::TlsVersions::current) {
        const HttpServer server(always({}), certificate, versions);
        failureOf(server.url(), NETP::httpTls);
        EXPECT_EQ(server.connections(), 0U);
    }
    void trustAuthority() { service_ = std::make_unique<frame::HttpService>(options_); }

    const Certificates certificates_;
    const frame::HttpOptions options_{"", certificates_.authorityFile()};
    std::unique_ptr<frame::HttpService> service_;
};

TEST_F(HttpTls, TrustedServerIsUsedAndItsConnectionKept) {
    trustAuthority();
    const HttpServer server(always({200, "secure", "text/plain", {}}), certificates_.good());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(get(server.url()).body, "secure");
    EXPECT_EQ(get("https://localhost:" + std::to_string(server.port()) + "/").body, "secure");
    EXPECT_EQ(server.connections(), 2U);
}

TEST_F(HttpTls, ExpiredCertificateIsRefused) {
    trustAuthority();
    expectRefused(certificates_.expired());
}

TEST_F(HttpTls, CertificateOfAnotherHostIsRefused) {
    trustAuthority();
    expectRefused(certificates_.ofAnotherHost());
}

TEST_F(HttpTls, SelfSignedCertificateIsRefused) {
    trustAuthority();
    expectRefused(certificates_.selfSigned());
}

TEST_F(HttpTls, AuthorityThatTheSystemDoesNotTrustIsRefused) {
    service_ = std::make_unique<frame::HttpService>(frame::HttpOptions{});
    expectRefused(certificates_.good());
}

TEST_F(HttpTls, OlderVersionsThanTls12AreRefused) {
    trustAuthority();
    expectRefused(certificates_.good(), support::TlsVersions::upTo11);
}

TEST_F(HttpTls, ServerThatSpeaksPlainHttpIsRefused) {
    trustAuthority();
    const HttpServer server(always({}));
    failureOf("https://127.0.0.1:" + std::to_string(server.port()) + "/", NETP::httpTls);
}

TEST_F(HttpTls, RedirectToPlainHttpIsNotFollowed) {
    trustAuthority();
    const HttpServer plain(always({}));
    const HttpServer secure(always({301, "", "text/plain", {{"Location", plain.url()}}}), certificates_.good());
    EXPECT_EQ(get(secure.url()).statusCode, 301U);
    EXPECT_EQ(plain.connections(), 0U);
}

TEST_F(HttpTls, FileOfAuthoritiesThatCannotBeReadIsNamed) {
    const support::Folder folder;
    for (const std::string& file : {folder.file("missing.pem"), folder.file(""), folder.write("empty.pem", "")})
        EXPECT_THAT(fileError(file), HasSubstr(file));
    EXPECT_EQ(
        NETP::DirectSendTheHttpMsg(getRequest("http://127.0.0.1/"), *std::make_unique<NETP::SendHttpMsgRspStruct>()),
        NETP::httpClosed);
}

TEST_F(HttpTls, FileWithoutAuthoritiesLetsNoSecureConnectionUp) {
    const support::Folder folder;
    service_ = std::make_unique<frame::HttpService>(frame::HttpOptions{"", folder.write("ca.pem", "no certificate")});
    expectRefused(certificates_.good());
}

}  // namespace
