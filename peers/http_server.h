// The HTTP side of the stand-ins: http on one port and, with a certificate, https on another, the same answers on both.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace peers {

// An answer; the body is JSON.
struct HttpAnswer {
    int status = 200;
    std::string body;
};

struct HttpServerOptions {
    std::string address = "127.0.0.1";  // to listen at
    std::uint16_t port = 0;             // of http; 0: any free one
    std::uint16_t tlsPort = 0;          // of https, likewise
    std::string certificateFile;        // PEM; empty: no https
    std::string keyFile;                // PEM
};

class HttpServer {
public:
    // Throws std::runtime_error, which names the address or file, when it cannot listen.
    explicit HttpServer(const HttpServerOptions& options);
    // Waits for answers that are being made.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // `handler` answers GET requests for `path`, on any thread; what it throws is answered with status 500. Before
    // start().
    void get(const std::string& path, std::function<HttpAnswer()> handler);
    // The same for POST requests, whose body, of at most 64 MiB, is handed to it.
    void post(const std::string& path, std::function<HttpAnswer(const std::string&)> handler);
    // Begins to answer. Requests that came since the server was made are answered too.
    void start();

    // "http://ADDRESS:PORT".
    std::string url() const;
    // "https://ADDRESS:PORT"; empty without a certificate.
    std::string tlsUrl() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace peers
