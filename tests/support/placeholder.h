// What clients get in the place of a plug-and-play file that could not be opened.
#pragma once

#include <string>

namespace support {

inline const std::string placeholder = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CppOpenFailed></CppOpenFailed>\n";

}  // namespace support
