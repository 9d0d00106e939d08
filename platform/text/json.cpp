// JSON, read with jsoncpp.
#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <memory>

#include "platform/text.h"

namespace {

// As jsoncpp reads by default, but nothing may follow the value. (A default is the bound of 1,000 levels.)
Json::CharReaderBuilder makeBuilder() {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    return builder;
}

// The tree of values takes up to a hundred times the memory of its text, where that is nothing but short elements. No
// list of this system comes near this number of them.
constexpr std::ptrdiff_t mostCommas = 4'000'000;

// Whether `text` could be read. jsoncpp takes a NUL, which JSON has nowhere, for the end of the text, and says with an
// exception that there are too many levels.
bool read(Json::Value& root, const std::string& text) {
    static const Json::CharReaderBuilder builder = makeBuilder();
    if (text.find('\0') != std::string::npos || std::count(text.begin(), text.end(), ',') > mostCommas) return false;
    try {
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        return reader->parse(text.data(), text.data() + text.size(), &root, nullptr);
    } catch (const Json::Exception&) {
        return false;
    }
}

}  // namespace

int JsonUtils::ParseToJson(Json::Value& root, const std::string& text) {
    if (read(root, text)) return 0;
    root = Json::Value();
    return -1;
}
