// Escaping for log lines: one pass over UTF-8 that may be broken; runs of plain text at once, the rest character by
// character.
#include "log/escape.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace frame {
namespace {

struct Character {
    std::size_t octets = 0;  // 0: not UTF-8
    std::uint32_t point = 0;
};

std::uint32_t octet(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// How many octets the character has that begins with `lead`; 0 for an octet that begins none.
std::size_t lengthFrom(std::uint32_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 0;
}

// Whether `point` may be written in `octets` octets: neither shorter ones would do, nor is it a surrogate.
bool wellFormed(std::uint32_t point, std::size_t octets) {
    constexpr std::array<std::uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
    return point >= least[octets] && point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
}

Character characterAt(std::string_view text) {
    const std::uint32_t lead = octet(text, 0);
    const std::size_t octets = lengthFrom(lead);
    if (octets == 0 || octets > text.size()) return {};
    if (octets == 1) return {1, lead};
    std::uint32_t point = lead & (0x7FU >> octets);
    for (std::size_t i = 1; i < octets; ++i) {
        if ((octet(text, i) & 0xC0U) != 0x80) return {};
        point = point << 6U | (octet(text, i) & 0x3FU);
    }
    return wellFormed(point, octets) ? Character{octets, point} : Character{};
}

// Controls of ASCII and ISO 6429, and the two line ends that Unicode adds.
bool breaksLine(std::uint32_t point) {
    return point < 0x20 || (point >= 0x7F && point < 0xA0) || point == 0x2028 || point == 0x2029;
}

void appendHex(std::string& text, std::uint32_t value) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    text += "\\x";
    text += digits[value >> 4U];
    text += digits[value & 0xFU];
}

// What up to three octets are written as: short enough for a string's own room.
std::string escapeOf(std::string_view octets) {
    if (octets == "\n") return "\\n";
    if (octets == "\r") return "\\r";
    if (octets == "\t") return "\\t";
    std::string escape;
    for (std::size_t i = 0; i < octets.size(); ++i) appendHex(escape, octet(octets, i));
    return escape;
}

// How many octets at the beginning of `text` are printable ASCII, as nearly all that is logged. Eight are looked at at
// a time; of fewer at the end none is counted.
std::size_t plainOctets(std::string_view text) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t each = 0x0101010101010101;
    for (std::size_t plain = 0;; plain += sizeof each) {
        if (text.size() - plain < sizeof each) return plain;
        std::uint64_t octets = 0;
        std::memcpy(&octets, text.data() + plain, sizeof octets);
        // The highest bit of each octet: at least 0x80, below 0x20, 0x7F. Octets behind the first such one do not
        // count.
        const std::uint64_t others = (octets | ~(octets + 0x60 * each) | (octets + each)) & 0x80 * each;
        if (others != 0) return plain + static_cast<std::size_t>(std::countr_zero(others)) / 8;
    }
}

// Gives `take` what `text` is written as, piece by piece.
template <class Take>
void escape(std::string_view text, Take take) {
    for (;;) {
        const std::size_t plain = plainOctets(text);
        take(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) return;
        const Character character = characterAt(text);
        const std::size_t taken = character.octets == 0 ? 1 : character.octets;
        const std::string_view octets = text.substr(0, taken);
        if (character.octets == 0 || breaksLine(character.point)) {
            take(escapeOf(octets));
        } else {
            take(octets);
        }
        text.remove_prefix(taken);
    }
}

}  // namespace

void appendEscaped(std::string& line, std::string_view text) {
    std::size_t size = line.size();
    escape(text, [&size](std::string_view piece) { size += piece.size(); });
    line.reserve(size);  // at once: a line that grows by and by takes up to three times its memory
    escape(text, [&line](std::string_view piece) { line += piece; });
}

std::string quoted(std::string_view text) {
    constexpr std::size_t mostShown = 60;
    std::string result = "\"";
    appendEscaped(result, text.substr(0, mostShown));
    return result + (text.size() > mostShown ? "...\"" : "\"");
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t octets = characterAt(text).octets;
        if (octets == 0) return false;
        text.remove_prefix(octets);
    }
    return true;
}

bool hasControls(std::string_view text) {
    while (!text.empty()) {
        const Character character = characterAt(text);
        if (character.octets != 0 && breaksLine(character.point)) return true;
        text.remove_prefix(std::max<std::size_t>(character.octets, 1));
    }
    return false;
}

}  // namespace frame
