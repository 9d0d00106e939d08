#include "localip/address.h"

#include <arpa/inet.h>

#include <array>
#include <bit>
#include <cstring>

namespace NEC {

namespace {

static_assert(std::endian::native == std::endian::little);

constexpr std::uint32_t eachOctet = 0x01010101;

// The characters at `text` and behind it, the first one in the lowest octet; of a digit its value.
std::uint32_t four(const char* text) {
    std::uint32_t characters = 0;
    std::memcpy(&characters, text, sizeof characters);
    return characters ^ '0' * eachOctet;
}

// The numbers of one length that are plain: 0 to 255 in decimal, without leading zeros, which would make them octal. A
// number stands here as its digits, each in an octet, the last one lowest.
struct Plain {
    std::uint32_t first;
    std::uint32_t others;  // so far they reach behind it
};
constexpr std::array<Plain, 4> plainNumbers{
    {{0xFFFFFF, 0}, {0x000000, 0x000009}, {0x000100, 0x000909 - 0x000100}, {0x010000, 0x020505 - 0x010000}}};

// Puts the number that `characters` begin with behind those in `address`, and adds its length to `place`. False unless
// it is plain and `end` stands behind it.
//
// Without branches on the number of digits, which in a table of addresses is as good as random.
bool takeNumber(std::uint32_t characters, char end, std::uint32_t& address, std::size_t& place) {
    // The highest bit of each octet that is above 9; octets behind the first such one do not matter.
    const std::uint32_t others = ((characters + 0x76 * eachOctet) | characters) & 0x80 * eachOctet;
    const auto endsAt = static_cast<unsigned>(std::countr_zero(others | 1U << 31U));
    const unsigned length = endsAt / 8;
    place += length;
    // What ends the number in the highest octet, below it the digits, the last one highest.
    const std::uint32_t number = characters << (31 - endsAt);
    // Each digit times what it counts, summed up in the third octet.
    address = address << 8U | (number * 0x640A01U >> 16U & 0xFFU);
    const std::uint32_t endAndDigits = std::rotr(__builtin_bswap32(number), 8);
    const std::uint32_t wanted = static_cast<std::uint32_t>(end ^ '0') << 24U;
    return endAndDigits - wanted - plainNumbers[length].first <= plainNumbers[length].others;
}

// Whether `text` is a dotted quad of plain numbers, whose value is then in `address`.
bool readPlainQuad(const std::string& text, std::uint32_t& address) {
    constexpr std::size_t mostDigits = 3;
    std::size_t place = 0;
    for (int numbers = 0; numbers < 3; ++numbers) {
        if (place + mostDigits > text.size()) return false;  // so that four characters, the null included, are there
        if (!takeNumber(four(text.data() + place), '.', address, place)) return false;
        ++place;
    }
    const std::size_t left = text.size() - place;
    if (left - 1 >= mostDigits) return false;
    const std::uint32_t characters = four(text.data() + text.size() - mostDigits) >> 8 * (mostDigits - left);
    return takeNumber(characters, '\0', address, place) && place == text.size();
}

}  // namespace

std::uint32_t hostOrderAddress(const std::string& text) {
    std::uint32_t address = 0;
    return readPlainQuad(text, address) ? address : ntohl(inet_addr(text.c_str()));
}

}  // namespace NEC
