// Records as JSON: INTEGER as a number, OCTET STRING as a string when it is printable ASCII and as {"hex": "..."} when
// not, lists as arrays, an absent OPTIONAL field as a missing member.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>

#include "nec/records.h"

namespace necctl {

struct JsonForm {
    bool oneLine = false;
    // Of a longer OCTET STRING only the beginning stands there, and how long it is: this is no JSON any more.
    std::size_t mostOctets = std::numeric_limits<std::size_t>::max();
};

void writeJson(std::ostream& os, const AsnType& record, const JsonForm& form = {});
// As an OCTET STRING.
void writeJson(std::ostream& os, std::string_view octets, const JsonForm& form = {});

// Fills `record`, which is freshly made, from JSON text. Throws Failure that says where it is wrong.
void readJson(const std::string& text, AsnType& record);

}  // namespace necctl
