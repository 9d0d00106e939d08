#include "bus/nats/lane.h"

#include <algorithm>
#include <new>
#include <utility>

#include "bus/nats/logging.h"
#include "bus/nats/message.h"
#include "bus/received.h"

namespace frame::nats {

namespace {

// What the server is asked for expires then, and is asked for again: the question may have been lost on the way, and
// nobody tells that the consumer is gone.
constexpr std::int64_t fetchMilliseconds = 5000;
constexpr std::int64_t flushMilliseconds = 2000;
constexpr int mostDoublings = 7;
// How many times a message is looked at whose pieces are not all there.
constexpr int mostLooks = 20;
// How many that wait are told of, and how few end that.
constexpr std::uint64_t manyWait = 1000;
constexpr std::uint64_t fewWait = 100;

// 50 ms to 5 s.
std::chrono::milliseconds delayAfter(std::uint64_t failures) {
    const auto doublings = std::clamp<std::uint64_t>(failures, 1, mostDoublings) - 1;
    return std::min(std::chrono::milliseconds(50) * (1 << doublings), std::chrono::milliseconds(5000));
}

struct Handout {
    std::uint64_t tries = 1;
    std::uint64_t waiting = 0;  // behind it
};

Handout handoutOf(natsMsg* message) {
    jsMsgMetaData* made = nullptr;
    if (natsMsg_GetMetaData(&made, message) != NATS_OK) return {};
    const std::unique_ptr<jsMsgMetaData, void (*)(jsMsgMetaData*)> data(made, &jsMsgMetaData_Destroy);
    return {data->NumDelivered, data->NumPending};
}

}  // namespace

Lane::Lane(Station& station, Stream stream, unsigned long id)
    : station_(station),
      stream_(std::move(stream)),
      id_(id),
      subject_(station.subjects().reliable(id)),
      consumer_({consumerName(station.address().procType, id), subject_}),
      thread_([this] { run(); }) {}

Lane::Ticket Lane::add(ReliableSink sink) {
    const auto ticket = sinks_.add(std::make_unique<ReliableSink>(std::move(sink)), this);
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
    return ticket;
}

void Lane::end(const Ticket& ticket) {
    ticket.end();
    if (!sinks_.empty()) return;
    interrupt();
    // The server hands nothing to this process any more, which would keep it from others.
    if (const Connection connection = station_.connection())
        natsConnection_FlushTimeout(connection.get(), flushMilliseconds);
}

void Lane::connectionChanged() {
    interrupt();
    const std::lock_guard lock(mutex_);
    woken_ = true;
    changed_.notify_all();
}

void Lane::stillBusy() {
    const std::lock_guard lock(mutex_);
    if (inHand_ != nullptr) natsMsg_InProgress(inHand_, nullptr);
}

void Lane::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    interrupt();
    if (thread_.joinable()) thread_.join();
    subscription_.reset();
    jetStream_.reset();
}

void Lane::interrupt() {
    const std::lock_guard lock(mutex_);
    if (subscription_) natsSubscription_Unsubscribe(subscription_.get());
}

void Lane::run() {
    while (waitUntilWanted()) {
        try {
            if (open())
                fetch();
            else
                pause();
        } catch (const std::bad_alloc&) {
            pause();
        }
    }
}

bool Lane::waitUntilWanted() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !sinks_.empty(); });
    return !stopped_;
}

bool Lane::open() {
    auto jetStream = stream_();
    if (!jetStream) return false;
    if (subscription_ && natsSubscription_IsValid(subscription_.get()) && jetStream == jetStream_) return true;
    std::string error;
    auto made = jetStream->consume(consumer_, error);
    if (!made) {
        if (station_.connected()) cannot(error);
        return false;
    }
    jetStream_ = std::move(jetStream);
    failures_ = 0;
    const std::lock_guard lock(mutex_);
    std::swap(subscription_, made);
    return true;
}

// The first time, it may be another process that makes what is missing.
void Lane::cannot(const std::string& error) {
    if (failures_ == 1)
        logError("no reliable messages " + idText(id_) + " come: consumer " + consumer_.name + ": " + error +
                 "; it goes on trying");
}

void Lane::pause() {
    failures_ = std::min(failures_ + 1, mostDoublings);
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, delayAfter(static_cast<std::uint64_t>(failures_)), [this] { return stopped_ || woken_; });
    woken_ = false;
}

void Lane::fetch() {
    natsMsgList list{};
    const std::unique_ptr<natsMsgList, void (*)(natsMsgList*)> owner(&list, &natsMsgList_Destroy);
    jsErrCode code{};
    const natsStatus status = natsSubscription_Fetch(&list, subscription_.get(), 1, fetchMilliseconds, &code);
    if (status == NATS_OK && list.Count == 1) take(list.Msgs[0]);
    if (status == NATS_OK || (status == NATS_TIMEOUT && !jetStream_->lacks(consumer_.name))) return;
    interrupt();  // whatever it is, the consumer is looked at again
    if (status != NATS_INVALID_SUBSCRIPTION && status != NATS_TIMEOUT) pause();
}

void Lane::take(natsMsg* message) {
    const auto refuse = [&](const std::string& what) {
        station_.complain(subject_, what);
        natsMsg_Term(message, nullptr);
    };
    const std::string identifier(headerOf(message, identifierHeader));
    const std::string_view sender = headerOf(message, senderHeader);
    const std::string_view whole = headerOf(message, wholeHeader);
    const auto address = readAddress(sender);
    const auto pieces = readWhole(whole);
    if (!isIdentifier(identifier)) return refuse("identifier \"" + shortened(identifier) + "\"");
    if (!address) return refuse("sender \"" + shortened(sender) + "\"; expected TYPE.HANDLE");
    if (!whole.empty() && !pieces) return refuse("pieces \"" + shortened(whole) + "\"; expected COUNT OCTETS");
    tellOfLag(handoutOf(message).waiting);
    setInHand(message);
    auto record = pieces ? assemble(identifier, *pieces) : Payload(octetsOf(message));
    const bool done = record && handOver({identifier, id_, *address, std::move(*record)});
    setInHand(nullptr);
    if (!record && isHopeless(identifier)) return refuse("not all of its pieces are there");
    if (done)
        natsMsg_Ack(message, nullptr);
    else
        tryAgain(message);
}

void Lane::tellOfLag(std::uint64_t waiting) {
    const std::string text =
        std::to_string(waiting) + " reliable messages " + idText(id_) + " wait for consumer " + consumer_.name;
    if (!behind_ && waiting > manyWait) {
        behind_ = true;
        logError(text);
    } else if (behind_ && waiting < fewWait) {
        behind_ = false;
        logInfo(text + ", no more");
    }
}

std::optional<Payload> Lane::assemble(const std::string& identifier, const Whole& whole) {
    std::string octets;
    for (std::uint32_t index = 0; index < whole.count; ++index) {
        bool missing = false;
        const Message piece = jetStream_->find(station_.subjects().reliablePiece(id_, identifier, index), missing);
        if (missing) isIncomplete(identifier);
        if (!piece || octets.size() + octetsOf(piece.get()).size() > whole.octets) return std::nullopt;
        octets.append(octetsOf(piece.get()));
    }
    if (octets.size() != whole.octets) return std::nullopt;
    return Payload(octets);
}

void Lane::setInHand(natsMsg* message) {
    const std::lock_guard lock(mutex_);
    inHand_ = message;
}

void Lane::isIncomplete(const std::string& identifier) {
    if (std::exchange(incomplete_, identifier) != identifier) looks_ = 0;
    ++looks_;
}

bool Lane::isHopeless(const std::string& identifier) const {
    return incomplete_ == identifier && looks_ >= mostLooks;
}

bool Lane::handOver(const ReliableMessage& message) {
    std::size_t called = 0;
    std::size_t done = 0;
    sinks_.each([&](const ReliableSink& sink, const auto&) {
        ++called;
        if (sink(message)) ++done;
    });
    return called != 0 && called == done;
}

void Lane::tryAgain(natsMsg* message) const {
    // Where nobody takes it here any more, another process may at once.
    const auto delay = sinks_.empty() ? std::chrono::milliseconds(1) : delayAfter(handoutOf(message).tries);
    natsMsg_NakWithDelay(message, delay.count(), nullptr);
}

}  // namespace frame::nats
