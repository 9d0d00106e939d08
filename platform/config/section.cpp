#include "config/section.h"

#include <algorithm>
#include <filesystem>
#include <regex>

#include "log/escape.h"
#include "platform/config.h"
#include "text/ipv4.h"

namespace frame {
namespace {

// What a value is, for an error.
std::string describe(const toml::value& value) {
    switch (value.type()) {
        case toml::value_t::boolean:
            return value.as_boolean() ? "true" : "false";
        case toml::value_t::integer:
            return std::to_string(value.as_integer());
        case toml::value_t::string:
            return frame::quoted(value.as_string().str);
        case toml::value_t::floating:
            return "a floating-point number";
        case toml::value_t::array:
            return "an array";
        case toml::value_t::table:
            return "a table";
        default:
            return "a date or time";
    }
}

std::string listed(std::initializer_list<const char*> names) {
    std::string result;
    for (const char* name : names) result += (result.empty() ? "" : ", ") + std::string(name);
    return result;
}

}  // namespace

std::string configErrorText(const std::string& file, std::size_t line, const std::string& key, const std::string& found,
                            const std::string& expected) {
    std::string text = file;
    if (line != 0) text += ":" + std::to_string(line);
    text += ": ";
    if (!key.empty()) {
        appendEscaped(text, key);
        text += ": ";
    }
    return text + found + "; expected " + expected;
}

Section Section::table(const std::string& name) const {
    const toml::value* value = find(name);
    if (value != nullptr && !value->is_table()) refuse(name, *value, "a table");
    return {file_, keyText(name), value};
}

void Section::allowOnly(std::initializer_list<const char*> allowed) const {
    if (value_ == nullptr) return;
    const auto known = [&](const std::string& key) {
        return std::any_of(allowed.begin(), allowed.end(), [&](const char* name) { return key == name; });
    };
    // The first one in the file: the parser's tables have no order.
    const std::string* unknown = nullptr;
    std::size_t line = 0;
    for (const auto& [key, value] : value_->as_table()) {
        if (known(key)) continue;
        const std::size_t here = value.location().line();
        if (unknown == nullptr || here < line || (here == line && key < *unknown)) {
            unknown = &key;
            line = here;
        }
    }
    if (unknown == nullptr) return;
    throw ConfigError(configErrorText(file_, line, keyText(*unknown), name_.empty() ? "unknown table" : "unknown key",
                                      "one of: " + listed(allowed)));
}

std::uint64_t Section::number(const std::string& key, std::uint64_t least, std::uint64_t most,
                              std::optional<std::uint64_t> fallback) const {
    const std::string expected = "a number from " + std::to_string(least) + " to " + std::to_string(most);
    const toml::value* value = find(key);
    if (value == nullptr) {
        if (fallback) return *fallback;
        throw ConfigError(configErrorText(file_, 0, keyText(key), "missing", expected));
    }
    if (!value->is_integer() || value->as_integer() < 0) refuse(key, *value, expected);
    const auto number = static_cast<std::uint64_t>(value->as_integer());
    if (number < least || number > most) refuse(key, *value, expected);
    return number;
}

std::vector<std::uint64_t> Section::numbers(const std::string& key, std::uint64_t least, std::uint64_t most,
                                            std::vector<std::uint64_t> fallback) const {
    const std::string expected =
        "an array of different numbers from " + std::to_string(least) + " to " + std::to_string(most);
    const toml::value* value = find(key);
    if (value == nullptr) return fallback;
    if (!value->is_array()) refuse(key, *value, expected);
    std::vector<std::uint64_t> numbers;
    for (const toml::value& element : value->as_array()) {
        const auto number = element.is_integer() ? static_cast<std::uint64_t>(element.as_integer()) : most + 1;
        const bool repeated = std::find(numbers.begin(), numbers.end(), number) != numbers.end();
        if (number < least || number > most || repeated) refuse(key, element, expected);
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<std::string> Section::addresses(const std::string& key) const {
    const std::string expected = "an array of IPv4 addresses in dotted-quad form";
    const toml::value* value = find(key);
    if (value == nullptr) return {};
    if (!value->is_array()) refuse(key, *value, expected);
    std::vector<std::string> addresses;
    for (const toml::value& element : value->as_array()) {
        if (!element.is_string() || !isDottedQuad(element.as_string().str)) refuse(key, element, expected);
        addresses.push_back(element.as_string().str);
    }
    return addresses;
}

bool Section::boolean(const std::string& key, bool fallback) const {
    const toml::value* value = find(key);
    if (value == nullptr) return fallback;
    if (!value->is_boolean()) refuse(key, *value, "true or false");
    return value->as_boolean();
}

std::size_t Section::choice(const std::string& key, std::initializer_list<const char*> choices,
                            std::size_t fallback) const {
    const toml::value* value = find(key);
    if (value == nullptr) return fallback;
    if (value->is_string()) {
        const auto* found = std::find(choices.begin(), choices.end(), value->as_string().str);
        if (found != choices.end()) return static_cast<std::size_t>(found - choices.begin());
    }
    refuse(key, *value, "one of: " + listed(choices));
}

std::string Section::text(const std::string& key) const {
    return textWithoutNul(key, "a text");
}

std::string Section::textThat(const std::function<bool(const std::string&)>& holds, const std::string& key,
                              const std::string& expected, std::string fallback) const {
    const toml::value* value = find(key);
    if (value == nullptr) return fallback;
    if (!value->is_string()) refuse(key, *value, expected);
    if (!holds(value->as_string().str)) refuse(key, *value, "another text", expected);
    return value->as_string().str;
}

std::vector<std::string> Section::textsThat(bool (*holds)(const std::string&), const std::string& key,
                                            const std::string& expected, std::vector<std::string> fallback) const {
    const toml::value* value = find(key);
    if (value == nullptr) return fallback;
    if (!value->is_array() || value->as_array().empty()) refuse(key, *value, expected);
    std::vector<std::string> texts;
    for (const toml::value& element : value->as_array()) {
        if (!element.is_string()) refuse(key, element, expected);
        if (!holds(element.as_string().str)) refuse(key, element, "another text", expected);
        texts.push_back(element.as_string().str);
    }
    return texts;
}

void Section::needBoth(const std::string& key, const std::string& other) const {
    const toml::value* one = find(key);
    const toml::value* two = find(other);
    if ((one == nullptr) == (two == nullptr)) return;
    if (one == nullptr) return needBoth(other, key);
    throw ConfigError(configErrorText(file_, one->location().line(), keyText(key), "alone", keyText(other) + " too"));
}

void Section::needOne(std::initializer_list<const char*> keys) const {
    const char* first = nullptr;
    for (const char* key : keys) {
        const toml::value* value = find(key);
        if (value == nullptr) continue;
        if (first != nullptr) refuse(key, *value, "beside " + keyText(first), "one of: " + listed(keys));
        first = key;
    }
}

std::string Section::baseUrl(const std::string& key) const {
    constexpr int largestPort = 65535;
    constexpr std::size_t longest = 300;  // a host name has at most 253 octets (RFC 1035)
    const std::string expected = "http://HOST:PORT or https://HOST:PORT";
    std::string url = textWithoutNul(key, expected);
    static const std::regex form(R"(https?://([A-Za-z0-9._-]+|\[[0-9A-Fa-f:.]+\])(?::([0-9]{1,5}))?)");
    std::smatch parts;
    // What it is instead is not shown: it may hold a password.
    if (!url.empty() && (url.size() > longest || !std::regex_match(url, parts, form) ||
                         (parts[2].matched && std::stoi(parts[2]) > largestPort)))
        refuse(key, *find(key), "another text", expected);
    return url;
}

std::string Section::databaseUrl(const std::string& key) const {
    const std::string expected = "sqlite:FILE or postgresql:PARAMETERS";
    const std::string sqlite = "sqlite:";
    std::string url = textWithoutNul(key, expected);
    if (url.size() > sqlite.size() && url.rfind(sqlite, 0) == 0) return sqlite + inFolder(url.substr(sqlite.size()));
    // What it is instead is not shown: it may hold a password.
    if (!url.empty() && url.rfind("postgresql:", 0) != 0) refuse(key, *find(key), "another text", expected);
    return url;
}

std::string Section::fileName(const std::string& key) const {
    const std::string name = textWithoutNul(key, "a file name");
    return name.empty() ? name : inFolder(name);
}

std::string Section::inFolder(const std::string& fileName) const {
    return (std::filesystem::path(file_).parent_path() / fileName).string();
}

std::string Section::textWithoutNul(const std::string& key, const std::string& expected) const {
    const toml::value* value = find(key);
    if (value == nullptr) return {};
    if (!value->is_string()) refuse(key, *value, expected);
    if (value->as_string().str.find('\0') != std::string::npos) refuse(key, *value, expected + " without NUL");
    return value->as_string().str;
}

const toml::value* Section::find(const std::string& key) const {
    if (value_ == nullptr) return nullptr;
    const auto& table = value_->as_table();
    const auto found = table.find(key);
    return found != table.end() ? &found->second : nullptr;
}

void Section::refuse(const std::string& key, const toml::value& value, const std::string& expected) const {
    refuse(key, value, describe(value), expected);
}

void Section::refuse(const std::string& key, const toml::value& value, const std::string& found,
                     const std::string& expected) const {
    throw ConfigError(configErrorText(file_, value.location().line(), keyText(key), found, expected));
}

}  // namespace frame
