// What became of a package of plug-and-play files, for people and for programs.
#pragma once

#include <json/json.h>

#include <string>
#include <string_view>

#include "pnp_client.h"

namespace necctl {

// The names of files: a string when they are UTF-8, else {"hex": "..."}.
Json::Value jsonOf(std::string_view octets);
Json::Value jsonOf(const peers::PnpPackage& package);

// "NAME: REASON".
std::string textOf(const peers::PnpRefusal& refusal);
// A line about the package, and one for each file, escaped.
std::string textOf(const peers::PnpPackage& package);

}  // namespace necctl
