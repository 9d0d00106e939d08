// Reading and writing identifiers and lengths, for the runtime's own types.
#pragma once

#include "asn1/error.h"
#include "platform/asn1.h"

namespace frame::asn1 {

inline constexpr unsigned char integerTag = 0x02;
inline constexpr unsigned char octetStringTag = 0x04;
inline constexpr unsigned char sequenceTag = 0x30;
inline constexpr unsigned char contextClass = 0x80;
inline constexpr unsigned char constructed = 0x20;

// Reads length octets that are not one octet with the length itself; a definite length is checked against what is left.
AsnLen readLongLength(AsnBuf& buf);

// Reads length octets; a definite length is checked against what is left.
inline AsnLen readLength(AsnBuf& buf) {
    const unsigned char* octets = buf.position();
    const std::size_t left = buf.size();
    if (left == 0 || octets[0] >= left) return readLongLength(buf);  // or the length lies
    if (octets[0] >= 0x80) return readLongLength(buf);
    buf.setPosition(octets + 1);
    return octets[0];
}

// Reads the identifier `tag` and a length; throws with the buffer standing at the identifier when it is another.
inline AsnLen readHeader(AsnBuf& buf, unsigned char tag, const char* what) {
    if (buf.exhausted() || buf.PeekByte() != tag) fail(wrongTag, "no identifier of", what);
    buf.setPosition(buf.position() + 1);
    return readLength(buf);
}

// The value of an INTEGER's contents of 1 to 4 octets.
inline std::int32_t integerOf(const unsigned char* contents, std::size_t length) {
    auto value = static_cast<std::uint32_t>(static_cast<signed char>(contents[0]));
    for (std::size_t i = 1; i < length; ++i) value = value << 8 | contents[i];
    return static_cast<std::int32_t>(value);
}

// Puts a whole INTEGER, under the identifier `tag`, in the fewest octets (X.690 8.3.2); returns how many.
inline AsnLen writeInteger(AsnBuf& buf, unsigned char tag, std::int32_t value) {
    const auto magnitude = static_cast<std::uint32_t>(value ^ (value >> 31));
    const std::size_t octets = 1U + (magnitude > 0x7F) + (magnitude > 0x7FFF) + (magnitude > 0x7FFFFF);
    unsigned char* header = buf.claimRvs(octets + 2);
    // All four octets, so that they end where the contents end; those in front are not the value's, and written over.
    const std::uint32_t bigEndian = __builtin_bswap32(static_cast<std::uint32_t>(value));
    std::memcpy(header + 2 + octets - 4, &bigEndian, 4);
    header[0] = tag;
    header[1] = static_cast<unsigned char>(octets);
    return octets + 2;
}

// Puts identifier and length before contents of `length` octets; returns the number of octets of all three.
inline AsnLen writeHeader(AsnBuf& buf, unsigned char tag, AsnLen length) {
    if (length > 127) {
        const AsnLen lengthOctets = BEncDefLenImpl(buf, length);
        buf.PutByteRvs(tag);
        return length + lengthOctets + 1;
    }
    unsigned char* header = buf.claimRvs(2);
    header[0] = tag;
    header[1] = static_cast<unsigned char>(length);
    return length + 2;
}

// Puts a whole OCTET STRING under the identifier `tag`; returns its octets.
inline AsnLen writeOctets(AsnBuf& buf, unsigned char tag, std::string_view octets) {
    static_assert(smallCopyLimit + 2 <= AsnBuf::scratch);
    if (octets.size() > smallCopyLimit) {
        buf.PutSegRvs(octets.data(), octets.size());
        return writeHeader(buf, tag, octets.size());
    }
    unsigned char* header = buf.claimRvs(octets.size() + 2);
    header[0] = tag;
    header[1] = static_cast<unsigned char>(octets.size());
    smallCopy(header + 2, octets.data(), octets.size());
    return octets.size() + 2;
}

}  // namespace frame::asn1
