#include "hex.h"

#include <algorithm>

#include "failure.h"

namespace necctl {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

[[noreturn]] void refuse(std::size_t offset, const std::string& what) {
    throw Failure(wrongData, "at offset " + std::to_string(offset) + ": " + what);
}

}  // namespace

std::string hexOf(std::string_view octets) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        text += digits[value >> 4U];
        text += digits[value & 0xFU];
    }
    return text;
}

std::string octetsFromHex(std::string_view text) {
    std::string octets;
    int high = -1;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isBlank(text[at])) continue;
        const int digit = digitValue(text[at]);
        if (digit < 0) refuse(at, "no hexadecimal digit");
        if (high >= 0) octets += static_cast<char>(high * 16 + digit);
        high = high >= 0 ? -1 : digit;
    }
    if (high >= 0) refuse(text.size(), "an odd number of hexadecimal digits");
    return octets;
}

bool isText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return isBlank(c) || (c > ' ' && c < 0x7F); });
}

}  // namespace necctl
