// The process's database and its sessions.
#include <stdexcept>
#include <string_view>

#include "bus/door.h"
#include "db/connections.h"
#include "platform/db.h"

namespace frame {

namespace {

constinit Door<Connections> door;

std::unique_ptr<const Backend> makeBackend(const std::string& url) {
    constexpr std::string_view sqlite = "sqlite:";
    constexpr std::string_view postgres = "postgresql:";
    if (url.empty()) return nullptr;
    if (url.starts_with("postgresql://")) return makePostgres(url);
    if (url.starts_with(postgres)) return makePostgres(url.substr(postgres.size()));
    if (url.starts_with(sqlite)) return makeSqlite(url.substr(sqlite.size()));
    throw std::invalid_argument(R"(database: its url begins neither with "sqlite:" nor with "postgresql:")");
}

std::size_t validBound(unsigned connections) {
    if (connections == 0 || connections > 1000)
        throw std::invalid_argument("database: " + std::to_string(connections) + " connections; expected 1 to 1000");
    return connections;
}

}  // namespace

class Database::Impl {
public:
    explicit Impl(const DatabaseOptions& options)
        : connections_(makeBackend(options.url), validBound(options.connections), options.patience) {
        if (!door.open(connections_)) throw std::logic_error("this program has a process with a database already");
    }
    ~Impl() {
        door.shut();
        connections_.stop();
        door.wait();
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

private:
    Connections connections_;
};

Database::Database(const DatabaseOptions& options) : impl_(std::make_unique<Impl>(options)) {}

Database::~Database() = default;

bool databaseConfigured() {
    const auto connections = door.pin();
    return connections && connections->configured();
}

}  // namespace frame

namespace dao {

// A connection in use. It keeps the database from being destroyed.
class CSqlSession::Lease {
public:
    Lease() : connections_(frame::door.pin()) {
        if (!connections_) throw frame::DatabaseError("there is no database: no process, or it is going down");
        connection_ = connections_->take();
    }
    ~Lease() {
        if (connection_.session != nullptr) connections_->giveBack(std::move(connection_));
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    frame::Connection& connection() { return connection_; }
    const frame::Connections& connections() const { return *connections_; }

private:
    frame::Door<frame::Connections>::Pin connections_;
    frame::Connection connection_;
};

CSqlSession::CSqlSession() = default;

CSqlSession::~CSqlSession() = default;

soci::session& CSqlSession::connection() {
    if (lease_ == nullptr) lease_ = std::make_unique<Lease>();
    return *lease_->connection().session;
}

}  // namespace dao

namespace frame {

Connection& ConnectionAccess::of(dao::CSqlSession& session) {
    session.connection();
    return session.lease_->connection();
}

std::string ConnectionAccess::textOf(dao::CSqlSession& session, const soci::soci_error& error) {
    return session.lease_->connections().textOf(reasonOf(error));
}

}  // namespace frame
