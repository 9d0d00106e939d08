#include "time_text.h"

#include <array>
#include <ctime>

namespace necctl {

std::string timeText(std::int64_t unixMilliseconds) {
    const std::time_t seconds = unixMilliseconds / 1000;
    std::tm parts{};
    std::array<char, 32> text{};
    if (gmtime_r(&seconds, &parts) == nullptr) return std::to_string(unixMilliseconds);
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::string millis = std::to_string(1000 + unixMilliseconds % 1000);
    return text.data() + ("." + millis.substr(1)) + "Z";
}

}  // namespace necctl
