#include "support/http_server.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "support/run.h"

namespace support {

namespace {

// Each connection that a client keeps holds one.
constexpr std::size_t threads = 32;

bool setUp(SSL_CTX& context, const Certificate& certificate, TlsVersions versions) {
    if (versions == TlsVersions::upTo11) {
        SSL_CTX_set_security_level(&context, 0);
        SSL_CTX_set_min_proto_version(&context, TLS1_VERSION);
        SSL_CTX_set_max_proto_version(&context, TLS1_1_VERSION);
    }
    return SSL_CTX_use_certificate_chain_file(&context, certificate.file.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(&context, certificate.keyFile.c_str(), SSL_FILETYPE_PEM) == 1;
}

HttpRequest requestOf(const httplib::Request& request) {
    HttpRequest result{request.method, request.target, {}, request.body};
    result.headers.insert(request.headers.begin(), request.headers.end());
    return result;
}

void fill(httplib::Response& response, const HttpAnswer& answer) {
    response.status = answer.status;
    response.set_content(answer.body, answer.contentType);
    response.headers.insert(answer.headers.begin(), answer.headers.end());
}

// The port of an address of this program's end, or of the peer's; 0 when `name` finds none.
int portBy(int (*name)(int, sockaddr*, socklen_t*), int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (name(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_family != AF_INET) return 0;
    return ntohs(address.sin_port);
}

// Ends the connections to `port` that clients keep: else the server would wait some seconds for each of them.
void endConnections(int port) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int socket = std::stoi(entry.path().filename());
        if (portBy(getsockname, socket) == port && portBy(getpeername, socket) != 0) shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace

std::string HttpRequest::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

class HttpServer::Impl {
public:
    Impl(std::unique_ptr<httplib::Server> server, std::string scheme, HttpHandler handler)
        : server_(std::move(server)), handler_(std::move(handler)) {
        if (!server_->is_valid()) throw std::runtime_error("the HTTP server cannot use its certificate");
        serve();
        port_ = server_->bind_to_any_port("127.0.0.1");
        if (port_ <= 0 || listen(listener_, SOMAXCONN) != 0) throw std::runtime_error("the HTTP server cannot listen");
        base_ = std::move(scheme) + "://127.0.0.1:" + std::to_string(port_);
        thread_ = std::thread([this] { server_->listen_after_bind(); });
        waitUntilRunning();
    }
    ~Impl() {
        server_->stop();
        endConnections(port_);
        thread_.join();
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    int port() const { return port_; }
    const std::string& base() const { return base_; }
    std::size_t connections() const {
        const std::lock_guard lock(mutex_);
        return clientPorts_.size();
    }

private:
    void serve() {
        server_->new_task_queue = [] { return new httplib::ThreadPool(threads); };
        server_->set_keep_alive_max_count(1'000'000);
        server_->set_tcp_nodelay(true);
        // Its own backlog is so short that connecting clients would be put off for a second.
        server_->set_socket_options([this](int listener) { listener_ = listener; });
        const auto handle = [this](const httplib::Request& request, httplib::Response& response) {
            noteConnection(request.remote_port);
            fill(response, handler_(requestOf(request)));
        };
        server_->Get(".*", handle).Post(".*", handle).Put(".*", handle).Delete(".*", handle);
    }
    void noteConnection(int clientPort) {
        const std::lock_guard lock(mutex_);
        clientPorts_.insert(clientPort);
    }
    // stop() has no effect on a server that does not run yet.
    void waitUntilRunning() {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!server_->is_running()) {
            if (std::chrono::steady_clock::now() > deadline) std::abort();
            std::this_thread::yield();
        }
    }

    const std::unique_ptr<httplib::Server> server_;
    const HttpHandler handler_;
    int listener_ = -1;
    int port_ = 0;
    std::string base_;
    mutable std::mutex mutex_;
    std::set<int> clientPorts_;
    std::thread thread_;
};

HttpServer::HttpServer(HttpHandler handler)
    : impl_(std::make_unique<Impl>(std::make_unique<httplib::Server>(), "http", std::move(handler))) {}

HttpServer::HttpServer(HttpHandler handler, const Certificate& certificate, TlsVersions versions)
    : impl_(std::make_unique<Impl>(
          std::make_unique<httplib::SSLServer>([&](SSL_CTX& context) { return setUp(context, certificate, versions); }),
          "https", std::move(handler))) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const {
    return impl_->port();
}

std::string HttpServer::url(const std::string& target) const {
    return impl_->base() + target;
}

std::size_t HttpServer::connections() const {
    return impl_->connections();
}

}  // namespace support
