#include "support/nats_server.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <stdexcept>

extern "C" {
#include <sys/pidfd.h>  // declares C functions without saying so
}

namespace support {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {
        if (number < 0) throw std::runtime_error("no descriptor");
    }
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

// The port of `which` in {"nats":["nats://127.0.0.1:34717"],"cluster":["nats://127.0.0.1:34719"],...}; -1 when there is
// none.
int portIn(const std::string& text, const std::string& which) {
    const std::size_t own = text.find('"' + which + '"');
    const std::size_t end = text.find(']', own);
    if (own == std::string::npos || end == std::string::npos) return -1;
    return std::stoi(text.substr(text.rfind(':', end) + 1));
}

}  // namespace

NatsServer::NatsServer(const std::string& configuration, bool store) : store_(store) {
    configure(configuration);
    std::filesystem::create_directory(folder_.file("ports"));
    start();
}

NatsServer::~NatsServer() = default;

std::string NatsServer::log() const {
    return std::filesystem::exists(logFile()) ? contentOf(logFile()) : std::string();
}

void NatsServer::configure(const std::string& configuration) const {
    folder_.write("nats.conf", configuration);
}

std::vector<std::string> NatsServer::command() const {
    std::vector<std::string> command{"setpriv",
                                     "--pdeathsig=KILL",
                                     "--",
                                     "nats-server",
                                     "-c",
                                     folder_.file("nats.conf"),
                                     "-a",
                                     "127.0.0.1",
                                     "-p",
                                     std::to_string(port_),
                                     "--ports_file_dir",
                                     folder_.file("ports"),
                                     "-l",
                                     logFile()};
    if (store_) command.insert(command.end(), {"-js", "-sd", folder_.file("store")});
    return command;
}

void NatsServer::start() {
    const Descriptor watch(inotify_init1(IN_CLOEXEC));
    if (inotify_add_watch(watch.number(), folder_.file("ports").c_str(), IN_CLOSE_WRITE) < 0)
        throw std::runtime_error("cannot watch the folder of ports");
    server_.emplace(command());
    awaitPorts(watch.number());
}

void NatsServer::awaitPorts(int watch) {
    const Descriptor server(pidfd_open(server_->pid(), 0));
    std::array<pollfd, 2> waits{{{watch, POLLIN, 0}, {server.number(), POLLIN, 0}}};
    const auto timeout = static_cast<int>(std::chrono::milliseconds(patience).count());
    if (poll(waits.data(), waits.size(), timeout) <= 0 || waits[0].revents == 0)
        throw std::runtime_error("nats-server does not start: " + server_->wait({}).err + log());
    const std::string ports = contentOf(folder_.file("ports/nats-server_" + std::to_string(server_->pid()) + ".ports"));
    port_ = portIn(ports, "nats");
    routePort_ = portIn(ports, "cluster");
    if (port_ < 0) throw std::runtime_error("no port in " + ports);
}

void NatsServer::stop() {
    server_->signal(SIGINT);
    const Outcome ended = server_->wait();
    server_.reset();
    if (ended.timedOut) throw std::runtime_error("nats-server does not stop: " + log());
}

void NatsServer::kill() {
    server_.reset();
}

void NatsServer::freeze() {
    server_->signal(SIGSTOP);
    siginfo_t stopped{};
    if (waitid(P_PID, static_cast<id_t>(server_->pid()), &stopped, WSTOPPED | WNOWAIT) != 0)
        throw std::runtime_error("nats-server does not freeze");
}

void NatsServer::thaw() {
    server_->signal(SIGCONT);
}

void NatsServer::loseStore() const {
    std::filesystem::remove_all(folder_.file("store"));
}

}  // namespace support
