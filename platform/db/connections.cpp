#include "db/connections.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "platform/db.h"

namespace frame {

namespace {

std::string withoutLineEnd(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace

std::string reasonOf(const soci::soci_error& error) {
    std::string reason = error.get_error_message();
    reason.resize(std::min(reason.find('\n'), reason.size()));
    // SOCI names an operation of its own before what SQLite says.
    if (const std::size_t colon = reason.find(": "); reason.find("::") < colon) reason.erase(0, colon + 2);
    return reason;
}

Connections::Connections(std::unique_ptr<const Backend> backend, std::size_t bound, std::chrono::milliseconds patience)
    : backend_(std::move(backend)), patience_(patience), free_(bound) {
    idle_.reserve(bound);  // so that giving back cannot run out of memory
}

std::string Connections::textOf(const std::string& reason) const {
    return "database " + backend_->name() + ": " + reason;
}

void Connections::fail(const std::string& reason) const {
    throw DatabaseError(textOf(reason));
}

Connection Connections::take() {
    if (backend_ == nullptr) throw DatabaseError("no database is configured");
    if (Connection idle = admit(); idle.session != nullptr && backend_->works(*idle.session)) return idle;
    return {connect(), {}};
}

Connection Connections::admit() {
    std::unique_lock lock(mutex_);
    released_.wait_for(lock, patience_, [this] { return free_ > 0 || stopped_; });
    if (stopped_) fail("it is being closed");
    if (free_ == 0) fail("all connections are in use");
    --free_;
    if (idle_.empty()) return {};
    Connection connection = std::move(idle_.back());
    idle_.pop_back();
    return connection;
}

std::unique_ptr<soci::session> Connections::connect() {
    try {
        return backend_->connect();
    } catch (const std::exception& error) {
        release({});
        fail(withoutLineEnd(error.what()));
    }
}

void Connections::giveBack(Connection connection) noexcept {
    try {
        if (backend_->inTransaction(*connection.session)) connection.session->rollback();
    } catch (const std::exception&) {
        connection.kept.reset();
        connection.session.reset();
    }
    release(std::move(connection));
}

void Connections::release(Connection idle) noexcept {
    const std::lock_guard lock(mutex_);
    ++free_;
    if (idle.session != nullptr) idle_.push_back(std::move(idle));
    released_.notify_one();
}

void Connections::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    released_.notify_all();
}

}  // namespace frame
