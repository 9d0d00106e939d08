// The NAT list as the management centre's REST service gives it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "localip/nms_lookup.h"

namespace Json {
class Value;
}

namespace NEC {

// The rows of "NatInfoList" in `root`, in order; none when `root` is no object or the list is no container. A field
// that is missing or cannot be read as text is empty; the latter is logged. Throws std::bad_alloc.
std::vector<NatInfo> natTableOf(const Json::Value& root);

// What `read` gives; or, when it throws, an empty text: what was thrown is logged together with `key`, which was to be
// read.
std::string readGuarded(const char* key, const std::function<std::string()>& read);

}  // namespace NEC
