#include "bus/nats/link.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "bus/nats/client_error.h"
#include "bus/nats/logging.h"
#include "bus/nats/options.h"

namespace frame::nats {

namespace {

constexpr std::int64_t flushMilliseconds = 2000;

std::optional<std::string> lastErrorOf(natsConnection* connection) {
    const char* text = nullptr;
    natsConnection_GetLastError(connection, &text);
    return text != nullptr && *text != '\0' ? std::optional<std::string>(text) : std::nullopt;
}

std::string lastErrorOf(natsConnection* connection, natsStatus status) {
    return lastErrorOf(connection).value_or(natsStatus_GetText(status));
}

// Whether the client says in this way that the server has closed the connection while it was being made.
bool tellsOfAClosedConnection(std::string_view text) {
    return text == "Expected 'PONG', got ''" || text.starts_with("SSL_write error") ||
           text.starts_with("SSL_read error") || text.starts_with("recv error");
}

// What the client says of this thread's last error, or what that means.
std::string lastErrorOr(const std::string& fallback) {
    const std::string said = clientErrorOr(fallback);
    return tellsOfAClosedConnection(said)
               ? "the server ends it, as where it does not take the certificate; its log says why"
               : said;
}

std::string serverOf(natsConnection* connection) {
    std::array<char, 512> server{};
    natsConnection_GetConnectedUrl(connection, server.data(), server.size());
    return server.data();
}

}  // namespace

// The client calls them one at a time, on a thread of its own.
struct Link::Callbacks {
    static Session& session(void* pointer) { return *static_cast<Session*>(pointer); }

    static void connected(natsConnection* connection, void* pointer) { session(pointer).link.isConnected(connection); }
    static void disconnected(natsConnection*, void* pointer) { session(pointer).link.isLost(); }
    static void closed(natsConnection* connection, void* pointer) {
        session(pointer).link.isClosed(session(pointer), lastErrorOf(connection, NATS_CONNECTION_CLOSED));
    }
    static void error(natsConnection* connection, natsSubscription*, natsStatus status, void* pointer) {
        if (status == NATS_CONNECTION_AUTH_FAILED) return;  // closed() tells
        session(pointer).link.isWrong(lastErrorOf(connection, status));
    }
};

Link::Link(CProcID address, const NatsOptions& options, Interests& interests, std::function<void()> lost,
           std::function<void()> found)
    : address_(address), options_(options), interests_(interests), lost_(std::move(lost)), found_(std::move(found)) {
    check(options_);
    clientOptions(address_, options_);  // a file that cannot be used is an error now
}

void Link::start() {
    keeper_ = std::thread([this] { keep(); });
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, options_.patience, [this] { return tried_; });
    if (!tried_) logError("no server answers " + toText(address_) + " yet; it goes on trying");
}

Connection Link::connection() const {
    const std::lock_guard lock(mutex_);
    // While it looks for a server the client may keep its own state locked for long.
    if (!connection_ || state_ != State::connected) return nullptr;
    return natsConnection_Status(connection_.get()) == NATS_CONN_STATUS_CONNECTED ? connection_ : nullptr;
}

// What the server has refused is known to the client then, though its callback may not have told of it yet.
bool Link::flush(std::chrono::milliseconds patience) {
    const Connection connection = this->connection();
    if (!connection || natsConnection_FlushTimeout(connection.get(), patience.count()) != NATS_OK) return false;
    if (auto error = lastErrorOf(connection.get())) {
        const std::lock_guard lock(mutex_);
        lastError_ = std::move(*error);
    }
    return true;
}

void Link::describe(NatsStatus& status) const {
    const std::lock_guard lock(mutex_);
    status.state = state_;
    status.reconnects = reconnects_;
    status.lastError = lastError_;
    if (state_ != State::connected) return;
    // The client knows before its callback tells.
    const bool connected = connection_ && natsConnection_Status(connection_.get()) == NATS_CONN_STATUS_CONNECTED;
    if (connected) status.server = serverOf(connection_.get());
    if (!connected) status.state = State::reconnecting;
}

void Link::keep() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        lock.unlock();
        build();
        lock.lock();
        tried_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return stopped_ || !session_ || session_->closed; });
        if (stopped_) return;
        lock.unlock();
        closeSession();
        lock.lock();
        changed_.wait_for(lock, delayBefore(failures_), [this] { return stopped_; });
    }
}

Options Link::optionsFor(Session& session) const {
    Options options = clientOptions(address_, options_);
    natsOptions* raw = options.get();
    natsOptions_SetReconnectedCB(raw, &Callbacks::connected, &session);
    natsOptions_SetDisconnectedCB(raw, &Callbacks::disconnected, &session);
    natsOptions_SetClosedCB(raw, &Callbacks::closed, &session);
    natsOptions_SetErrorHandler(raw, &Callbacks::error, &session);
    return options;
}

void Link::build() {
    auto session = std::make_unique<Session>(*this);
    natsConnection* raw = nullptr;
    try {
        if (const natsStatus status = natsConnection_Connect(&raw, optionsFor(*session).get()); status != NATS_OK)
            return isRefused(lastErrorOr(natsStatus_GetText(status)));
    } catch (const std::runtime_error& error) {
        return isRefused(error.what());
    }
    Connection connection(raw, [](natsConnection* gone) { natsConnection_Destroy(gone); });
    interests_.attach(connection);
    {
        const std::lock_guard lock(mutex_);
        session_ = std::move(session);
        connection_ = std::move(connection);
    }
    isConnected(raw);
}

void Link::closeSession() {
    std::unique_lock lock(mutex_);
    if (!session_) return;
    const Connection connection = std::move(connection_);
    lock.unlock();
    natsConnection_Close(connection.get());
    lock.lock();
    changed_.wait(lock, [this] { return session_->closed; });
    session_.reset();
}

void Link::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    if (keeper_.joinable()) keeper_.join();
    if (const Connection connection = this->connection())
        natsConnection_FlushTimeout(connection.get(), flushMilliseconds);
    closeSession();
    const std::lock_guard lock(mutex_);
    state_ = State::down;
}

void Link::isConnected(natsConnection* connection) {
    logInfo(toText(address_) + " is connected to " + serverOf(connection));
    {
        const std::lock_guard lock(mutex_);
        state_ = State::connected;
        failures_ = 0;
        told_.clear();
        if (std::exchange(wasConnected_, true)) ++reconnects_;
    }
    found_();
}

void Link::isLost() {
    {
        const std::lock_guard lock(mutex_);
        if (stopped_) return;
        state_ = State::reconnecting;
    }
    logError("the connection of " + toText(address_) + " is lost; it goes on trying");
    lost_();
}

void Link::isClosed(Session& session, const std::string& reason) {
    bool wanted = false;
    {
        const std::lock_guard lock(mutex_);
        wanted = stopped_;
    }
    if (!wanted) isRefused(reason);
    const std::lock_guard lock(mutex_);
    session.closed = true;
    changed_.notify_all();
}

void Link::isRefused(const std::string& reason) {
    {
        const std::lock_guard lock(mutex_);
        ++failures_;
        lastError_ = reason;
        const bool lost = std::exchange(state_, State::down) == State::reconnecting;
        // Several servers, and one that is going, give several reasons in turn. That none is there is no news after a
        // loss.
        if (!told_.add(reason) || (lost && reason == natsStatus_GetText(NATS_NO_SERVER))) return;
    }
    logError(toText(address_) + " cannot connect: " + reason + "; it goes on trying");
}

void Link::isWrong(const std::string& what) {
    complaints_.write(toText(address_) + ": " + what);
    const std::lock_guard lock(mutex_);
    lastError_ = what;
}

}  // namespace frame::nats
