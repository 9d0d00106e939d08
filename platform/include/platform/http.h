// HTTP: one request and its answer, over http or https (TLS 1.2 or later; certificate and host name are verified).
// Connections are kept and used again. Redirects are not followed, and proxies that the environment names are not used.
// All operations may be called from any thread.
#pragma once

#include <memory>
#include <string>

#include "platform/export.h"

namespace NETP {

// A request. What `url` and `body` hold is sent as it stands; a body is sent as application/json.
struct FRAME_API SendHttpMsgReqStruct {
    // `method`: "GET", "POST", ... (RFC 9110). `name`: what the request is called in logs. `timeoutSeconds`: for all of
    // the exchange, connecting included; less than 1 counts as 1.
    SendHttpMsgReqStruct(std::string method, std::string name, int timeoutSeconds);

    std::string method;
    std::string name;
    int timeoutSeconds;
    std::string url;   // absolute: scheme, host, port, path
    std::string body;  // empty: none is sent
};

// What became of an exchange, by what the caller does next.
enum HttpResult : int {
    httpOk = 0,           // an answer came, whatever its status
    httpClosed = 1,       // there is no process, or it is going down: nothing can be sent
    httpBadUrl = 2,       // not an absolute http or https URL: correct the configuration
    httpUnreachable = 3,  // name not known, or nobody listens there: try again later
    httpTimedOut = 4,     // no whole answer in time; the request may have been carried out
    httpTls = 5,          // no secure connection: the certificate is not trusted, expired or another host's
    httpTooLarge = 6,     // the answer is larger than 64 MiB, its header than 256 KiB, or a line of that than 100 KiB
    httpBroken = 7,       // the connection broke, or the answer is no HTTP; the request may have been carried out
};

// An answer.
struct FRAME_API SendHttpMsgRspStruct {
    int result = httpClosed;  // an HttpResult
    unsigned int statusCode = 0;
    std::string body;

    // Whether the status is one of 200 to 299.
    bool IsSucceedStatusCode() const;
};

// Sends `request` and blocks until its answer is there whole, or its time-out has passed. Returns the result, which
// `response.result` holds as well; statusCode and body are 0 and empty unless it is httpOk. What failed is logged, with
// the request's name and without its body. Throws std::bad_alloc.
FRAME_API int DirectSendTheHttpMsg(const SendHttpMsgReqStruct& request, SendHttpMsgRspStruct& response);

// The return code for the result of an exchange: 0 when it is httpOk, `errorCode` otherwise.
FRAME_API unsigned long GetRetCodeByHttpRspResult(int result, unsigned long errorCode);

// The base address, "scheme://host:port", of the services behind the HTTP proxy; a path is appended to it. Empty when
// none is configured.
FRAME_API std::string GetHttpReqIPAddr();

}  // namespace NETP

namespace frame {

struct HttpOptions {
    std::string services;  // what NETP::GetHttpReqIPAddr gives
    std::string caFile;    // PEM file of the authorities to trust; empty: those of the system
};

// What makes the HTTP operations work, while it lives. Owned by the process.
class FRAME_API HttpService {
public:
    // Throws std::runtime_error, which names it, for a caFile that cannot be read, and std::logic_error when this
    // program has another one.
    explicit HttpService(const HttpOptions& options);
    // Breaks off first.
    ~HttpService();
    HttpService(const HttpService&) = delete;
    HttpService& operator=(const HttpService&) = delete;

    // Exchanges that are under way, and all later ones, give httpClosed: the process is going down.
    void breakOff();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
