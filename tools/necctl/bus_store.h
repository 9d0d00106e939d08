// What a broker tells of its streams.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "bus_client.h"

namespace necctl {

// An answer of the broker's store. `error`: empty, or why there is none.
struct Told {
    Json::Value root;
    std::string error;
    bool refused = false;  // this user may not ask that
    bool missing = false;  // what was asked about is not there
    bool silent = false;   // nobody answers
};
Told askStore(const BusClient& client, const std::string& operation, const std::string& text = {});

// All consumers of a stream, as CONSUMER.INFO tells of each; or those with `names` where this user may not ask for all
// of them: `complete` says which. Those that are not told of are left out.
std::vector<Json::Value> consumersOf(const BusClient& client, const std::string& stream,
                                     const std::vector<std::string>& names, bool& complete);

}  // namespace necctl
