// The pool of connections.
#pragma once

#include <any>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "db/backend.h"
#include "platform/db.h"

namespace frame {

// A connection, and what its latest user left with it for the next one: statements that are prepared, say.
struct Connection {
    std::unique_ptr<soci::session> session;
    std::any kept;  // stands on the session
};

// Connections to one database, up to a bound; made when they are needed, and kept for the next who wants one. From any
// thread.
class Connections {
public:
    Connections(std::unique_ptr<const Backend> backend, std::size_t bound, std::chrono::milliseconds patience);

    // Whether there is a database at all.
    bool configured() const { return backend_ != nullptr; }
    // "database NAME: REASON"; there must be a database.
    std::string textOf(const std::string& reason) const;
    // A connection that works. Throws DatabaseError.
    Connection take();
    // Takes back what take() gave; rolls back what is open in it.
    void giveBack(Connection connection) noexcept;
    // From now on nobody waits for a connection.
    void stop();

private:
    [[noreturn]] void fail(const std::string& reason) const;
    // Waits for the right to one connection; gives an idle one if there is any.
    Connection admit();
    std::unique_ptr<soci::session> connect();
    void release(Connection idle) noexcept;

    const std::unique_ptr<const Backend> backend_;
    const std::chrono::milliseconds patience_;
    std::mutex mutex_;
    std::condition_variable released_;
    std::size_t free_;  // how many more may be given away
    bool stopped_ = false;
    std::vector<Connection> idle_;  // at most `free_`
};

// What to tell of an error: the first line of its reason. SOCI adds the values of the statement to that, and PostgreSQL
// those of the row on further lines: passwords may be among them.
std::string reasonOf(const soci::soci_error& error);

// What a session has.
struct ConnectionAccess {
    // Taken now if need be. Throws as CSqlSession::connection.
    static Connection& of(dao::CSqlSession& session);
    // The reason of an error on it, behind the name of the database.
    static std::string textOf(dao::CSqlSession& session, const soci::soci_error& error);
};

}  // namespace frame
