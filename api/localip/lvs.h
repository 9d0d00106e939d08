// The virtual addresses of the load balancer (LVS) in front of this process.
#pragma once

#include <list>
#include <map>
#include <string>
#include <utility>

namespace NEC {

// Virtual address -> (target network, network mask) of each network that is to reach this host at it, in file order.
using LvsMap = std::map<std::string, std::list<std::pair<std::string, std::string>>>;

// Reads them from the application description, the file that the environment variable APP_CONF_FILE names, anew at each
// call. Members of "processes" whose names begin with the value of PROCESS_NAME are this process's.
//
// Returns 0, or -1 when a variable is not set, or the file cannot be opened or is no application description, which is
// logged; then `lvsSupported` is false and `vips` empty. `lvsSupported` tells whether any LVS member is there at all.
//
// May be called from any thread while none changes the environment. Throws Json::Exception, a std::exception, for
// members of wrong types and for JSON nested too deeply: `vips` then holds what was read before; and std::bad_alloc.
long QueryLvsInfo(bool& lvsSupported, LvsMap& vips);

}  // namespace NEC
