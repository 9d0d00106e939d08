// The generic codec of records: one field after another, as the reflection service describes them.
#include <memory>
#include <ostream>

#include "asn1/tlv.h"
#include "platform/asn1.h"

namespace asn1 = frame::asn1;

using refl::CAttribInfor;
using refl::CGnlTypeInfor;
using Holding = CGnlTypeInfor::Holding;
using Kind = CGnlTypeInfor::Kind;

namespace {

using Form = CAttribInfor::Form;

const refl::CClassInfor& classOf(const AsnSequence& record) {
    CGnlTypeInfor type;
    record.GetTypeInfor(type);
    return *type.cls;
}

// One field of one record.
class Field {
public:
    Field(const CAttribInfor& attribute, const AsnSequence& record)
        : attribute_(attribute),
          member_(const_cast<char*>(reinterpret_cast<const char*>(&record)) + attribute.offset) {}

    const char* name() const { return attribute_.name.c_str(); }
    bool optional() const { return attribute_.holding == Holding::nullablePointer; }

    // The field's object; null when it is absent.
    AsnType* object() const {
        if (attribute_.holding == Holding::value) return reinterpret_cast<AsnType*>(member_);
        AsnType* object;
        std::memcpy(&object, member_, sizeof object);  // the member is a pointer to a class derived from AsnType
        return object;
    }

    // Puts `object`, owned from now on, in the place of what a pointer field held.
    void replace(AsnType* object) const {
        if (AsnType* old = this->object()) dispose(old);
        std::memcpy(member_, &object, sizeof object);
    }

    AsnLen encode(AsnBuf& buf, int format) const {
        const AsnType* value = object();
        if (value == nullptr) {
            if (optional()) return 0;
            asn1::fail(asn1::fieldNull, "null in required field", name());
        }
        switch (attribute_.form) {
            case Form::integer:
                return asn1::writeInteger(buf, attribute_.identifier, static_cast<const AsnInt&>(*value));
            case Form::octets:
                return asn1::writeOctets(buf, attribute_.identifier, static_cast<const AsnOcts&>(*value).view());
            case Form::record:
                return asn1::writeHeader(buf, attribute_.identifier,
                                         static_cast<const AsnSequence&>(*value).BEncContent(buf, format));
            default:
                return asn1::writeHeader(buf, attribute_.identifier, type().custom->encodeContent(*value, buf, format));
        }
    }

    // Takes that the field is not there.
    void decodeAbsent() const {
        if (!optional()) asn1::fail(asn1::fieldWrong, "missing field", name());
        replace(nullptr);
    }

    // Decodes contents of `length` octets; false when the field is a record or list, or the contents are not right.
    bool decodeBasic(const unsigned char* contents, unsigned length) const {
        if (attribute_.form == Form::octets) {
            static_cast<AsnOcts&>(*obtain()) = std::string_view(reinterpret_cast<const char*>(contents), length);
            return true;
        }
        if (attribute_.form != Form::integer || length < 1 || length > 4) return false;
        static_cast<AsnInt&>(*obtain()) = asn1::integerOf(contents, length);
        return true;
    }

    // Decodes what stands behind the field's identifier, whatever it is.
    [[gnu::noinline]] void decode(AsnBuf& buf, int format) const {
        const AsnLen length = asn1::readLength(buf);
        AsnType& value = *obtain();
        AsnLen counted = 0;
        switch (attribute_.form) {
            case Form::integer:
                return static_cast<AsnInt&>(value).BDecContent(buf, length, counted);
            case Form::octets:
                return static_cast<AsnOcts&>(value).BDecContent(buf, length, counted);
            case Form::record:
                return static_cast<AsnSequence&>(value).BDecContent(buf, attribute_.identifier, length, counted,
                                                                    format);
            case Form::list:
                // The list is told the identifier of its first element; what the elements must be, they check
                // themselves.
                return type().custom->decodeContent(value, buf, buf.PeekByte(), length, counted, format);
        }
    }

    void print(std::ostream& os, unsigned indent, bool newline) const {
        os << name() << ' ';
        object()->Print(os, indent, newline);
    }

    void copyFrom(const Field& other) const {
        const AsnType* source = other.object();
        if (attribute_.holding != Holding::value) return replace(source == nullptr ? nullptr : source->Clone());
        AsnType& target = *object();
        switch (attribute_.form) {
            case Form::integer:
                static_cast<AsnInt&>(target) = static_cast<const AsnInt&>(*source);
                break;
            case Form::octets:
                static_cast<AsnOcts&>(target) = static_cast<const AsnOcts&>(*source);
                break;
            default:
                attribute_.type.custom->assign(target, *source);
        }
    }

private:
    // The field's object, made first when it is absent.
    AsnType* obtain() const {
        if (AsnType* present = object()) return present;
        AsnType* made = isBasic() ? type().basic->factory() : type().cls->factory()();
        std::memcpy(member_, &made, sizeof made);
        return made;
    }

    const CGnlTypeInfor& type() const { return attribute_.type; }
    bool isBasic() const { return type().kind == Kind::basic; }
    void dispose(AsnType* object) const { (isBasic() ? type().basic->disposer : type().cls->disposer())(object); }

    const CAttribInfor& attribute_;
    char* member_;
};

// The fields of a record, up to the end of its contents. Where reading stands is kept in a local variable for as long
// as fields are numbers and short texts: that is what most records are made of.
void decodeFields(AsnSequence& record, AsnBuf& buf, int format) {
    const unsigned char* next = buf.position();
    const unsigned char* const end = next + buf.size();
    for (const CAttribInfor& attribute : classOf(record).attributes()) {
        const Field field(attribute, record);
        if (next == end || *next != attribute.identifier) {
            buf.setPosition(next);
            field.decodeAbsent();
            continue;
        }
        const std::ptrdiff_t left = end - next - 2;
        if (left >= 0 && next[1] < 0x80 && next[1] <= left && field.decodeBasic(next + 2, next[1])) {
            next += 2 + next[1];
            continue;
        }
        buf.setPosition(next + 1);
        field.decode(buf, format);
        next = buf.position();
    }
    buf.setPosition(next);
}

}  // namespace

void AsnSequence::BDec(AsnBuf& buf, AsnLen& count, int format) {
    const unsigned char* start = buf.position();
    const AsnLen length = asn1::readHeader(buf, asn1::sequenceTag, "SEQUENCE");
    AsnLen contents = 0;
    BDecContent(buf, asn1::sequenceTag, length, contents, format);
    count += static_cast<AsnLen>(buf.position() - start);
}

AsnLen AsnSequence::BEnc(AsnBuf& buf, int format) const {
    return asn1::writeHeader(buf, asn1::sequenceTag, BEncContent(buf, format));
}

AsnLen AsnSequence::BEncContent(AsnBuf& buf, int format) const {
    const auto& attributes = classOf(*this).attributes();
    AsnLen octets = 0;
    for (auto attribute = attributes.rbegin(); attribute != attributes.rend(); ++attribute) {
        octets += Field(*attribute, *this).encode(buf, format);
    }
    return octets;
}

void AsnSequence::BDecContent(AsnBuf& buf, AsnTag, AsnLen length, AsnLen& count, int format) {
    const unsigned char* start = buf.position();
    {
        const AsnBuf::Window window(buf, length);
        decodeFields(*this, buf, format);
        if (length == asnIndefiniteLength) {
            AsnLen counted = 0;
            BDecEoc(buf, counted);
        } else if (!buf.exhausted()) {
            asn1::fail(asn1::fieldWrong, "unknown, repeated or misplaced field in", typeName());
        }
    }
    count += static_cast<AsnLen>(buf.position() - start);
}

void AsnSequence::Print(std::ostream& os, unsigned indent, bool newline) const {
    const auto separate = [&](unsigned level) {
        os << (newline ? '\n' : ' ');
        if (!newline) return;
        if (const char* blanks = AsnIndent(level)) {
            os << blanks;
        } else {
            os.setstate(std::ios_base::badbit);
        }
    };
    os << '{';
    for (const CAttribInfor& attribute : classOf(*this).attributes()) {
        const Field field(attribute, *this);
        if (field.object() == nullptr) continue;
        separate(indent + 1);
        field.print(os, indent + 1, newline);
    }
    separate(indent);
    os << '}';
}

const char* AsnSequence::typeName() const {
    return classOf(*this).name().c_str();
}

void AsnSequence::CopyConstructor(const AsnSequence& other) {
    try {
        Assign(other);
    } catch (...) {
        // The record's destructor will not run.
        for (const CAttribInfor& attribute : classOf(*this).attributes()) {
            if (attribute.type.holding != Holding::value) Field(attribute, *this).replace(nullptr);
        }
        throw;
    }
}

void AsnSequence::Assign(const AsnSequence& other) {
    if (this == &other) return;
    for (const CAttribInfor& attribute : classOf(*this).attributes()) {
        Field(attribute, *this).copyFrom(Field(attribute, other));
    }
}

namespace frame {

DecodeResult decode(std::string_view octets, AsnType& into) {
    AsnBuf buf(octets);
    DecodeResult result;
    try {
        AsnLen count = 0;
        into.BDec(buf, count, 1);
        if (buf.readError()) asn1::fail(asn1::lengthBeyondEnd, "the octets end too early");
        if (!buf.exhausted()) asn1::fail(asn1::trailingOctets, "octets behind the end of the value");
        result.ok = true;
    } catch (const CSM_Exception* error) {
        const std::unique_ptr<const CSM_Exception> owner(error);
        result.code = error->code();
        result.text = error->text();
    }
    result.offset = buf.offset();
    return result;
}

}  // namespace frame
