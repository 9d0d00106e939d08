#include "numbers.h"

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "failure.h"

namespace necctl {
namespace {

template <class Number>
std::optional<Number> read(std::string_view text, int base) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stopped != end) return std::nullopt;
    return number;
}

[[noreturn]] void refuse(const std::string& text, const std::string& what, const std::string& expected) {
    throw Failure(wrongUsage, what + ": \"" + text + "\"; expected " + expected);
}

}  // namespace

std::uint32_t numberIn(const std::string& text, const std::string& what) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const auto number = read<std::uint32_t>(std::string_view(text).substr(hex ? 2 : 0), hex ? 16 : 10);
    if (!number)
        refuse(text, what,
               "a number from 0 to " + std::to_string(std::numeric_limits<std::uint32_t>::max()) +
                   ", decimal or hexadecimal as in 0x217006");
    return *number;
}

CProcID addressIn(const std::string& text, const std::string& what) {
    const std::size_t colon = text.find(':');
    const auto type = read<std::uint16_t>(std::string_view(text).substr(0, colon), 10);
    const auto handle =
        colon == std::string::npos ? std::nullopt : read<std::uint16_t>(std::string_view(text).substr(colon + 1), 10);
    if (!type || *type == 0 || !handle) refuse(text, what, "TYPE:HANDLE, a type from 1 and a handle from 0 to 65535");
    return {*type, *handle};
}

}  // namespace necctl
