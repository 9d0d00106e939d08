// Octets as hexadecimal text.
#pragma once

#include <string>
#include <string_view>

namespace necctl {

std::string hexOf(std::string_view octets);

// The octets that `text` writes; blanks and line ends are skipped. Throws Failure with the offset of what is wrong.
std::string octetsFromHex(std::string_view text);

// Whether all of `text` is printable ASCII, blanks and line ends. No encoded record is: each holds an identifier octet
// that is a control character.
bool isText(std::string_view text);

}  // namespace necctl
