// A real HTTP or HTTPS server on an ephemeral port of the loopback interface, for as long as it lives.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/certificates.h"

namespace support {

struct HttpRequest {
    std::string method;
    std::string target;  // path and query, as they came
    std::multimap<std::string, std::string> headers;
    std::string body;

    // The first value of header `name`, in these very letters; empty when there is none.
    std::string header(const std::string& name) const;
};

struct HttpAnswer {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    std::multimap<std::string, std::string> headers;
};

// Called on threads of the server, for several requests at once.
using HttpHandler = std::function<HttpAnswer(const HttpRequest&)>;

enum class TlsVersions { current, upTo11 };

class HttpServer {
public:
    explicit HttpServer(HttpHandler handler);
    HttpServer(HttpHandler handler, const Certificate& certificate, TlsVersions versions = TlsVersions::current);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const;
    // "http://127.0.0.1:PORT" or with https, and `target` behind it.
    std::string url(const std::string& target = "/") const;
    // How many connections have brought requests so far.
    std::size_t connections() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace support
