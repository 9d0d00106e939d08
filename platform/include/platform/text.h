// Text: taking it apart, and JSON. All operations may be called from any thread.
#pragma once

#include <string>
#include <vector>

#include "platform/export.h"

namespace Json {
class Value;
}

// The pieces of `text` between occurrences of `separator`, in order, empty ones included: "a;;b" gives "a", "", "b";
// "" gives one empty piece. An empty separator gives `text` whole. Throws std::bad_alloc.
FRAME_API std::vector<std::string> split(const std::string& text, const std::string& separator);

namespace JsonUtils {

// Parses `text`, one JSON value (RFC 8259) with nothing but blanks and comments around it, into `root`. Returns 0; or
// -1 when it is none, or is nested deeper than 1,000 levels or holds more than 4,000,000 commas; `root` is then null. A
// comma behind a last element, control characters other than NUL in texts, and numbers such as 01 pass as well. Throws
// std::bad_alloc.
FRAME_API int ParseToJson(Json::Value& root, const std::string& text);

}  // namespace JsonUtils
