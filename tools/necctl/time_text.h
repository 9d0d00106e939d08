// Points in time as people and programs read them.
#pragma once

#include <cstdint>
#include <string>

namespace necctl {

// "2026-01-31T12:00:00.123Z".
std::string timeText(std::int64_t unixMilliseconds);

}  // namespace necctl
