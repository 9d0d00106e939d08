// What anybody can write into the headers and pieces of bus messages: each line of the input is one header's text, or
// what a process tells of its state, and as a piece it has the line after it for octets.
#include <cstdint>
#include <string>
#include <string_view>

#include "bus/nats/pieces.h"
#include "bus/nats/process_status.h"
#include "bus/nats/subjects.h"
#include "require.h"

namespace {

namespace nats = frame::nats;

std::string_view cutLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

void readAsAnnouncement(std::string_view line) {
    const auto announcement = nats::readAnnouncement(line);
    if (!announcement) return;
    const std::string written = nats::writeAnnouncement(*announcement);
    const auto again = nats::readAnnouncement(written);
    require(again && nats::writeAnnouncement(*again) == written, "an announcement changes each time");
    require(announcement->octets <= frame::mostBroadcastOctets, "the record is too large");
    require(announcement->count > 1 && announcement->count <= announcement->octets, "there are too many pieces");
    const std::uint32_t last = announcement->octetsOf(announcement->count - 1);
    require(last > 0 && last <= announcement->pieceOctets(), "the last piece cannot be");
    const std::uint64_t before = std::uint64_t{announcement->pieceOctets()} * (announcement->count - 1);
    require(before + last == announcement->octets, "the pieces are not the record");
}

void readAsStatus(std::string_view line) {
    const auto status = nats::readStatus(line);
    if (!status) return;
    const std::string written = nats::writeStatus(*status);
    require(written.size() <= nats::mostStatusOctets, "a state is written that is too long");
    const auto again = nats::readStatus(written);
    require(again.has_value(), "a state is written that is not read");
    require(again->address == status->address && again->more == status->more && again->bus.state == status->bus.state,
            "a state is written differently");
}

void readsWhatItWrites(std::string_view line) {
    if (const auto address = nats::readAddress(line))
        require(nats::writeAddress(*address) == line, "an address is read that is not written so");
    if (const auto id = nats::readId(line)) require(*id == 0 || line.size() > 2, "an identifier is read from nothing");
    if (const auto piece = nats::readPiece(line)) {
        require(piece->index < piece->count && piece->octets <= frame::mostRequestOctets, "a piece that cannot be");
        require(nats::readPiece(nats::writePiece(*piece)) == piece, "a piece is not read as it was written");
    }
    nats::readDeadline(line);
    readAsAnnouncement(line);
    readAsStatus(line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most = 64;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    nats::Pieces pieces(most);
    while (!input.empty()) {
        const std::string_view line = cutLine(input);
        readsWhatItWrites(line);
        const auto piece = nats::readPiece(line);
        if (!piece) continue;
        const std::string_view octets = cutLine(input).substr(0, most);
        const auto taken = pieces.take("subject", {3001, 7}, *piece, octets);
        require(pieces.octets() <= most, "more is held than may be");
        if (taken.whole)
            require(taken.error.empty() && taken.whole->size() == piece->octets, "a whole message is not whole");
    }
    return 0;
}
