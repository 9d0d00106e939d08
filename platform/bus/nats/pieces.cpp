#include "bus/nats/pieces.h"

#include <algorithm>

namespace frame::nats {

namespace {

// How long a message may wait for its next piece.
constexpr std::chrono::seconds patience{30};
// How many messages may be under way at once: each is looked for among all.
constexpr std::size_t mostParts = 1000;

bool follows(const Piece& next, const Piece& last) {
    return next.index == last.index + 1 && next.count == last.count && next.octets == last.octets;
}

}  // namespace

Pieces::Parts::iterator Pieces::find(const std::string& way, const CProcID& sender, std::uint64_t message) {
    return std::find_if(parts_.begin(), parts_.end(), [&](const Part& part) {
        return part.last.message == message && part.sender == sender && part.way == way;
    });
}

Pieces::Taken Pieces::take(const std::string& way, const CProcID& sender, const Piece& piece, std::string_view octets,
                           Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    makeRoom(octets.size(), now);
    const auto part = find(way, sender, piece.message);
    if (part == parts_.end()) return begin(way, sender, piece, octets, now);
    return add(part, piece, octets, now);
}

Pieces::Taken Pieces::begin(const std::string& way, const CProcID& sender, const Piece& piece, std::string_view octets,
                            Clock::time_point now) {
    if (piece.index != 0) return {{}, "a piece of a message whose beginning is not here"};
    if (octets.empty() || octets.size() >= piece.octets)
        return {{}, "a first piece of " + std::to_string(octets.size()) + " octets"};
    if (parts_.size() == mostParts) drop(parts_.begin());
    parts_.push_back({way, sender, piece, std::string(octets), now});
    octets_ += octets.size();
    return {};
}

Pieces::Taken Pieces::add(Parts::iterator part, const Piece& piece, std::string_view octets, Clock::time_point now) {
    const bool last = piece.index + 1 == piece.count;
    const std::size_t together = part->octets.size() + octets.size();
    if (!follows(piece, part->last) || (last ? together != piece.octets : together >= piece.octets)) {
        drop(part);
        return {{}, "a piece that does not follow the one before"};
    }
    part->octets += octets;
    octets_ += octets.size();
    part->last = piece;
    part->since = now;
    parts_.splice(parts_.end(), parts_, part);
    if (!last) return {};
    Taken taken{Payload(part->octets), {}};
    drop(part);
    return taken;
}

void Pieces::drop(Parts::iterator part) {
    octets_ -= part->octets.size();
    parts_.erase(part);
}

void Pieces::makeRoom(std::size_t octets, Clock::time_point now) {
    while (!parts_.empty() && (octets_ + octets > most_ || now - parts_.front().since > patience)) drop(parts_.begin());
}

std::size_t Pieces::octets() const {
    const std::lock_guard lock(mutex_);
    return octets_;
}

}  // namespace frame::nats
