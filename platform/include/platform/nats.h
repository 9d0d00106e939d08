// The distributed engine: a bus between processes on any machines, carried by NATS servers.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "platform/export.h"

namespace frame {

struct NatsOptions {
    // "nats://HOST:PORT" or "tls://HOST:PORT" each; any of them will do. No user and no password in them.
    std::vector<std::string> servers = {"nats://127.0.0.1:4222"};
    // What all subjects begin with: systems with different names share servers without hearing each other.
    std::string system = "nec";

    // Who this process is to the server: a user with the password in a file, or a public nkey with its seed in a file,
    // or a credentials file, or nobody. The files are read each time that a connection is built.
    std::string user;
    std::string passwordFile;
    std::string nkey;
    std::string nkeyFile;
    std::string credentialsFile;

    // TLS. The server's certificate, and that it is one of the server's host, is always checked. It is on with any of
    // these files, and with a server "tls://...".
    std::string caFile;           // the authorities to trust; empty: those of the system
    std::string certificateFile;  // what this process shows, with its key
    std::string keyFile;

    // What the subjects of answers to this process begin with. Empty: "_INBOX.USER", or "_INBOX.TYPE_HANDLE" without a
    // user. The server must let nobody else subscribe to it.
    std::string inbox;

    // How much of one subscription may wait for its sink. What comes on top is dropped, counted and logged.
    std::size_t pendingMessages = 262144;
    std::size_t pendingOctets = std::size_t{128} << 20U;

    // How long connectNats waits for a server. Without one it goes on trying, for ever.
    std::chrono::milliseconds patience{2000};
};

struct NatsStatus {
    enum class State { connecting, connected, reconnecting, down };
    State state = State::connecting;    // down: refused by the server, or stopped; it goes on trying unless stopped
    std::string server;                 // the one that it is connected to
    std::uint64_t reconnects = 0;       // connections that were lost and are there again
    std::uint64_t waitingMessages = 0;  // came, and wait for their sinks
    std::uint64_t waitingOctets = 0;
    std::uint64_t dropped = 0;  // messages, because too much waited
    std::uint64_t refused = 0;  // messages that no process of this system sends
    std::string lastError;
};

// "connecting", "connected", "reconnecting" or "down".
FRAME_API const char* toText(NatsStatus::State state);

class FRAME_API NatsEngine : public BusEngine {
public:
    virtual NatsStatus status() const = 0;
};

// A place on the bus of `options.system`. Throws std::invalid_argument for options that cannot be, and
// std::runtime_error, which names the file, for one that cannot be read.
FRAME_API std::unique_ptr<NatsEngine> connectNats(CProcID address, const NatsOptions& options);

}  // namespace frame
