#include "support/raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace support {

namespace {

void check(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

// A socket at a free port of the loopback interface.
int boundSocket() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    check(socket >= 0, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
    return socket;
}

int portOf(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    check(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
    return ntohs(address.sin_port);
}

}  // namespace

std::string RawConnection::readUntil(std::string_view end) {
    std::string text;
    char octet = 0;
    while (!text.ends_with(end) && recv(socket_, &octet, 1, 0) == 1) text += octet;
    return text;
}

bool RawConnection::send(std::string_view octets) {
    while (!octets.empty()) {
        const ssize_t sent = ::send(socket_, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        octets.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void RawConnection::sendForEver(std::string_view octets) {
    while (send(octets)) {
    }
}

void RawConnection::waitForClose() {
    std::array<char, 4096> ignored{};
    while (recv(socket_, ignored.data(), ignored.size(), 0) > 0) {
    }
}

RawServer::RawServer(Script script) : script_(std::move(script)), listener_(boundSocket()), port_(portOf(listener_)) {
    check(listen(listener_, SOMAXCONN) == 0, "listen");
    thread_ = std::thread([this] { serve(); });
}

RawServer::~RawServer() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        if (current_ >= 0) shutdown(current_, SHUT_RDWR);
    }
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

void RawServer::serve() {
    for (int socket = 0; (socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        if (begin(socket)) {
            RawConnection connection(socket);
            script_(connection);
        }
        end(socket);
    }
}

bool RawServer::begin(int socket) {
    const std::lock_guard lock(mutex_);
    current_ = socket;
    return !stopped_;
}

void RawServer::end(int socket) {
    const std::lock_guard lock(mutex_);
    current_ = -1;
    close(socket);
}

RawServer::Script answering(std::string answer) {
    return [answer = std::move(answer)](RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        (void)connection.send(answer);
    };
}

ClosedPort::ClosedPort() : socket_(boundSocket()), number_(portOf(socket_)) {}

ClosedPort::~ClosedPort() {
    close(socket_);
}

}  // namespace support
