// Escaping for log lines: one pass, character by character, over UTF-8 that may be broken.
#include "log/escape.h"

#include <array>
#include <cstddef>
#include <cstdint>

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

void appendHex(std::string& line, std::uint32_t value) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    line += "\\x";
    line += digits[value >> 4U];
    line += digits[value & 0xFU];
}

void appendEscape(std::string& line, std::string_view octets) {
    if (octets == "\n") {
        line += "\\n";
    } else if (octets == "\r") {
        line += "\\r";
    } else if (octets == "\t") {
        line += "\\t";
    } else {
        for (std::size_t i = 0; i < octets.size(); ++i) appendHex(line, octet(octets, i));
    }
}

}  // namespace

void appendEscaped(std::string& line, std::string_view text) {
    while (!text.empty()) {
        const Character character = characterAt(text);
        const std::size_t taken = character.octets == 0 ? 1 : character.octets;
        const std::string_view octets = text.substr(0, taken);
        if (character.octets == 0 || breaksLine(character.point)) {
            appendEscape(line, octets);
        } else {
            line += octets;
        }
        text.remove_prefix(taken);
    }
}

}  // namespace frame
