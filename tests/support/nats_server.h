// A NATS server for tests, on an ephemeral port of the loopback interface.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/run.h"

namespace support {

// A server that is up from the end of the constructor on. It ends with the object, and with the thread that started it.
// Throws std::runtime_error, with its log, when it does not start.
class NatsServer {
public:
    // `configuration`: what its configuration file says, but for address, port, log and store. `store`: with JetStream,
    // in a folder of its own.
    explicit NatsServer(const std::string& configuration = {}, bool store = false);
    ~NatsServer();
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    pid_t pid() const { return server_->pid(); }
    int port() const { return port_; }
    std::string url() const { return "nats://127.0.0.1:" + std::to_string(port_); }
    // Where other servers of its cluster join; -1 without a cluster.
    int routePort() const { return routePort_; }
    // What it has logged, in all its lives.
    std::string log() const;
    std::string logFile() const { return folder_.file("log"); }

    // Ends it as an operator does: its clients are told.
    void stop();
    // Ends it at once (SIGKILL).
    void kill();
    // Stops it from doing anything, while its connections stay (SIGSTOP), and lets it go on.
    void freeze();
    void thaw();
    // On the same port as before, and with the configuration as it is now.
    void start();
    // The store is empty when it is started next.
    void loseStore() const;
    void configure(const std::string& configuration) const;

private:
    std::vector<std::string> command() const;
    // Reads the ports that it writes down when it is ready.
    void awaitPorts(int watch);

    Folder folder_;
    const bool store_;
    int port_ = -1;  // the server then chooses one
    int routePort_ = -1;
    std::optional<Child> server_;
};

}  // namespace support
