#include "text/read.h"

namespace frame {

std::optional<std::string> readUpTo(std::FILE* stream, std::size_t most) {
    constexpr std::size_t step = std::size_t{64} << 10U;
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t before = text.size();
        text.resize(before + step);
        got = std::fread(text.data() + before, 1, step, stream);
        text.resize(before + got);
    } while (got != 0 && text.size() <= most);
    if (std::ferror(stream) != 0) return std::nullopt;
    return text;
}

}  // namespace frame
