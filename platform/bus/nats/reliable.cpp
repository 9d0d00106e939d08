#include "bus/nats/reliable.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bus/nats/logging.h"
#include "bus/nats/message.h"
#include "bus/received.h"

namespace frame::nats {

namespace {

// With one look; the next one goes on.
constexpr std::size_t mostFillers = 10'000;
// Shorter than a machine takes that lost its power. Who has something to lose looks every second.
constexpr std::chrono::seconds idleAfter{3};

}  // namespace

std::shared_ptr<JetStream> Reliable::jetStream() {
    const Connection connection = station_.connection();
    if (!connection) return nullptr;
    const std::lock_guard lock(mutex_);
    if (stopped_) return nullptr;
    if (!jetStream_ || jetStream_->connection() != connection)
        jetStream_ = std::make_shared<JetStream>(connection, settings_);
    return jetStream_;
}

Delivery Reliable::publish(const ReliableMessage& message) {
    if (message.record.size() > mostRequestOctets || !isIdentifier(message.identifier)) return Delivery::refused;
    const std::lock_guard lock(publishing_);
    const auto stream = jetStream();
    if (!stream) return Delivery::down;
    const std::uint64_t life = life_;
    if ((!certain(*stream) || idle()) && !look(*stream)) return Delivery::down;
    // What may be gone goes first.
    if (life != life_) return Delivery::down;
    return store(*stream, message);
}

std::optional<std::uint64_t> Reliable::life() {
    const std::lock_guard lock(publishing_);
    const auto stream = jetStream();
    if (!stream || !look(*stream)) return std::nullopt;
    return life_;
}

bool Reliable::certain(const JetStream& jetStream) const {
    return lookedThrough_.lock() == jetStream.connection() && reconnects_ == jetStream.reconnects();
}

bool Reliable::idle() const {
    return Clock::now() - looked_ > idleAfter;
}

bool Reliable::look(JetStream& jetStream) {
    const bool doubted = !certain(jetStream);
    const std::uint64_t reconnects = jetStream.reconnects();  // first: one may come while it looks
    std::string error;
    auto found = jetStream.look(error);
    if (!found) {
        lookedThrough_.reset();
        fails(error);
        return false;
    }
    bool another = doubted || found->created != known_->created || found->last < known_->last;
    const std::uint64_t last = found->last;
    if ((another || idle()) && !fill(jetStream, *found)) {
        lookedThrough_.reset();
        return false;
    }
    another = another || found->last != last;  // filled: it had gone back
    if (known_ && another) ++life_;
    looked_ = Clock::now();
    known_ = found;
    lookedThrough_ = jetStream.connection();
    reconnects_ = reconnects;
    return true;
}

bool Reliable::fill(const JetStream& jetStream, JetStream::State& state) {
    if (state.consumers == 0) return true;
    std::string error;
    const auto passed = jetStream.handedOut(state.consumers, error);
    if (!passed) {
        fails(error);
        return false;
    }
    if (state.last < *passed)
        logInfo(settings_.name + " went back to message " + std::to_string(state.last) + ", consumers were at " +
                std::to_string(*passed) + ": the numbers in between are filled");
    const Message filler = makeMessage(station_.subjects().reliableFiller(), "", "");
    for (std::size_t filled = 0; state.last < *passed; ++filled) {
        const auto stored = jetStream.store(filler.get(), "");
        if (stored.status != NATS_OK) fails(stored.error);
        if (stored.status != NATS_OK || filled == mostFillers) return false;
        state.last = stored.sequence;
    }
    return true;
}

Delivery Reliable::store(JetStream& jetStream, const ReliableMessage& message) {
    const std::size_t most = Station::pieceOctets(jetStream.connection().get());
    if (message.record.size() > most) return storePieces(jetStream, message, most);
    const Message made = makeMessage(station_.subjects().reliable(message.id), "", message.record.view());
    setHeader(made, senderHeader, writeAddress(message.sender));
    return storeOne(jetStream, made, message.identifier);
}

Delivery Reliable::storePieces(JetStream& jetStream, const ReliableMessage& message, std::size_t most) {
    std::string_view octets = message.record.view();
    const Whole whole{static_cast<std::uint32_t>((octets.size() + most - 1) / most),
                      static_cast<std::uint32_t>(octets.size())};
    for (std::uint32_t index = 0; index < whole.count; ++index) {
        const std::string subject = station_.subjects().reliablePiece(message.id, message.identifier, index);
        const Message piece = makeMessage(subject, "", octets.substr(0, most));
        const auto delivery = storeOne(jetStream, piece, message.identifier + '/' + std::to_string(index));
        if (delivery != Delivery::kept) return delivery;
        octets.remove_prefix(std::min(most, octets.size()));
    }
    const Message made = makeMessage(station_.subjects().reliable(message.id), "", "");
    setHeader(made, senderHeader, writeAddress(message.sender));
    setHeader(made, wholeHeader, writeWhole(whole));
    return storeOne(jetStream, made, message.identifier);
}

// One that timed out may be stored all the same: it is handed over again, and dropped as a repeat.
Delivery Reliable::storeOne(JetStream& jetStream, const Message& message, const std::string& identifier) {
    const auto stored = jetStream.store(message.get(), identifier);
    if (stored.status != NATS_OK) {
        fails(stored.error);
        if (stored.refused) return Delivery::refused;
        if (stored.status == NATS_TIMEOUT) return unanswered(jetStream);
        lookedThrough_.reset();
        return Delivery::down;
    }
    told_.clear();
    if (stored.repeated) return Delivery::kept;
    if (stored.sequence <= known_->last) lookedThrough_.reset();  // it went back
    known_->last = stored.sequence;
    return Delivery::kept;
}

// What this process may not send is never answered, however often it tries. So where the server answers other
// questions, and has lost nothing, the other identifiers do not wait.
Delivery Reliable::unanswered(JetStream& jetStream) {
    const std::uint64_t life = life_;
    return look(jetStream) && life == life_ ? Delivery::refused : Delivery::down;
}

void Reliable::fails(const std::string& why) {
    // That the connection is lost is told elsewhere.
    if (station_.connected() && told_.add(why))
        logError("reliable messages are not stored in " + settings_.name + ": " + why + "; it goes on trying");
}

Reliable::Received Reliable::subscribe(unsigned long id, ReliableSink sink) {
    const std::lock_guard lock(mutex_);
    auto& lane = lanes_[id];
    if (!lane)
        lane = std::make_unique<Lane>(
            station_, [this] { return jetStream(); }, id);
    if (!teller_.joinable() && !stopped_) teller_ = std::thread([this] { keepTelling(); });
    return {lane.get(), lane->add(std::move(sink))};
}

void Reliable::keepTelling() {
    std::unique_lock lock(mutex_);
    while (!stopping_.wait_for(lock, takenForDead / 3, [this] { return stopped_; })) {
        lock.unlock();
        forEachLane([](Lane& lane) { lane.stillBusy(); });
        lock.lock();
    }
}

void Reliable::forEachLane(const std::function<void(Lane&)>& call) {
    std::vector<Lane*> lanes;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [id, lane] : lanes_) lanes.push_back(lane.get());
    }
    for (Lane* lane : lanes) call(*lane);
}

void Reliable::isLost() {
    forEachLane([](Lane& lane) { lane.connectionChanged(); });
}

void Reliable::isFound() {
    forEachLane([](Lane& lane) { lane.connectionChanged(); });
    watchers_.each([](const Watcher& changed, const auto&) { changed(); });
}

void Reliable::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        jetStream_.reset();
    }
    forEachLane([](Lane& lane) { lane.stop(); });
    stopping_.notify_all();
    if (teller_.joinable()) teller_.join();
    watchers_.endOwned(this);
}

}  // namespace frame::nats
