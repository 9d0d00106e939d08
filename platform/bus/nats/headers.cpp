#include "bus/nats/headers.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "bus/nats/hash.h"

namespace frame::nats {

namespace {

// A number that is all of `text`, without sign or leading zeros.
template <class Number>
std::optional<Number> readNumber(std::string_view text, int base = 10) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    const bool padded = text.size() > 1 && text.front() == '0';
    if (error != std::errc() || stop != end || padded) return std::nullopt;
    return number;
}

// Takes what comes before the first `separator` off `text`: all of it when there is none.
std::string_view cut(std::string_view& text, char separator) {
    const std::string_view head = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(head.size() + 1, text.size()));
    return head;
}

bool canBe(const Piece& piece) {
    return piece.count > 1 && piece.index < piece.count && piece.count <= piece.octets &&
           piece.octets <= mostRequestOctets;
}

// No server is set up for messages so small that a record takes more pieces.
constexpr std::uint32_t mostPieces = 1U << 19U;

bool canBe(const Announcement& announcement) {
    if (announcement.count < 2 || announcement.count > std::min(announcement.octets, mostPieces)) return false;
    // With all pieces but the last of that size, the last is not empty.
    return announcement.octets <= mostBroadcastOctets &&
           (announcement.octets - 1) / announcement.pieceOctets() + 1 == announcement.count;
}

bool isHash(std::string_view text) {
    return text.size() == Hash::digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

std::optional<std::uint16_t> readPart(std::string_view text) {
    return readNumber<std::uint16_t>(text);
}

std::optional<CProcID> readAddress(std::string_view text) {
    const auto type = readNumber<std::uint16_t>(cut(text, '.'));
    const auto handle = readNumber<std::uint16_t>(text);
    if (!type || !handle || *type == 0 || *handle == 0) return std::nullopt;
    return CProcID{*type, *handle};
}

std::optional<unsigned long> readId(std::string_view text) {
    if (!text.starts_with("0x")) return std::nullopt;
    return readNumber<unsigned long>(text.substr(2), 16);
}

std::optional<std::chrono::milliseconds> readDeadline(std::string_view text) {
    const auto milliseconds = readNumber<std::uint32_t>(text);
    if (!milliseconds) return std::nullopt;
    return std::chrono::milliseconds(*milliseconds);
}

std::optional<Piece> readPiece(std::string_view text) {
    const auto message = readNumber<std::uint64_t>(cut(text, ' '), 16);
    const auto index = readNumber<std::uint32_t>(cut(text, ' '));
    const auto count = readNumber<std::uint32_t>(cut(text, ' '));
    const auto octets = readNumber<std::uint32_t>(text);
    if (!message || !index || !count || !octets) return std::nullopt;
    const Piece piece{*message, *index, *count, *octets};
    return canBe(piece) ? std::optional(piece) : std::nullopt;
}

std::optional<Announcement> readAnnouncement(std::string_view text) {
    const auto message = readNumber<std::uint64_t>(cut(text, ' '), 16);
    const auto count = readNumber<std::uint32_t>(cut(text, ' '));
    const auto octets = readNumber<std::uint32_t>(cut(text, ' '));
    if (!message || !count || !octets || !isHash(text)) return std::nullopt;
    Announcement announcement{*message, *count, *octets, std::string(text)};
    return canBe(announcement) ? std::optional(std::move(announcement)) : std::nullopt;
}

std::optional<Whole> readWhole(std::string_view text) {
    const auto count = readNumber<std::uint32_t>(cut(text, ' '));
    const auto octets = readNumber<std::uint32_t>(text);
    if (!count || !octets || *count == 0 || *count > *octets || *octets > mostRequestOctets) return std::nullopt;
    return Whole{*count, *octets};
}

bool isIdentifier(std::string_view text) {
    constexpr std::size_t most = 200;
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.';
    };
    if (text.empty() || text.size() > most || text.front() == '.' || text.back() == '.') return false;
    return text.find("..") == std::string_view::npos && std::all_of(text.begin(), text.end(), allowed);
}

std::string writeAddress(const CProcID& address) {
    return std::to_string(address.procType) + '.' + std::to_string(address.procHandle);
}

std::string writePiece(const Piece& piece) {
    char text[64];
    std::snprintf(text, sizeof text, "%llx %u %u %u", static_cast<unsigned long long>(piece.message), piece.index,
                  piece.count, piece.octets);
    return text;
}

std::string writeAnnouncement(const Announcement& announcement) {
    char text[128];
    std::snprintf(text, sizeof text, "%llx %u %u %s", static_cast<unsigned long long>(announcement.message),
                  announcement.count, announcement.octets, announcement.hash.c_str());
    return text;
}

std::string writeWhole(const Whole& whole) {
    return std::to_string(whole.count) + ' ' + std::to_string(whole.octets);
}

}  // namespace frame::nats
