// A server on an ephemeral port of the loopback interface that sends what a test wants, however odd. It takes one
// connection at a time.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace support {

// One connection to it, on the server's thread. All operations end at once when the server is destroyed.
class RawConnection {
public:
    explicit RawConnection(int socket) : socket_(socket) {}

    // What has come up to and including the first `end`; shorter when the peer closes before.
    std::string readUntil(std::string_view end);
    // False when the peer has closed the connection.
    [[nodiscard]] bool send(std::string_view octets);
    // Sends `octets` again and again until the peer has closed the connection.
    void sendForEver(std::string_view octets);
    void waitForClose();
    // For handing it to a program.
    int socket() const { return socket_; }

private:
    int socket_;
};

class RawServer {
public:
    // `script` is called for each connection, which is closed when it returns.
    using Script = std::function<void(RawConnection&)>;

    explicit RawServer(Script script);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    int port() const { return port_; }
    // "http://127.0.0.1:PORT/".
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

private:
    void serve();
    // False when the server is going down.
    bool begin(int socket);
    void end(int socket);

    const Script script_;
    int listener_;
    int port_;
    std::mutex mutex_;
    bool stopped_ = false;
    int current_ = -1;
    std::thread thread_;
};

// A script that reads the head of a request and sends `answer`.
RawServer::Script answering(std::string answer);

// A port of the loopback interface that nobody listens on: taken, but not listened at, while this lives.
class ClosedPort {
public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    int number() const { return number_; }

private:
    int socket_;
    int number_;
};

}  // namespace support
