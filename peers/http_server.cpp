#include "http_server.h"

#include <httplib.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace peers {
namespace {

constexpr std::size_t mostBodyOctets = std::size_t{64} << 20U;

// One port and the thread that listens on it.
class Listener {
public:
    Listener(std::unique_ptr<httplib::Server> server, const std::string& address, std::uint16_t port)
        : server_(std::move(server)), port_(port) {
        // Not SO_REUSEPORT, which is set otherwise: two servers would share a port.
        server_->set_socket_options([](socket_t socket) {
            const int on = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        server_->set_tcp_nodelay(true);
        server_->set_payload_max_length(mostBodyOctets);
        // A kept connection takes one of the server's threads, and stopping waits for it.
        server_->set_keep_alive_timeout(1);
        server_->set_keep_alive_max_count(1'000'000);
        if (port_ == 0)
            port_ = server_->bind_to_any_port(address);
        else if (!server_->bind_to_port(address, port_))
            port_ = -1;
        if (port_ < 0) throw std::runtime_error("cannot listen at " + address + ":" + std::to_string(port));
    }
    ~Listener() {
        if (!thread_.joinable()) return;
        // A server that is stopped before it has begun would begin all the same.
        while (!server_->is_running() && !ended_) std::this_thread::yield();
        server_->stop();
        thread_.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void start() {
        thread_ = std::thread([this] {
            server_->listen_after_bind();
            ended_ = true;
        });
    }
    httplib::Server& server() { return *server_; }
    int port() const { return port_; }

private:
    std::unique_ptr<httplib::Server> server_;
    int port_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

std::unique_ptr<httplib::Server> tlsServer(const HttpServerOptions& options) {
    auto server = std::make_unique<httplib::SSLServer>(options.certificateFile.c_str(), options.keyFile.c_str());
    if (!server->is_valid())
        throw std::runtime_error("certificate " + options.certificateFile + " with key " + options.keyFile +
                                 " cannot be used");
    return server;
}

void fill(httplib::Response& response, const HttpAnswer& answer) {
    response.status = answer.status;
    response.set_content(answer.body, "application/json");
}

}  // namespace

class HttpServer::Impl {
public:
    explicit Impl(const HttpServerOptions& options)
        : address(options.address), plain(std::make_unique<httplib::Server>(), address, options.port) {
        if (!options.certificateFile.empty())
            tls = std::make_unique<Listener>(tlsServer(options), address, options.tlsPort);
    }

    template <class Action>
    void each(const Action& action) {
        action(plain.server());
        if (tls) action(tls->server());
    }

    const std::string address;
    Listener plain;
    std::unique_ptr<Listener> tls;
};

HttpServer::HttpServer(const HttpServerOptions& options) : impl_(std::make_unique<Impl>(options)) {}

HttpServer::~HttpServer() = default;

void HttpServer::get(const std::string& path, std::function<HttpAnswer()> handler) {
    impl_->each([&](httplib::Server& server) {
        server.Get(path,
                   [handler](const httplib::Request&, httplib::Response& response) { fill(response, handler()); });
    });
}

void HttpServer::post(const std::string& path, std::function<HttpAnswer(const std::string&)> handler) {
    impl_->each([&](httplib::Server& server) {
        server.Post(path, [handler](const httplib::Request& request, httplib::Response& response) {
            fill(response, handler(request.body));
        });
    });
}

void HttpServer::start() {
    impl_->plain.start();
    if (impl_->tls) impl_->tls->start();
}

std::string HttpServer::url() const {
    return "http://" + impl_->address + ":" + std::to_string(impl_->plain.port());
}

std::string HttpServer::tlsUrl() const {
    return impl_->tls ? "https://" + impl_->address + ":" + std::to_string(impl_->tls->port()) : "";
}

}  // namespace peers
