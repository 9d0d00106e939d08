// The coders in their plain form, field by field on whole texts.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>

namespace plain {

inline void append(std::string& text, const std::string& field) {
    if (!text.empty()) text += ',';
    text += field;
}

inline std::string takeText(std::string& text) {
    const std::size_t comma = text.find(',');
    const std::string field = text.substr(0, comma);
    text.erase(0, comma == std::string::npos ? comma : comma + 1);
    return field;
}

inline int takeNumber(std::string& text) {
    return static_cast<int>(std::strtol(takeText(text).c_str(), nullptr, 10));
}

inline int count(const std::string& text) {
    return text.empty() ? 0 : static_cast<int>(std::count(text.begin(), text.end(), ',')) + 1;
}

}  // namespace plain
