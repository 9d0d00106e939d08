// Counting brackets and dots outside strings and comments. Text that is no TOML is of no concern here: up to the first
// error, which ends the parser, both see the same strings.
#include "config/nesting.h"

#include <algorithm>

namespace frame {
namespace {

class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    std::size_t firstLineTooDeep() {
        while (at_ < text_.size()) {
            step();
            if (depth_ > mostNesting || dots_ > mostNesting) return lineHere();
        }
        return 0;
    }

private:
    void step() {
        const char c = text_[at_];
        if (c == '"' || c == '\'') return skipString(c);
        if (c == '#') return skipTo(text_.find('\n', at_));
        ++at_;
        if (c == '[' || c == '{') ++depth_;
        if ((c == ']' || c == '}') && depth_ > 0) --depth_;
        if (c == '.') ++dots_;
        if (c == '\n' || c == ',' || c == '=') dots_ = 0;
    }

    void skipTo(std::size_t end) { at_ = std::min(end, text_.size()); }

    void skipString(char quote) {
        const bool multiline = opens(quote, 3);
        at_ += multiline ? 3 : 1;
        while (at_ < text_.size()) {
            if (text_[at_] == '\\' && quote == '"') {
                ++at_;
            } else if (multiline ? opens(quote, 3) : text_[at_] == quote) {
                return closeString(quote, multiline);
            } else if (!multiline && text_[at_] == '\n') {
                return;
            }
            ++at_;
        }
        at_ = text_.size();
    }

    // One or two quotes may stand right before the three that end a string of several lines.
    void closeString(char quote, bool multiline) {
        at_ += multiline ? 3 : 1;
        for (int i = 0; multiline && i < 2 && opens(quote, 1); ++i) ++at_;
    }

    bool opens(char quote, std::size_t times) const {
        return text_.substr(std::min(at_, text_.size()), times) ==
               std::string_view("\"\"\"'''").substr(quote == '"' ? 0 : 3, times);
    }

    std::size_t lineHere() const {
        return 1 + static_cast<std::size_t>(
                       std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_), '\n'));
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
    std::size_t dots_ = 0;
};

}  // namespace

std::size_t lineNestedTooDeep(std::string_view text) {
    return Scanner(text).firstLineTooDeep();
}

}  // namespace frame
