// Octets from others, decoded as a record.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "record_types.h"

namespace necctl {

struct Decoded {
    std::string type;                 // the name
    std::unique_ptr<AsnType> record;  // null: it is none
    std::string fitting;              // the names of all types that fit, with commas between
    std::string error;                // empty, or why it is none
};

Decoded decodeAs(const RecordType& type, std::string_view octets);
// As the first type that fits.
Decoded decodeAsAny(std::string_view octets);

}  // namespace necctl
