// Records as JSON: INTEGER as a number, OCTET STRING as a string when it is printable ASCII and as {"hex": "..."} when
// not, lists as arrays, an absent OPTIONAL field as a missing member.
#pragma once

#include <iosfwd>
#include <string>

#include "nec/records.h"

namespace necctl {

void writeJson(std::ostream& os, const AsnType& record);

// Fills `record`, which is freshly made, from JSON text. Throws Failure that says where it is wrong.
void readJson(const std::string& text, AsnType& record);

}  // namespace necctl
