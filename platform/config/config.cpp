// From the configuration file to Config: read, guard, parse, and take each value.
#include "platform/config.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "config/bus.h"
#include "config/nesting.h"
#include "config/section.h"
#include "text/read.h"

namespace frame {
namespace {

constexpr std::size_t mostOctets = 1U << 20U;

std::string readFile(const std::string& file) {
    const auto cannotRead = [&] {
        return ConfigError(configErrorText(file, 0, "", std::string("cannot be read: ") + std::strerror(errno),
                                           "a readable TOML file"));
    };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
    if (!stream) throw cannotRead();
    auto text = readUpTo(stream.get(), mostOctets);
    if (!text) throw cannotRead();
    if (text->size() > mostOctets) {
        throw ConfigError(configErrorText(file, 0, "", "larger than 1 MiB", "at most 1 MiB"));
    }
    return std::move(*text);
}

// The first line of what the parser says, without its own function names.
std::string summary(const std::exception& error) {
    std::string text = error.what();
    text.resize(std::min(text.find('\n'), text.size()));
    for (const char* prefix : {"[error] ", "toml::"}) {
        if (text.rfind(prefix, 0) == 0) text.erase(0, std::strlen(prefix));
    }
    const std::size_t colon = text.find(": ");
    return colon == std::string::npos ? text : text.substr(colon + 2);
}

toml::value parse(const std::string& file) {
    const std::string text = readFile(file);
    if (const std::size_t line = lineNestedTooDeep(text); line != 0) {
        throw ConfigError(
            configErrorText(file, line, "", "nested too deep", "at most " + std::to_string(mostNesting) + " levels"));
    }
    std::istringstream stream(text);
    try {
        return toml::parse(stream, file);
    } catch (const toml::exception& error) {
        throw ConfigError(configErrorText(file, error.location().line(), "", summary(error), "TOML"));
    } catch (const std::exception& error) {
        throw ConfigError(configErrorText(file, 0, "", summary(error), "TOML"));
    }
}

Config::OwnProcess processFrom(const Section& section) {
    section.allowOnly({"type", "handle", "desk"});
    Config::OwnProcess process;
    process.type = static_cast<std::uint16_t>(section.number("type", 1, 65535, {}));
    process.handle = static_cast<std::uint16_t>(section.number("handle", 1, 65535, {}));
    process.desk = static_cast<std::uint16_t>(section.number("desk", 0, 65535, process.desk));
    return process;
}

EventManagers::Options eventsFrom(const Section& section) {
    section.allowOnly({"classic", "extended"});
    EventManagers::Options events;
    events.classic = section.boolean("classic", events.classic);
    events.extended = section.boolean("extended", events.extended);
    return events;
}

LogOptions logFrom(const Section& section) {
    constexpr std::array levels{LogLevel::debug, LogLevel::info, LogLevel::error, LogLevel::off};
    section.allowOnly({"file", "level", "trace"});
    LogOptions log;
    log.file = section.fileName("file");
    log.level = levels.at(section.choice("level", {"debug", "info", "error", "off"}, 1));
    log.trace = section.boolean("trace", log.trace);
    return log;
}

ReliableOptions reliableFrom(const Section& section) {
    section.allowOnly({"file", "limit", "hold"});
    ReliableOptions reliable;
    reliable.file = section.fileName("file");
    reliable.limit = section.number("limit", 1, 1'000'000'000, reliable.limit);
    const auto hold = std::chrono::duration_cast<std::chrono::seconds>(reliable.hold);
    reliable.hold = std::chrono::seconds(section.number("hold", 1, 86'400, hold.count()));
    return reliable;
}

std::vector<unsigned char> taskManagersFrom(const Section& section) {
    section.allowOnly({"managers"});
    std::vector<unsigned char> managers;
    for (const std::uint64_t number : section.numbers("managers", 0, 255, {0}))
        managers.push_back(static_cast<unsigned char>(number));
    return managers;
}

DatabaseOptions databaseFrom(const Section& section) {
    section.allowOnly({"url", "connections"});
    DatabaseOptions database;
    database.url = section.databaseUrl("url");
    database.connections = static_cast<unsigned>(section.number("connections", 1, 1000, database.connections));
    return database;
}

HttpOptions httpFrom(const Section& section) {
    HttpOptions http;
    http.services = section.baseUrl("services");
    if (http.services.empty()) http.services = section.baseUrl("management_centre");
    http.caFile = section.fileName("ca_file");
    return http;
}

SysConfigOptions sysConfigFrom(const Section& addresses, const Section& http) {
    addresses.allowOnly({"south", "host"});
    http.allowOnly({"management_centre", "services", "ca_file"});
    return {addresses.text("south"), http.baseUrl("management_centre"), addresses.addresses("host")};
}

}  // namespace

Config readConfig(const std::string& file) {
    const toml::value parsed = parse(file);
    const Section root(file, parsed);
    root.allowOnly({"process", "bus", "events", "log", "reliable", "addresses", "http", "tasks", "database"});
    Config config;
    config.process = processFrom(root.table("process"));
    const Section bus = root.table("bus");
    bus.allowOnly({"engine", "servers", "system", "user", "password_file", "nkey", "nkey_file", "credentials_file",
                   "ca_file", "certificate_file", "key_file", "inbox", "pending_messages", "pending_octets"});
    constexpr std::array engines{"local", "nats"};
    config.busEngine = engines.at(bus.choice("engine", {"local", "nats"}, 0));
    config.nats = natsFrom(bus);
    config.events = eventsFrom(root.table("events"));
    config.log = logFrom(root.table("log"));
    config.reliable = reliableFrom(root.table("reliable"));
    const Section http = root.table("http");
    config.sysConfig = sysConfigFrom(root.table("addresses"), http);
    config.http = httpFrom(http);
    config.taskManagers = taskManagersFrom(root.table("tasks"));
    config.database = databaseFrom(root.table("database"));
    return config;
}

}  // namespace frame
