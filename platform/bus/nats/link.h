// The one connection of a process, kept up: built, lost, found again, refused, and built anew.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/nats/complaints.h"
#include "bus/nats/handles.h"
#include "bus/nats/interests.h"
#include "bus/nats/reasons.h"
#include "platform/nats.h"

namespace frame::nats {

class Link {
public:
    // `lost` is called on a thread of the client whenever the connection is, and `found` on any thread whenever there
    // is one. Throws what check() and clientOptions() throw.
    Link(CProcID address, const NatsOptions& options, Interests& interests, std::function<void()> lost,
         std::function<void()> found);
    ~Link() { stop(); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // Waits for a connection as long as the options say.
    void start();
    // Null unless connected now: then what is published fails at once.
    Connection connection() const;
    // When it returns true the server has all that was sent before, and describe() tells what it has refused of that.
    bool flush(std::chrono::milliseconds patience);
    // Fills in what concerns the connection.
    void describe(NatsStatus& status) const;
    // What was published is sent, and the connection closed for good.
    void stop();

private:
    using State = NatsStatus::State;

    // One connection from the client's point of view: its callbacks may come until the one that it is closed.
    struct Session {
        explicit Session(Link& owner) : link(owner) {}
        Link& link;
        bool closed = false;
    };
    struct Callbacks;

    void keep();
    // Tries once. The session is there when there is a connection, or the client goes on trying.
    void build();
    Options optionsFor(Session& session) const;
    // What must be over before another connection is built.
    void closeSession();

    void isConnected(natsConnection* connection);
    void isLost();
    void isClosed(Session& session, const std::string& reason);
    // It cannot be used as it is now. One line for each reason until it is connected, however often that is found.
    void isRefused(const std::string& reason);
    void isWrong(const std::string& what);

    const CProcID address_;
    const NatsOptions options_;
    Interests& interests_;
    const std::function<void()> lost_;
    const std::function<void()> found_;
    Complaints complaints_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Connection connection_;
    std::unique_ptr<Session> session_;
    State state_ = State::connecting;
    bool wasConnected_ = false;
    bool tried_ = false;
    bool stopped_ = false;
    int failures_ = 0;  // since it was connected
    std::uint64_t reconnects_ = 0;
    std::string lastError_;
    Reasons told_;  // why it could not connect, since it was connected
    std::thread keeper_;
};

}  // namespace frame::nats
