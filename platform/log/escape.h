// Making any octets safe to stand in one line of a log.
#pragma once

#include <string>
#include <string_view>

namespace frame {

// Appends `text` to `line`. What could end the line, steer a terminal or is not UTF-8 becomes \n, \r, \t or \xHH.
// A backslash stands for itself, so that paths stay readable.
void appendEscaped(std::string& line, std::string_view text);

// `text` escaped and in quotation marks; cut after 60 octets, which "..." tells.
std::string quoted(std::string_view text);

bool isUtf8(std::string_view text);

// Whether a character in `text` could end a line or steer a terminal. Octets that are not UTF-8 are not looked at.
bool hasControls(std::string_view text);

}  // namespace frame
