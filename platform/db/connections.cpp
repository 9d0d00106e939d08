#include "db/connections.h"

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

Connections::Connections(std::unique_ptr<const Backend> backend, std::size_t bound, std::chrono::milliseconds patience)
    : backend_(std::move(backend)), patience_(patience), free_(bound) {
    idle_.reserve(bound);  // so that giving back cannot run out of memory
}

void Connections::fail(const std::string& reason) const {
    throw DatabaseError("database " + backend_->name() + ": " + reason);
}

std::unique_ptr<soci::session> Connections::take() {
    if (backend_ == nullptr) throw DatabaseError("no database is configured");
    std::unique_ptr<soci::session> session = admit();
    if (session != nullptr && backend_->works(*session)) return session;
    session.reset();
    return connect();
}

std::unique_ptr<soci::session> Connections::admit() {
    std::unique_lock lock(mutex_);
    released_.wait_for(lock, patience_, [this] { return free_ > 0 || stopped_; });
    if (stopped_) fail("it is being closed");
    if (free_ == 0) fail("all connections are in use");
    --free_;
    if (idle_.empty()) return nullptr;
    auto session = std::move(idle_.back());
    idle_.pop_back();
    return session;
}

std::unique_ptr<soci::session> Connections::connect() {
    try {
        return backend_->connect();
    } catch (const std::exception& error) {
        release(nullptr);
        fail(withoutLineEnd(error.what()));
    }
}

void Connections::giveBack(std::unique_ptr<soci::session> session) noexcept {
    try {
        if (backend_->inTransaction(*session)) session->rollback();
    } catch (const std::exception&) {
        session.reset();
    }
    release(std::move(session));
}

void Connections::release(std::unique_ptr<soci::session> idle) noexcept {
    const std::lock_guard lock(mutex_);
    ++free_;
    if (idle != nullptr) idle_.push_back(std::move(idle));
    released_.notify_one();
}

void Connections::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    released_.notify_all();
}

}  // namespace frame
