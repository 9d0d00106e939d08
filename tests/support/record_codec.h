// Encoding and decoding of any record type in one way, for tests that walk over all of them.
#pragma once

#include <string>
#include <string_view>

#include "nec/records.h"
#include "platform/asn1.h"
#include "platform/payload.h"

namespace support {

inline std::string encoded(const AsnType& record) {
    return std::string(frame::encode(record).view());
}

inline frame::DecodeResult decode(std::string_view octets, AsnType& into) {
    return frame::decode(octets, into);
}
// Bare lists of scalars are decoded as a process that receives one does it: it takes identifier and length itself and
// tells the list which elements to expect (the list's own BDec expects SEQUENCE of every type of element).
frame::DecodeResult decode(std::string_view octets, asn_frame::AsnDevIDList& into);
frame::DecodeResult decode(std::string_view octets, asn_frame::AsnOctsList& into);

}  // namespace support
