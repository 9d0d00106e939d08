// The bodies of the requests to the trap-server service.
#pragma once

#include <json/writer.h>

#include <list>
#include <optional>
#include <string>

#include "nec/trapserver.h"

namespace NEC {

// As `factory`'s writers write it, which are those of Json::StreamWriterBuilder with its default settings; nothing when
// it makes none. The body of an empty list is null. Throws what jsoncpp throws.

// An array of objects with "neIP" and "trapServerID", in list order.
std::optional<std::string> registrationBody(const std::list<_NEIP2SERVERID>& assignments,
                                            const Json::StreamWriter::Factory& factory);
// An object whose "neIP" is an array of addresses in list order.
std::optional<std::string> deletionBody(const std::list<light_basic_string>& neIPs,
                                        const Json::StreamWriter::Factory& factory);

}  // namespace NEC
