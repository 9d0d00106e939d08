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
#include "bus/nats/message.h"
#include "bus/nats/pieces.h"
#include "bus/nats/subjects.h"
#include "bus/nats/waiting.h"

namespace frame::nats {

struct Outgoing {
    std::string subject;
    std::string reply;  // empty: no answer is wanted
    std::string_view record;
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

    // What its headers say.
    std::optional<unsigned long> id() const { return readId(headerOf(message.get(), idHeader)); }
    std::optional<std::chrono::milliseconds> deadline() const {
        return readDeadline(headerOf(message.get(), deadlineHeader));
    }
    std::string_view broadcast() const { return headerOf(message.get(), broadcastHeader); }
    std::string_view result() const { return headerOf(message.get(), resultHeader); }
};

class Station {
public:
    using Handler = std::function<void(Incoming)>;

    // `lost` is called whenever the connection is, and `found` whenever there is one.
    Station(CProcID address, const NatsOptions& options, std::function<void()> lost, std::function<void()> found);

    // To be called once. Before, it may only listen.
    void start();

    CProcID address() const { return address_; }
    const Subjects& subjects() const { return subjects_; }
    Inbox& inbox() { return inbox_; }

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
    // The same for what wants no answer and says nothing but who sends it; as a light message, unless it is large.
    bool sendLight(const std::string& subject, std::string_view record);
    // The same as send() for what the caller waits for the answer of: it leaves at once.
    bool sendNow(const Outgoing& message);
    // All that was sent leaves at once.
    void hurry();
    // When it returns true the server has all that was sent before.
    bool flush();
    // Says to whoever asked that the process is this one.
    void tellAddress(const Incoming& question);

    // Calls `handler` with what comes to `subject`, on a thread of the client.
    Interests::Key listen(const std::string& subject, std::string group, Handler handler);
    // The same on the executor, in the order in which they come to all such subjects. What comes while too much waits
    // is dropped. `own`: also what the process itself has sent there.
    Interests::Key listenInTurn(const std::string& subject, std::string group, bool own, Handler handler);
    // With the messages as they come, whoever sends them.
    Interests::Key listenRaw(std::string subject, Interests::Handler handler) {
        return interests_.add(std::move(subject), "", std::move(handler));
    }
    void ignore(Interests::Key key) { interests_.remove(key); }
    // What came as `message`; nothing when it is one of several pieces, or rubbish, which is logged.
    std::optional<Incoming> receive(Message message) {
        return receive(std::move(message), pieces_, Pieces::Clock::now());
    }
    void complain(std::string_view subject, const std::string& what);

    const Limits& limits() const { return limits_; }
    // A room for what comes on one subscription.
    std::shared_ptr<Room> room() { return rooms_.make(); }
    // A place there; nothing when it is full, which is counted and logged.
    std::optional<Room::Place> admit(const std::shared_ptr<Room>& room, std::string_view subject, std::size_t octets);

    NatsStatus status() const;
    // Receives no more. What came before has been handed to its sinks when it returns.
    void stopReceiving();
    void stop() { link_.stop(); }

private:
    struct Listener {
        std::string subject;
        Handler handler;
        std::shared_ptr<Room> room;  // null: nothing waits
    };
    // What came, and waits for its turn.
    struct Turn {
        Station& station;
        const Listener& listener;  // which lives while there is a place in its room
        Room::Place place;
        Message message;
        Pieces::Clock::time_point came;

        void operator()() { station.handle(listener, std::move(message), station.piecesInTurn_, came); }
    };

    void handle(const Listener& listener, Message message, Pieces& pieces, Pieces::Clock::time_point came);
    std::optional<Incoming> receive(Message message, Pieces& pieces, Pieces::Clock::time_point came);
    // Whether it was sent there, which is logged when it was not.
    bool cameTo(const std::string& subject, natsMsg* message);
    bool sendOne(natsConnection* connection, const Outgoing& message, std::string_view octets,
                 const std::string& piece);
    // The whole record, with the last of its pieces.
    std::optional<Payload> assemble(const Incoming& message, std::string_view piece, std::string_view octets,
                                    Pieces& pieces, Pieces::Clock::time_point came);

    const CProcID address_;
    const std::string addressText_ = writeAddress(address_);
    const std::string from_ = std::string(fromMark) + addressText_;
    const Limits limits_;
    Rooms rooms_;
    const Subjects subjects_;
    const std::string ownSubjects_;
    Complaints complaints_;
    Complaints drops_;
    Pieces pieces_;
    Pieces piecesInTurn_;  // by the time when they came: what waits for a slow sink may be older than others give up
    std::atomic<std::uint64_t> nextMessage_;
    Inbox inbox_;
    Executor<Turn> executor_;
    Interests interests_;
    Link link_;
};

}  // namespace frame::nats
