#include <algorithm>
#include <array>
#include <new>

#include "asn1/tlv.h"
#include "platform/asn1.h"

namespace asn1 = frame::asn1;

AsnBuf::~AsnBuf() {
    if (owned_) ::operator delete(begin_);
}

void AsnBuf::grow(std::size_t size) {
    if (measuring_) {
        cursor_ = end_;
        return;
    }
    const std::size_t written = this->size();
    const auto capacity = static_cast<std::size_t>(end_ - begin_);
    const std::size_t larger = std::max(2 * capacity, written + size);
    auto* memory = static_cast<unsigned char*>(::operator new(larger));
    unsigned char* end = memory + larger;
    std::copy_n(cursor_, written, end - written);
    if (owned_) ::operator delete(begin_);
    begin_ = memory;
    end_ = end;
    cursor_ = end - written;
    owned_ = true;
}

// Makes room for a run of `size` octets; false when they are not to be kept.
bool AsnBuf::room(std::size_t size) {
    if (growth_ == Growth::measuring && size >= 4096) measuring_ = true;
    if (measuring_) return false;
    grow(size);
    return true;
}

void AsnBuf::Window::failTooDeep() {
    asn1::fail(asn1::nestedTooDeep, "values nested more than 64 deep");
}

void AsnBuf::Window::failTooLong() {
    asn1::failLength();
}

AsnTag BDecTag_Impl(AsnBuf& buf, unsigned char first, AsnLen& count) {
    AsnTag tag = first;
    for (int octets = 1; octets < 4; ++octets) {
        const unsigned char octet = buf.GetByte();
        if (buf.readError()) asn1::fail(asn1::identifierTooLong, "the identifier octets end too early");
        ++count;
        tag = tag << 8 | octet;
        if ((octet & 0x80) == 0) return tag;
    }
    asn1::fail(asn1::identifierTooLong, "more than 4 identifier octets");
}

AsnLen BDecLen_Impl(AsnBuf& buf, unsigned char first, AsnLen& count) {
    if (first == 0x80) return asnIndefiniteLength;
    const unsigned octets = first & 0x7FU;
    AsnLen length = 0;
    for (unsigned i = 0; i < octets; ++i) {
        // A length of 2^56 octets or more is beyond any end: stop before the number runs over.
        if (length >> 48 != 0) asn1::failLength();
        length = length << 8 | buf.GetByte();
    }
    if (buf.readError() || length > buf.size()) {
        asn1::failLength();
    }
    count += octets;
    return length;
}

AsnLen frame::asn1::readLongLength(AsnBuf& buf) {
    AsnLen counted = 0;
    const unsigned char first = buf.GetByte();
    const AsnLen length = first < 0x80 ? first : BDecLen_Impl(buf, first, counted);
    if (buf.readError() || (length > buf.size() && length != asnIndefiniteLength)) failLength();
    return length;
}

AsnLen BEncDefLenImpl(AsnBuf& buf, AsnLen length) {
    unsigned char octets = 0;
    for (; length != 0; length >>= 8, ++octets) buf.PutByteRvs(static_cast<unsigned char>(length));
    buf.PutByteRvs(static_cast<unsigned char>(0x80 | octets));
    return octets + 1U;
}

void BDecEoc(AsnBuf& buf, AsnLen& count) {
    if (buf.size() < 2 || buf.PeekByte(0) != 0 || buf.PeekByte(1) != 0) {
        asn1::fail(asn1::noEndOfContents, "end-of-contents octets are missing");
    }
    buf.GetSeg(2);
    count += 2;
}

const char* AsnIndent(unsigned level) {
    static constexpr std::size_t levels = 64;
    static constexpr auto blanks = [] {
        std::array<char, 2 * levels + 1> text{};
        for (std::size_t i = 0; i < 2 * levels; ++i) text[i] = ' ';
        return text;
    }();
    return level > levels ? nullptr : blanks.data() + 2 * (levels - level);
}
