// One table of the configuration file, read value by value; what is wrong with it is a ConfigError.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <toml.hpp>
#include <vector>

namespace frame {

// The text of a ConfigError. `line` 0: no line is known.
std::string configErrorText(const std::string& file, std::size_t line, const std::string& key, const std::string& found,
                            const std::string& expected);

class Section {
public:
    // The whole file, parsed. Must outlive the sections found in it.
    Section(const std::string& file, const toml::value& root) : file_(file), value_(&root) {}
    // The table `name` in it; where it is missing, an empty one.
    Section table(const std::string& name) const;

    // Refuses all members but `allowed`.
    void allowOnly(std::initializer_list<const char*> allowed) const;

    // The member `key`; the fallback where it is missing, which is refused without a fallback.
    std::uint64_t number(const std::string& key, std::uint64_t least, std::uint64_t most,
                         std::optional<std::uint64_t> fallback) const;
    bool boolean(const std::string& key, bool fallback) const;
    // An array of different numbers.
    std::vector<std::uint64_t> numbers(const std::string& key, std::uint64_t least, std::uint64_t most,
                                       std::vector<std::uint64_t> fallback) const;
    // The index in `choices` of the text that `key` is.
    std::size_t choice(const std::string& key, std::initializer_list<const char*> choices, std::size_t fallback) const;
    // Any text; empty where it is missing.
    std::string text(const std::string& key) const;
    // A text of which `holds` is true. The error does not show another one: it may hold a password.
    std::string textThat(const std::function<bool(const std::string&)>& holds, const std::string& key,
                         const std::string& expected, std::string fallback) const;
    // An array of one or more such.
    std::vector<std::string> textsThat(bool (*holds)(const std::string&), const std::string& key,
                                       const std::string& expected, std::vector<std::string> fallback) const;
    // Refuses one of these members without the other.
    void needBoth(const std::string& key, const std::string& other) const;
    // Refuses more than one of these members.
    void needOne(std::initializer_list<const char*> keys) const;
    // "http://host:port" or "https://host:port"; empty where it is missing.
    std::string baseUrl(const std::string& key) const;
    // "sqlite:FILE", with the file from the folder of the configuration file when not absolute, or
    // "postgresql:PARAMETERS"; empty where it is missing.
    std::string databaseUrl(const std::string& key) const;
    // An array of IPv4 addresses in dotted-quad form; empty where it is missing.
    std::vector<std::string> addresses(const std::string& key) const;
    // A file's name, from the folder of the configuration file when not absolute; empty where it is missing.
    std::string fileName(const std::string& key) const;

private:
    Section(const std::string& file, std::string name, const toml::value* value)
        : file_(file), name_(std::move(name)), value_(value) {}

    const toml::value* find(const std::string& key) const;
    // From the folder of the configuration file, when not absolute.
    std::string inFolder(const std::string& fileName) const;
    // The text that `key` is, without NUL; empty where it is missing.
    std::string textWithoutNul(const std::string& key, const std::string& expected) const;
    std::string keyText(const std::string& key) const { return name_.empty() ? key : name_ + "." + key; }
    [[noreturn]] void refuse(const std::string& key, const toml::value& value, const std::string& expected) const;
    [[noreturn]] void refuse(const std::string& key, const toml::value& value, const std::string& found,
                             const std::string& expected) const;

    const std::string& file_;
    std::string name_;
    const toml::value* value_;  // null: the table is missing
};

}  // namespace frame
