// What is told of one thing, a line for each field.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace necctl {

using Fields = std::vector<std::pair<std::string, std::string>>;  // name and value

// Values stand in one column, escaped; "-" for an empty one.
std::string linesOf(const Fields& fields);

}  // namespace necctl
