// What a process must be permitted, by its type. Subjects that can be tried at any time: nobody listens to those that
// are published to, and no stream takes what is published.
#pragma once

#include <string>
#include <vector>

#include "platform/config.h"

namespace necctl {

struct Needs {
    std::vector<std::string> publish;
    std::vector<std::string> subscribe;
};

Needs needsOf(const frame::Config& config);

// What no process may do.
Needs forbiddenTo(const frame::Config& config);

}  // namespace necctl
