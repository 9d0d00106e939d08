#include "bus/nats/live_pieces.h"

#include <utility>

#include "bus/nats/message.h"

namespace frame::nats {

void LivePieces::put(Message piece) {
    const std::lock_guard lock(mutex_);
    const std::size_t octets = octetsOf(piece.get()).size();
    if (octets > limits_.octets) return;
    std::string subject = natsMsg_GetSubject(piece.get());
    if (const auto repeated = pieces_.find(subject); repeated != pieces_.end()) remove(repeated);
    while (octets_ + octets > limits_.octets || pieces_.size() >= limits_.messages) remove(order_.begin()->second);
    octets_ += octets;
    const auto held = pieces_.emplace(std::move(subject), Held{std::move(piece), next_}).first;
    order_.emplace(next_++, held);
}

Message LivePieces::take(const std::string& subject) {
    const std::lock_guard lock(mutex_);
    const auto found = pieces_.find(subject);
    return found == pieces_.end() ? nullptr : remove(found);
}

Message LivePieces::remove(Pieces::iterator piece) {
    Message message = std::move(piece->second.piece);
    octets_ -= octetsOf(message.get()).size();
    order_.erase(piece->second.number);
    pieces_.erase(piece);
    return message;
}

void LivePieces::clear() {
    const std::lock_guard lock(mutex_);
    while (!pieces_.empty()) remove(pieces_.begin());
}

std::size_t LivePieces::octets() const {
    const std::lock_guard lock(mutex_);
    return octets_;
}

}  // namespace frame::nats
