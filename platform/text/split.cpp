// Taking text apart.
#include "platform/text.h"

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    if (separator.empty()) return {text};
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator, begin)) {
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}
