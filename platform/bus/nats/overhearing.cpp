#include "bus/nats/overhearing.h"

#include <new>
#include <utility>

#include "bus/nats/logging.h"
#include "bus/nats/message.h"
#include "bus/nats/store_answers.h"
#include "bus/nats/streams.h"
#include "bus/running.h"
#include "bus/thrown.h"

namespace frame::nats {

namespace {

// Pieces of messages that are not whole yet.
constexpr std::size_t mostUnfinishedOctets = 2 * mostRequestOctets;
// How long the server may take to give a piece.
constexpr std::chrono::milliseconds fetchPatience{2000};

std::string subjectsOf(const Subjects& subjects, Overheard::Kind kind) {
    switch (kind) {
        case Overheard::Kind::event:
            return subjects.events();
        case Overheard::Kind::reliable:
            return subjects.reliables();
        case Overheard::Kind::command:
            return subjects.commands();
        case Overheard::Kind::broadcast:
            return subjects.announcements();
    }
    return {};
}

// Whether its record stands in a stream.
bool isElsewhere(const Heard& heard) {
    return heard.announced || heard.whole;
}

}  // namespace

Overhearing::Overhearing(Station& station, const BroadcastStore& broadcasts, std::string reliables,
                         OverhearOptions options, OverhearSink sink)
    : station_(station),
      broadcasts_(broadcasts),
      reliables_(std::move(reliables)),
      options_(std::move(options)),
      sink_(std::move(sink)),
      pieces_(mostUnfinishedOctets),
      noLive_(station.limits()),
      exchange_(station, off_) {}

void Overhearing::start(const std::shared_ptr<Overhearing>& self) {
    for (const Kind kind : options_.kinds)
        keys_.push_back(station_.listenRaw(
            subjectsOf(station_.subjects(), kind),
            [self, kind, room = station_.room()](const Message& message) { self->take(kind, room, message.get()); }));
}

void Overhearing::take(Kind kind, const std::shared_ptr<Room>& room, natsMsg* message) {
    auto heard = hear(kind, message, station_.subjects(), pieces_);
    if (!heard) return;
    auto place = station_.admit(room, heard->message.subject, heard->message.record.size());
    if (!place) return;
    auto& executor = isElsewhere(*heard) ? fetcher_ : caller_;
    executor.push({*this, std::move(*place), std::move(*heard)});
}

void Overhearing::handOver(Heard& heard) {
    if (isElsewhere(heard)) fetch(heard);
    call(heard.message);
}

void Overhearing::fetch(Heard& heard) {
    Overheard& message = heard.message;
    auto fetched = fetchRecord(heard);
    if (fetched.record)
        message.record = std::move(*fetched.record);
    else
        message.fault = "its record is not fetched: " + (fetched.error.empty() ? "it was broken off" : fetched.error);
}

BroadcastStore::Fetched Overhearing::fetchRecord(const Heard& heard) try {
    if (heard.message.octets > options_.largest)
        return {{}, "it has more than " + std::to_string(options_.largest) + " octets"};
    if (heard.announced) return broadcasts_.fetch(exchange_, noLive_, heard.message.target, *heard.announced);
    return fetchReliable(heard.message, *heard.whole);
} catch (const std::bad_alloc&) {
    return {{}, "out of memory"};
}

BroadcastStore::Fetched Overhearing::fetchReliable(const Overheard& message, const Whole& whole) {
    std::string octets;
    for (std::uint32_t index = 0; index < whole.count; ++index) {
        const std::string piece = station_.subjects().reliablePiece(*message.id, message.identifier, index);
        const auto question = exchange_.ask("$JS.API.DIRECT.GET." + reliables_ + '.' + piece, {});
        const Message answer = exchange_.await(*question, fetchPatience);
        const std::string missing = "piece " + std::to_string(index) + " of " + std::to_string(whole.count);
        if (!answer || !statusOf(answer.get()).empty()) return {{}, missing + " is not to be had"};
        octets += octetsOf(answer.get());
        if (octets.size() > whole.octets) return {{}, "its pieces are too large"};
    }
    if (octets.size() != whole.octets) return {{}, "its pieces are too small"};
    return {Payload(octets), {}};
}

void Overhearing::call(const Overheard& message) {
    const std::lock_guard lock(calling_);
    if (silent_) return;
    const Running running(this);
    try {
        sink_(message);
    } catch (...) {
        logError("a message on " + shortened(message.subject) + ": who listens to all threw " + thrownText());
    }
}

void Overhearing::end() {
    for (const auto key : keys_) station_.ignore(key);
    off_ = true;
    exchange_.stop();
    if (Running::depth(this) != 0) {
        silent_ = true;
        return;
    }
    const std::lock_guard lock(ending_);
    fetcher_.stop();
    caller_.stop();
}

Overhearings::Overhearings(Station& station, const BroadcastStore& broadcasts, const std::string& system)
    : station_(station), broadcasts_(broadcasts), reliables_(reliableStream(system).name) {}

std::shared_ptr<Overhearing> Overhearings::add(const OverhearOptions& options, OverhearSink sink) {
    auto hearing = std::make_shared<Overhearing>(station_, broadcasts_, reliables_, options, std::move(sink));
    {
        const std::lock_guard lock(mutex_);
        hearings_.push_back(hearing);
    }
    hearing->start(hearing);
    return hearing;
}

void Overhearings::end(const std::shared_ptr<Overhearing>& hearing) {
    hearing->end();
    if (Running::depth(hearing.get()) != 0) return;
    const std::lock_guard lock(mutex_);
    std::erase(hearings_, hearing);
}

void Overhearings::stop() {
    std::vector<std::shared_ptr<Overhearing>> hearings;
    {
        const std::lock_guard lock(mutex_);
        hearings = hearings_;
    }
    for (const auto& hearing : hearings) hearing->end();
}

}  // namespace frame::nats
