#include "bus/nats/subjects.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>

#include "bus/nats/headers.h"
#include "bus/received.h"

namespace frame::nats {

std::string Subjects::event(unsigned long id) const {
    return prefix_ + "ev." + idText(id);
}

std::string Subjects::reliable(unsigned long id) const {
    return prefix_ + "rm." + idText(id);
}

std::string Subjects::reliablePiece(unsigned long id, const std::string& identifier, std::uint32_t index) const {
    return reliable(id) + ".data." + identifier + '.' + std::to_string(index);
}

std::string Subjects::to(const char* kind, const CProcID& address) const {
    const std::string type = prefix_ + kind + '.' + std::to_string(address.procType);
    return address.procHandle == 0 ? type + ".any" : type + ".h" + std::to_string(address.procHandle);
}

std::string Subjects::who(const char* kind, std::uint16_t type) const {
    return prefix_ + kind + '.' + std::to_string(type) + ".who";
}

std::string Subjects::who(const char* kind, std::uint16_t type, unsigned long id) const {
    return who(kind, type) + '.' + idText(id);
}

std::string Subjects::announcements(std::uint16_t target) const {
    return prefix_ + "bc." + std::to_string(target) + ".announce";
}

std::string Subjects::pieces(std::uint16_t target) const {
    return prefix_ + "bc." + std::to_string(target) + ".data.*";
}

std::string Subjects::piece(std::uint16_t target, std::uint64_t message, std::uint32_t index) const {
    std::array<char, 40> name{};
    std::snprintf(name.data(), name.size(), "%016llx-%u", static_cast<unsigned long long>(message), index);
    return prefix_ + "bc." + std::to_string(target) + ".data." + name.data();
}

std::string_view Subjects::behindKind(std::string_view subject) const {
    constexpr std::size_t kind = 3;  // two letters and a dot
    return subject.substr(std::min(subject.size(), prefix_.size() + kind));
}

bool isSubject(const std::string& text) {
    constexpr std::size_t longest = 100;
    static const std::regex form("[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)*");
    return text.size() <= longest && std::regex_match(text, form);
}

bool mayBeInbox(const std::string& inbox, const std::string& system) {
    const std::string below = inbox + '.';
    return !below.starts_with(system + '.') && !below.starts_with(fromMark);
}

bool isServer(const std::string& url) {
    constexpr std::size_t longest = 300;  // a host name has at most 253 octets (RFC 1035)
    constexpr int largestPort = 65535;
    static const std::regex form("(nats|tls)://([A-Za-z0-9._-]+|\\[[0-9A-Fa-f:.]+\\]):([0-9]{1,5})");
    std::smatch parts;
    return url.size() <= longest && std::regex_match(url, parts, form) && std::stoi(parts[3]) <= largestPort;
}

}  // namespace frame::nats
