// A process's place on the bus: what it sends and receives, of every kind. It listens with Interests, is answered at an
// Inbox, hands what came to sinks on an Executor, and all go over one Link.
//
// A message that is larger than one piece travels in several, on one connection and one subject, so in their order.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "bus/nats/complaints.h"
#include "bus/nats/executor.h"
#include "bus/nats/headers.h"
#include "bus/nats/inbox.h"
#include "bus/nats/interests.h"
#include "bus/nats/link.h"
#include "bus/nats/pieces.h"
#include "bus/nats/subjects.h"
#include "bus/nats/waiting.h"

namespace frame::nats {

struct Outgoing {
    std::string subject;
    std::string reply;  // empty: no answer is wanted
    Payload record;
    std::string id;  // the texts of headers, empty: without them
    std::string deadline;
    std::string broadcast;
    std::string result;
};

// A whole message whose sender is known.
struct Incoming {
    Message message;  // which the texts are of
    std::string_view subject;
    std::string_view reply;
    CProcID sender;
    Payload record;
    std::optional<unsigned long> id;
    std::optional<std::chrono::milliseconds> deadline;
    std::string_view broadcast;
    std::string_view result;
};

class Station {
public:
    // `lost` is called whenever the connection is, and `found` whenever there is one.
    Station(CProcID address, const NatsOptions& options, std::function<void()> lost, std::function<void()> found);

    // To be called once. Before, it may only listen.
    void start();

    CProcID address() const { return address_; }
    const Subjects& subjects() const { return subjects_; }
    Inbox& inbox() { return inbox_; }
    Executor& executor() { return executor_; }

    bool connected() const { return link_.connection() != nullptr; }
    // Null unless connected.
    Connection connection() const { return link_.connection(); }
    // How much one message may carry.
    static std::size_t pieceOctets(natsConnection* connection);
    // Whether a record travels in pieces.
    bool needsPieces(const Payload& record) const;
    // False when it is not sent, or perhaps not all of it: there is no connection. It leaves with others within a
    // millisecond.
    bool send(const Outgoing& message);
    // The same for what somebody waits for: it leaves at once.
    bool sendNow(const Outgoing& message);
    // When it returns true the server has all that was sent before.
    bool flush();
    // Says to whoever asked that the process is this one.
    void tellAddress(std::string_view reply);

    // Calls `handler` with what comes to `subject`, on a thread of the client.
    Interests::Key listen(std::string subject, std::string group, std::function<void(Incoming)> handler);
    // The same with the messages as they come, whoever sends them.
    Interests::Key listenRaw(std::string subject, Interests::Handler handler) {
        return interests_.add(std::move(subject), "", std::move(handler));
    }
    void ignore(Interests::Key key) { interests_.remove(key); }
    // What came as `message`; nothing when it is one of several pieces, or rubbish, which is logged.
    std::optional<Incoming> receive(Message message);
    void complain(std::string_view subject, const std::string& what);

    const Limits& limits() const { return limits_; }
    // A room for what comes on one subscription.
    std::shared_ptr<Room> room() const { return std::make_shared<Room>(limits_, load_); }
    // A place there; nothing when it is full, which is counted and logged.
    std::optional<Room::Place> admit(const std::shared_ptr<Room>& room, const Incoming& message);

    NatsStatus status() const;
    // Receives no more. What came before has been handed to its sinks when it returns.
    void stopReceiving();
    void stop() { link_.stop(); }

private:
    bool sendOne(natsConnection* connection, const Outgoing& message, std::string_view octets,
                 const std::string& piece);
    std::optional<Payload> assemble(const Incoming& message, std::string_view piece, std::string_view octets);

    const CProcID address_;
    const std::string addressText_ = writeAddress(address_);
    const Limits limits_;
    const std::shared_ptr<Load> load_ = std::make_shared<Load>();
    const Subjects subjects_;
    const std::string ownSubjects_;
    Complaints complaints_;
    Complaints drops_;
    Pieces pieces_;
    std::atomic<std::uint64_t> nextMessage_;
    Inbox inbox_;
    Executor executor_;
    Interests interests_;
    Link link_;
};

}  // namespace frame::nats
