// The distributed engine: a bus between processes on any machines, carried by NATS servers.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
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

// A message on its way to others.
struct Overheard {
    enum class Kind { event, reliable, command, broadcast };

    Kind kind = Kind::event;
    std::chrono::system_clock::time_point when;  // it came
    std::string subject;                         // where it was sent to: any octets
    std::optional<CProcID> sender;
    std::optional<unsigned long> id;  // of the event or the reliable message, or the broadcast's command
    CProcID to;                       // of a command message: whom it is for
    std::uint16_t target = 0;         // of a broadcast
    std::string identifier;           // of a reliable message
    Payload record;                   // or the whole command message
    std::size_t octets = 0;           // of the record, also where that is not here
    // Empty, or why it is no message of this system, or its record not here: any octets. `record` then has what came.
    std::string fault;
};

struct OverhearOptions {
    std::vector<Overheard::Kind> kinds = {Overheard::Kind::event, Overheard::Kind::reliable, Overheard::Kind::command,
                                          Overheard::Kind::broadcast};
    // How large a record may be that stands in pieces in a stream, to be fetched from there.
    std::size_t largest = mostRequestOctets;
};

// Called on threads of its subscription, one message at a time. May block. What it throws is logged.
using OverhearSink = std::function<void(const Overheard&)>;
// What else a process tells of itself when its state is asked for over the bus: names, of lower case letters and "_",
// and numbers. Called on a thread of the engine; must return soon and must not throw.
using StatusFields = std::function<std::vector<std::pair<std::string, std::uint64_t>>()>;

class FRAME_API NatsEngine : public BusEngine {
public:
    virtual NatsStatus status() const = 0;

    // Waits a few seconds at most. When it returns true the server has all that was sent before, unless it was gone
    // already and the client has not noticed, and status() tells what it has refused of that.
    virtual bool flush() = 0;

    // `sink` is called for all messages of these kinds, whoever sends them and whomever they are for, rubbish included;
    // nobody who is to get them misses any for it. Those of one kind come in their order, but for the ones whose
    // records are fetched first. What waits for a sink that is slow is bounded, as the options say. Ending the
    // subscription calls the sink for what has come before. While there is one for command messages, their senders are
    // not told that nobody takes them.
    virtual Subscription overhear(const OverhearOptions& options, OverhearSink sink) = 0;
    // Whoever may ask processes for their state (`necctl bus status`) is told `fields` besides.
    virtual Subscription addStatus(StatusFields fields) = 0;
};

// A place on the bus of `options.system`. A call may take two seconds more than it says where the server reads no more
// of what is sent; the connection counts as lost then. Throws std::invalid_argument for options that cannot be, and
// std::runtime_error, which names the file, for one that cannot be read.
FRAME_API std::unique_ptr<NatsEngine> connectNats(CProcID address, const NatsOptions& options);

}  // namespace frame
