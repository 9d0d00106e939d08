#include "bus/nats/broadcast_store.h"

#include <algorithm>
#include <deque>
#include <random>
#include <utility>

#include "bus/nats/hash.h"
#include "bus/nats/message.h"
#include "bus/nats/store_answers.h"

namespace frame::nats {

namespace {

using std::chrono::milliseconds;

// How many pieces are under way at once.
constexpr std::size_t window = 8;
// What a stream stores besides, for each piece.
constexpr std::size_t overhead = 256;

// How long the server may take to give a piece back, before it is asked again,
constexpr milliseconds fetchPatience{2000};
constexpr milliseconds fetchPause{50};
// for how long it is asked again while it does not answer: it may be starting,
constexpr std::chrono::seconds outage{15};
// and how often when it has no such piece: one server of several may get it a little later.
constexpr int mostMissing = 10;

// What the server answers when nobody there answers, as while it is starting.
constexpr const char* noAnswer = "503";

// Where the numbers of a process's messages begin: they are others than those of all other processes.
std::uint64_t firstMessage() {
    std::random_device random;
    return std::uint64_t{random()} << 32U | random();
}

}  // namespace

BroadcastStore::BroadcastStore(Station& station, const std::string& system)
    : station_(station), stream_(system), nextMessage_(firstMessage()) {}

BroadcastStore::Stored BroadcastStore::put(Exchange& exchange, std::uint16_t target, std::string_view record) {
    const Connection connection = station_.connection();
    if (!connection) return {{}, "there is no connection"};
    const std::size_t most = Station::pieceOctets(connection.get());
    Announcement announcement{nextMessage_++,
                              static_cast<std::uint32_t>((record.size() + most - 1) / most),
                              static_cast<std::uint32_t>(record.size()),
                              {}};
    const std::size_t needed = record.size() + (announcement.count * overhead);
    BroadcastStream::State state = stream_.look(exchange, needed);
    if (!state.error.empty()) return {{}, state.error};
    state = send(exchange, target, announcement, record);
    if (!state.error.empty()) return {{}, state.error};
    const BroadcastStream::State after = stream_.look(exchange, needed);
    if (!after.error.empty()) return {{}, after.error};
    if (after.sequence > state.sequence) return {{}, "the stream is too small for all that is sent at once"};
    return {std::move(announcement), {}};
}

BroadcastStream::State BroadcastStore::send(Exchange& exchange, std::uint16_t target, Announcement& announcement,
                                            std::string_view record) const {
    std::deque<std::unique_ptr<Exchange::Question>> waiting;
    std::optional<std::uint64_t> first;
    Hash hash;
    for (std::uint32_t index = 0; index < announcement.count || !waiting.empty();) {
        if (index < announcement.count && waiting.size() < window) {
            const std::string_view piece = record.substr(0, announcement.octetsOf(index));
            waiting.push_back(exchange.ask(station_.subjects().piece(target, announcement.message, index++), piece));
            hash.add(piece);
            record.remove_prefix(piece.size());
            continue;
        }
        BroadcastStream::State stored = stream_.acknowledged(exchange, *waiting.front());
        if (!stored.error.empty()) return stored;
        first = std::min(stored.sequence, first.value_or(stored.sequence));
        waiting.pop_front();
    }
    announcement.hash = hash.text();
    return {*first, {}};
}

// One record on its way from the stream.
class BroadcastStore::Fetching {
public:
    Fetching(const BroadcastStore& store, Exchange& exchange, LivePieces& live, std::uint16_t target,
             const Announcement& announcement)
        : store_(store), exchange_(exchange), live_(live), target_(target), announcement_(announcement) {}

    Fetched all() {
        // Memory for all of it once it is known that there is something.
        std::optional<PayloadWriter> record;
        Hash hash;
        for (std::uint32_t index = 0; index < announcement_.count; ++index) {
            askAhead();
            const Message piece = next(index);
            if (!piece) return {{}, error_, asked_};
            const std::string_view octets = octetsOf(piece.get());
            if (octets.size() != announcement_.octetsOf(index)) return {{}, "a piece has another size", asked_};
            if (!record) record.emplace(announcement_.octets);
            record->append(octets);
            hash.add(octets);
        }
        if (hash.text() != announcement_.hash) return {{}, "its octets are not those that were announced", asked_};
        return {record->finish(), {}, asked_};
    }

private:
    using Clock = Exchange::Clock;

    // A piece that is here, or the question for it.
    struct Coming {
        Message piece;
        std::unique_ptr<Exchange::Question> question;
    };

    std::string subject(std::uint32_t index) const {
        return store_.station_.subjects().piece(target_, announcement_.message, index);
    }
    std::unique_ptr<Exchange::Question> ask(std::uint32_t index) {
        return exchange_.ask(store_.stream_.getting(subject(index)), {});
    }

    void askAhead() {
        for (; ahead_ < announcement_.count && coming_.size() < window; ++ahead_) {
            Message piece = live_.take(subject(ahead_));
            auto question = piece ? nullptr : ask(ahead_);
            coming_.push_back({std::move(piece), std::move(question)});
        }
    }

    // The piece that was asked for first; or null, and the error.
    Message next(std::uint32_t index) {
        Coming first = std::move(coming_.front());
        coming_.pop_front();
        if (first.piece) return std::move(first.piece);
        asked_ += announcement_.octetsOf(index);
        return await(std::move(first.question), index);
    }

    Message await(std::unique_ptr<Exchange::Question> question, std::uint32_t index) {
        const auto deadline = Clock::now() + outage;
        for (int missing = 0; missing < mostMissing && Clock::now() < deadline; question = ask(index)) {
            Message answer = exchange_.await(*question, fetchPatience);
            const std::string status = answer ? statusOf(answer.get()) : noAnswer;
            if (status.empty()) return answer;
            if (status != noAnswer) ++missing;
            if (!exchange_.pause(fetchPause)) return nullptr;
        }
        error_ = "piece " + std::to_string(index) + " of " + std::to_string(announcement_.count) + " is not to be had";
        return nullptr;
    }

    const BroadcastStore& store_;
    Exchange& exchange_;
    LivePieces& live_;
    const std::uint16_t target_;
    const Announcement& announcement_;
    std::uint32_t ahead_ = 0;
    std::size_t asked_ = 0;
    std::deque<Coming> coming_;
    std::string error_;
};

BroadcastStore::Fetched BroadcastStore::fetch(Exchange& exchange, LivePieces& live, std::uint16_t target,
                                              const Announcement& announcement) const {
    return Fetching(*this, exchange, live, target, announcement).all();
}

}  // namespace frame::nats
