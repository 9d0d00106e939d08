// Database sessions: SQLite by default, PostgreSQL where several machines share the data. A process has the database
// that its configuration names, and a pool of connections to it.
#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/export.h"

namespace soci {
class session;
}

namespace frame {

struct ConnectionAccess;

struct DatabaseOptions {
    // "sqlite:FILE", or "postgresql:PARAMETERS" with libpq's keywords and values, or libpq's "postgresql://" URI.
    // Empty: the process has no database. A FILE that is not there is made, for its owner alone; one that group or
    // others may read or write is refused.
    //
    // Others who write the same are waited for: 5 seconds. A PostgreSQL statement is given up after 30 seconds, unless
    // PARAMETERS say otherwise.
    std::string url;
    // How many connections there may be at once, 1 to 1,000.
    unsigned connections = 4;
    // How long those wait who want a connection when all are in use.
    std::chrono::milliseconds patience{10'000};
};

// The database cannot be used: none configured, down, refused, the file not writable, all connections in use. The text
// says which, and names the database without its password.
class FRAME_API DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace frame

namespace dao {

// A session of the process's database, for one thread at a time. Making one costs next to nothing: it takes a
// connection from the pool when it is first used, and gives it back at its end.
class FRAME_API CSqlSession {
public:
    CSqlSession();
    // What was not committed is rolled back; settings made on the connection stay. A connection that broke is thrown
    // away.
    ~CSqlSession();
    CSqlSession(const CSqlSession&) = delete;
    CSqlSession& operator=(const CSqlSession&) = delete;

    // The connection, taken now if need be; valid while this lives. It answered just now, or is fresh. Blocks while all
    // are in use, for the database's patience at most, and while it connects: to a server for 10 seconds at most,
    // unless PARAMETERS say otherwise. Throws frame::DatabaseError; the next call tries again.
    soci::session& connection();

private:
    friend struct frame::ConnectionAccess;
    class Lease;
    std::unique_ptr<Lease> lease_;
};

}  // namespace dao

namespace frame {

// Whether this program has a process with a database now. From any thread.
FRAME_API bool databaseConfigured();

// What makes sessions work, while it lives. Owned by the process.
class FRAME_API Database {
public:
    // Connects to nothing yet. The first one with SQLite makes SQLite overwrite what it gives back, for the whole
    // program, and this library stays loaded from then on; that is not possible, which is logged as an error, once the
    // program has used SQLite by itself. Throws std::invalid_argument, which does not show the url, for one of another
    // form and for a bound that is none; and std::logic_error when this program has another one.
    explicit Database(const DatabaseOptions& options);
    // Turns away those who wait for a connection, and waits until sessions that have one are destroyed: a thread that
    // holds such a session must not call this.
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
