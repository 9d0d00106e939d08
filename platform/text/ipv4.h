// Addresses as they stand in tables, bodies and command lines.
#pragma once

#include <arpa/inet.h>

#include <string>

namespace frame {

// Whether `text` is an IPv4 address in dotted-quad form: four decimal numbers from 0 to 255, and nothing else.
inline bool isDottedQuad(const std::string& text) {
    in_addr parsed{};
    return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), &parsed) == 1;
}

}  // namespace frame
