// The runtime's own errors.
#pragma once

#include "platform/asn1.h"

namespace frame::asn1 {

enum Error : int {
    identifierTooLong = -51,
    lengthBeyondEnd = -52,
    noEndOfContents = -53,
    wrongTag = -55,
    fieldWrong = -56,
    valueWrong = -57,
    fieldNull = -58,
    trailingOctets = -59,
    nestedTooDeep = -60,
};

// Raises an error of the runtime; `what` and `name` make the text ("what name").
[[noreturn, gnu::cold]] void fail(Error code, const char* what, const char* name = "", int line = __builtin_LINE(),
                                  const char* function = __builtin_FUNCTION());
[[noreturn, gnu::cold]] void failLength();

}  // namespace frame::asn1
