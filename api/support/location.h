// Where this subsystem's log records come from.
#pragma once

#include "platform/log.h"

namespace NEC {

// The line of the call, in `function`.
inline LocationInfo here(const char* function, int line = __builtin_LINE()) {
    return {"api", function, line};
}

}  // namespace NEC
