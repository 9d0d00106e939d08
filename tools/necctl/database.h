// Commands that act on the process's database.
#pragma once

#include <functional>

#include "options.h"

namespace necctl {

// Throws Failure when the process of --config, which lives, has no database.
void requireDatabase(const Options& options);

// Calls `use` while there is the process of --config, with its database. What the database and the FTP configuration
// throw there becomes a Failure, as that there is none.
void withDatabase(const Options& options, const std::function<void()>& use);

// What is wrong with a schema of `version`, 0 for none, and what helps; empty: nothing is.
std::string objectionTo(int version);

}  // namespace necctl
