#include <cctype>
#include <ostream>

#include "asn1/tlv.h"
#include "platform/asn1.h"

namespace asn1 = frame::asn1;

// --- AsnInt

AsnInt* AsnInt::Clone() const {
    return new AsnInt(*this);
}

AsnLen AsnInt::BEnc(AsnBuf& buf, int) const {
    return asn1::writeInteger(buf, asn1::integerTag, value_);
}

void AsnInt::readWhole(AsnBuf& buf, AsnLen& count) {
    const unsigned char* start = buf.position();
    const AsnLen length = asn1::readHeader(buf, asn1::integerTag, "INTEGER");
    AsnLen contents = 0;
    BDecContent(buf, length, contents);
    count += static_cast<AsnLen>(buf.position() - start);
}

void AsnInt::BDecContent(AsnBuf& buf, AsnLen length, AsnLen& count) {
    if (length < 1 || length > 4) asn1::fail(asn1::valueWrong, "an INTEGER of other than 1 to 4 octets");
    const unsigned char* octets = buf.GetSeg(length);
    if (octets == nullptr) asn1::failLength();
    value_ = asn1::integerOf(octets, length);
    count += length;
}

void AsnInt::Print(std::ostream& os, unsigned, bool) const {
    os << value_;
}

const char* AsnInt::typeName() const {
    return "AsnInt";
}

// --- AsnOcts

void AsnOcts::assignLong(std::string_view octets) {
    const std::size_t capacity = data_ == inline_ ? sizeof inline_ : capacity_;
    if (octets.size() > capacity) {
        auto* memory = static_cast<char*>(::operator new(octets.size()));
        std::memcpy(memory, octets.data(), octets.size());
        if (data_ != inline_) ::operator delete(data_);
        data_ = memory;
        capacity_ = octets.size();
    } else if (!octets.empty()) {
        std::memmove(data_, octets.data(), octets.size());  // may be a part of what this object holds
    }
    size_ = octets.size();
}

AsnOcts* AsnOcts::Clone() const {
    return new AsnOcts(*this);
}

AsnLen AsnOcts::BEnc(AsnBuf& buf, int) const {
    return asn1::writeOctets(buf, asn1::octetStringTag, view());
}

void AsnOcts::BDec(AsnBuf& buf, AsnLen& count, int) {
    const unsigned char* start = buf.position();
    const AsnLen length = asn1::readHeader(buf, asn1::octetStringTag, "OCTET STRING");
    AsnLen contents = 0;
    BDecContent(buf, length, contents);
    count += static_cast<AsnLen>(buf.position() - start);
}

void AsnOcts::BDecContent(AsnBuf& buf, AsnLen length, AsnLen& count) {
    const unsigned char* octets = buf.GetSeg(length);
    if (octets == nullptr) asn1::failLength();
    assign({reinterpret_cast<const char*>(octets), length});
    count += length;
}

void AsnOcts::Print(std::ostream& os, unsigned, bool) const {
    const auto printable = [](unsigned char octet) { return octet >= 0x20 && octet < 0x7F && octet != '"'; };
    bool text = true;
    for (const char octet : view()) text = text && printable(static_cast<unsigned char>(octet));
    if (text) {
        os << '"' << view() << '"';
        return;
    }
    static constexpr char digits[] = "0123456789ABCDEF";
    os << '\'';
    for (const char octet : view()) {
        const auto number = static_cast<unsigned char>(octet);
        os << digits[number >> 4] << digits[number & 15];
    }
    os << "'H";
}

const char* AsnOcts::typeName() const {
    return "AsnOcts";
}

// --- Their descriptions

namespace refl {

namespace {

template <class T>
void captureBasic(CGnlTypeInfor& type, const char* name, int category) {
    static constinit CCustomBasicTypeInfor::Slot slot{nullptr};
    CCustomBasicTypeInfor::InitCustomAnyBasicTypeInfor(
        slot, name, sizeof(T), []() -> AsnType* { return new T; }, [](AsnType* object) { delete object; }, type,
        category);
}

}  // namespace

template <>
void CGnlTypeInfor::CaptureTypeInfor<AsnInt>(CGnlTypeInfor& type) {
    captureBasic<AsnInt>(type, "AsnInt", asn1::integerTag);
}

template <>
void CGnlTypeInfor::CaptureTypeInfor<AsnOcts>(CGnlTypeInfor& type) {
    captureBasic<AsnOcts>(type, "AsnOcts", asn1::octetStringTag);
}

template <>
void CGnlTypeInfor::CaptureTypeInfor<MayNullPointer<AsnInt>>(CGnlTypeInfor& type) {
    CaptureTypeInfor<AsnInt>(type);
    type.MarkNullablePointer();
}

template <>
void CGnlTypeInfor::CaptureTypeInfor<MayNullPointer<AsnOcts>>(CGnlTypeInfor& type) {
    CaptureTypeInfor<AsnOcts>(type);
    type.MarkNullablePointer();
}

}  // namespace refl
