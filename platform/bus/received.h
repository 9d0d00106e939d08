// What a receiver does with a record that came over the bus.
#pragma once

#include <string>
#include <string_view>

#include "platform/bus.h"

class AsnType;

namespace frame {

// A message's identifier as logs write it: "0x217006".
std::string idText(unsigned long id);

// Decodes `record`, all of it, into `into`. When that fails, logs it as "<what> <id> from <sender>: ..." with what is
// wrong and at which octet, and returns false; `into` then holds what was decoded before the error.
bool decodeReceived(std::string_view what, unsigned long id, const CProcID& sender, const Payload& record,
                    AsnType& into);

}  // namespace frame
