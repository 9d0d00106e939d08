// JSON, read with jsoncpp.
#include <json/reader.h>
#include <json/value.h>

#include <memory>

#include "platform/text.h"

namespace {

// As jsoncpp reads by default, but nothing may follow the value. (A default is the bound of 1,000 levels.)
Json::CharReaderBuilder makeBuilder() {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    return builder;
}

// Whether `text` could be read. jsoncpp takes a NUL, which JSON has nowhere, for the end of the text, and says with an
// exception that there are too many levels.
bool read(Json::Value& root, const std::string& text) {
    static const Json::CharReaderBuilder builder = makeBuilder();
    if (text.find('\0') != std::string::npos) return false;
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
