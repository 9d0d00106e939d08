// The ASN.1 runtime: BER buffers, the two scalar types that records use, the base of all records, and decoding of
// untrusted octets.
//
// Wire form (ITU-T X.690): definite lengths in the fewest octets are written (8.1.3, 10.1); definite and indefinite
// lengths are read. Context tags of optional fields are IMPLICIT (X.680 31.2.7): [n] replaces the field's own tag.
// Octet strings are written and read in primitive form only.
//
// Errors while reading are `CSM_Exception` thrown by pointer; whoever catches one deletes it. `frame::decode` does
// that for you. Objects of this header may be used by one thread at a time; different objects by different threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>

#include "platform/export.h"
#include "platform/octets.h"
#include "platform/refl.h"

// What is wrong with octets that were to be decoded. Thrown by pointer (`throw new CSM_Exception(...)`).
class FRAME_API CSM_Exception {
public:
    // `code`: negative number of the error. `line`, `function`, `file`: where it was raised. `text`: for people.
    CSM_Exception(int code, int line, const char* function, const char* file, const char* text);

    int code() const { return code_; }
    int line() const { return line_; }
    const std::string& function() const { return function_; }
    const std::string& file() const { return file_; }
    const std::string& text() const { return text_; }

private:
    int code_;
    int line_;
    std::string function_;
    std::string file_;
    std::string text_;
};

// Identifier octets read as one big-endian number: 0x30 for SEQUENCE, 0x1F8101 for a three-octet identifier.
using AsnTag = std::uint32_t;
// A number of octets.
using AsnLen = std::uint64_t;

// "The length is indefinite": contents end with end-of-contents octets (X.690 8.1.3.6).
inline constexpr AsnLen asnIndefiniteLength = ~AsnLen{0};

// A run of octets: written back to front (the last octet first), read front to back.
//
// Reading past the end gives 0 and sets the read-error flag, which stays set; nothing outside the run is touched.
// A buffer does not own octets that it was made to read.
class FRAME_API AsnBuf {
public:
    // An empty buffer to write to.
    AsnBuf() : begin_(inline_), end_(inline_ + sizeof inline_), cursor_(end_) {}
    // A buffer that reads `octets`, which must outlive it.
    explicit AsnBuf(std::string_view octets)
        : begin_(reinterpret_cast<unsigned char*>(const_cast<char*>(octets.data()))),
          end_(begin_ + octets.size()),
          cursor_(begin_) {}
    ~AsnBuf();
    AsnBuf(const AsnBuf&) = delete;
    AsnBuf& operator=(const AsnBuf&) = delete;

    // --- Writing. Each throws std::bad_alloc when memory runs out, and leaves what was written before.

    // Puts one octet before all that was written so far.
    void PutByteRvs(unsigned char octet) {
        if (cursor_ == begin_) grow(1);
        *--cursor_ = octet;
    }
    // Puts `size` octets, in their order, before all that was written so far.
    void PutSegRvs(const void* octets, std::size_t size) {
        if (static_cast<std::size_t>(cursor_ - begin_) < size && !room(size)) return;
        cursor_ -= size;
        if (size != 0) std::memcpy(cursor_, octets, size);
    }
    // Makes room for `size` octets, at most `scratch`, and returns where they begin; the caller fills them all. Octets
    // before them may be scribbled on, as far as `scratch` octets before what was written until now.
    static constexpr std::size_t scratch = 32;
    unsigned char* claimRvs(std::size_t size) {
        if (static_cast<std::size_t>(cursor_ - begin_) < scratch) grow(scratch);
        return cursor_ -= size;
    }

    // The octets written and not yet read, or still to be read. Valid until the next write, or the buffer's end.
    const unsigned char* data() const { return cursor_; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - cursor_); }
    std::string_view view() const { return {reinterpret_cast<const char*>(cursor_), size()}; }

    // --- Reading.

    bool exhausted() const { return cursor_ == end_; }
    // The next octet without taking it; 0 when there is none.
    unsigned char PeekByte() const { return exhausted() ? static_cast<unsigned char>(0) : *cursor_; }
    // The octet `ahead` octets after the next one without taking it; 0 when there is none.
    unsigned char PeekByte(std::size_t ahead) const {
        return ahead < size() ? cursor_[ahead] : static_cast<unsigned char>(0);
    }
    // Takes the next octet; gives 0 and sets the read-error flag when there is none.
    unsigned char GetByte() {
        if (exhausted()) {
            readError_ = true;
            return 0;
        }
        return *cursor_++;
    }
    // Takes `size` octets and gives where they stand; null, with the read-error flag set and nothing taken, when
    // fewer are left.
    const unsigned char* GetSeg(AsnLen size) {
        if (size > this->size()) {
            readError_ = true;
            return nullptr;
        }
        const unsigned char* octets = cursor_;
        cursor_ += size;
        return octets;
    }

    bool readError() const { return readError_; }
    void setReadError() { readError_ = true; }

    // A reading position to come back to after looking ahead. Valid in this buffer, at the same nesting.
    const unsigned char* position() const { return cursor_; }
    void setPosition(const unsigned char* position) { cursor_ = const_cast<unsigned char*>(position); }
    // Octets read so far. After an exception: the offset of the first octet of what is wrong.
    std::size_t offset() const { return static_cast<std::size_t>(cursor_ - begin_); }

    // While it lives, the buffer ends where the contents of one value end, so that nothing inside can reach beyond
    // its parent. Throws (code -60) for the 65th window inside one another, which bounds recursion, and (code -52) for
    // a length beyond what is left.
    class FRAME_API Window {
    public:
        // `length`: of the contents that come next; or asnIndefiniteLength, which leaves the end where it is.
        Window(AsnBuf& buf, AsnLen length) : buf_(buf), outerEnd_(buf.end_) {
            if (buf.depth_ == deepest) failTooDeep();
            if (length <= buf.size()) {
                buf.end_ = buf.cursor_ + length;
            } else if (length != asnIndefiniteLength) {
                failTooLong();
            }
            ++buf.depth_;
        }
        ~Window() {
            --buf_.depth_;
            buf_.end_ = outerEnd_;
        }
        Window(const Window&) = delete;
        Window& operator=(const Window&) = delete;

    private:
        static constexpr unsigned deepest = 64;
        [[noreturn]] static void failTooDeep();
        [[noreturn]] static void failTooLong();

        AsnBuf& buf_;
        unsigned char* outerEnd_;
    };

    // How a buffer that is written to makes room. `doubling`: by copying to twice the memory. `measuring`: likewise,
    // but from the first run of 4096 octets or more that does not fit, octets are no longer kept (`measuring()` tells;
    // what operations return still counts them), so that the caller can write again into memory of the right size.
    enum class Growth { doubling, measuring };
    explicit AsnBuf(Growth growth) : AsnBuf() { growth_ = growth; }
    bool measuring() const { return measuring_; }
    // A buffer that writes into the caller's memory, which must outlive it, for as long as that has room.
    AsnBuf(unsigned char* memory, std::size_t capacity) : begin_(memory), end_(memory + capacity), cursor_(end_) {}

private:
    void grow(std::size_t size);
    bool room(std::size_t size);

    unsigned char* begin_;
    unsigned char* end_;
    unsigned char* cursor_;
    unsigned depth_ = 0;
    bool readError_ = false;
    bool owned_ = false;
    bool measuring_ = false;
    Growth growth_ = Growth::doubling;
    unsigned char inline_[512];
};

// Continues reading identifier octets in the high-tag-number form (X.690 8.1.2.4) after `first`, which has its low
// five bits set. Adds the octets taken to `count`. Throws (code -51) for more than four identifier octets in all.
FRAME_API AsnTag BDecTag_Impl(AsnBuf& buf, unsigned char first, AsnLen& count);
// Continues reading length octets in the long form after `first`, which is 0x80 or more; asnIndefiniteLength for 0x80.
// Adds the octets taken to `count`. Throws (code -52) for a length beyond what is left in the buffer.
FRAME_API AsnLen BDecLen_Impl(AsnBuf& buf, unsigned char first, AsnLen& count);
// Writes a definite length in the long form, in the fewest octets; returns how many.
FRAME_API AsnLen BEncDefLenImpl(AsnBuf& buf, AsnLen length);
// Takes end-of-contents octets, adding 2 to `count`. Throws (code -53) when others, or none, stand there.
FRAME_API void BDecEoc(AsnBuf& buf, AsnLen& count);
// The text that indents a line of `Print` output at `level`; null beyond level 64.
FRAME_API const char* AsnIndent(unsigned level);

// Anything that travels as ASN.1.
//
// `new` and `delete` of all that derives from it come from slabs (see platform/asn1/slab.h); any thread may delete.
class FRAME_API AsnType {
public:
    virtual ~AsnType() = default;
    // A deep copy on the heap; the caller owns it.
    virtual AsnType* Clone() const = 0;
    // Reads identifier, length and contents; adds the octets taken to `count`. Throws `CSM_Exception*`; the object
    // then holds what was decoded before the error. `format` is 1 for BER, the only one there is.
    virtual void BDec(AsnBuf& buf, AsnLen& count, int format) = 0;
    // Writes contents, length and identifier, back to front; returns the number of octets.
    virtual AsnLen BEnc(AsnBuf& buf, int format) const = 0;
    // Writes the value for people. `newline`: elements of lists start on lines of their own, indented by `indent`.
    virtual void Print(std::ostream& os, unsigned indent, bool newline) const = 0;
    virtual const char* typeName() const = 0;

    static void* operator new(std::size_t size);
    static void operator delete(void* object, std::size_t size) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}

protected:
    AsnType() = default;
    AsnType(const AsnType&) = default;
    AsnType& operator=(const AsnType&) = default;
};

// INTEGER in the range of a signed 32-bit number. Contents of 1 to 4 octets are read; others throw (code -57).
class FRAME_API AsnInt : public AsnType {
public:
    explicit AsnInt(std::int32_t value = 0) : value_(value) {}
    AsnInt& operator=(std::int32_t value) {
        value_ = value;
        return *this;
    }
    operator std::int32_t() const { return value_; }

    AsnInt* Clone() const override;
    // Lists of numbers are long: the common form is read here and at one go.
    void BDec(AsnBuf& buf, AsnLen& count, int) override {
        const unsigned char* octets = buf.position();
        if (buf.size() < 6 || octets[0] != 2 || octets[1] < 1 || octets[1] > 4) return readWhole(buf, count);
        value_ = frame::integerAtOnce(octets + 2, octets[1]);
        buf.setPosition(octets + 2 + octets[1]);
        count += octets[1] + 2U;
    }
    AsnLen BEnc(AsnBuf& buf, int format) const override;
    void Print(std::ostream& os, unsigned indent, bool newline) const override;
    const char* typeName() const override;

    // Contents alone: for a field whose identifier and length have been read.
    void BDecContent(AsnBuf& buf, AsnLen length, AsnLen& count);

private:
    void readWhole(AsnBuf& buf, AsnLen& count);

    std::int32_t value_;
};

// OCTET STRING: any octets, any number. Up to 16 stand in the object itself.
class FRAME_API AsnOcts : public AsnType {
public:
    AsnOcts() : data_(inline_), size_(0) {}
    // Copies `octets`; throws std::bad_alloc, as do copying and assigning.
    explicit AsnOcts(std::string_view octets) : AsnOcts() { assign(octets); }
    AsnOcts(const AsnOcts& other) : AsnType(other), data_(inline_), size_(0) { assign(other.view()); }
    AsnOcts& operator=(const AsnOcts& other) { return *this = other.view(); }
    AsnOcts& operator=(std::string_view octets) {
        assign(octets);
        return *this;
    }
    ~AsnOcts() override {
        if (data_ != inline_) ::operator delete(data_);
    }

    // Valid until the object is changed.
    std::string_view view() const { return {data_, size_}; }
    std::string str() const { return std::string(view()); }
    std::size_t size() const { return size_; }

    AsnOcts* Clone() const override;
    void BDec(AsnBuf& buf, AsnLen& count, int format) override;
    AsnLen BEnc(AsnBuf& buf, int format) const override;
    // Text in double quotes when all octets are printable ASCII, else hexadecimal ('0AFF'H).
    void Print(std::ostream& os, unsigned indent, bool newline) const override;
    const char* typeName() const override;

    // As AsnInt::BDecContent.
    void BDecContent(AsnBuf& buf, AsnLen length, AsnLen& count);

private:
    void assign(std::string_view octets) {
        if (octets.size() > sizeof inline_ || data_ != inline_) return assignLong(octets);
        frame::smallCopy(inline_, octets.data(), octets.size());
        size_ = octets.size();
    }
    void assignLong(std::string_view octets);

    char* data_;  // to inline_, or to memory of capacity_ octets
    std::size_t size_;
    union {
        char inline_[16];
        std::size_t capacity_;
    };
};

inline bool operator==(const AsnOcts& a, const AsnOcts& b) {
    return a.str() == b.str();
}

// Base of all records: a SEQUENCE whose fields the reflection service describes. The generic codec here walks them
// in the order of their registration; a null pointer field with a context tag is an absent OPTIONAL field.
class FRAME_API AsnSequence : public AsnType {
public:
    void BDec(AsnBuf& buf, AsnLen& count, int format) override;
    AsnLen BEnc(AsnBuf& buf, int format) const override;
    void Print(std::ostream& os, unsigned indent, bool newline) const override;
    // The name under which the record's class is registered.
    const char* typeName() const override;

    // Describes this object (not only its class) to the codec.
    virtual void GetTypeInfor(refl::CGnlTypeInfor& type) const = 0;
    virtual AsnLen BEncContent(AsnBuf& buf, int format) const;
    // `tag`: the record's own identifier, already taken; not looked at. Throws (code -56) for a missing or unexpected
    // field, a field that repeats, or octets behind the last field.
    virtual void BDecContent(AsnBuf& buf, AsnTag tag, AsnLen length, AsnLen& count, int format);

protected:
    AsnSequence() = default;
    AsnSequence(const AsnSequence&) : AsnType() {}
    AsnSequence& operator=(const AsnSequence&) = delete;

    // For the derived classes' copy constructors: `this` is freshly constructed with null pointers. Deep copy; when
    // memory runs out, what was allocated is released before the exception leaves.
    void CopyConstructor(const AsnSequence& other);
    // For the derived classes' assignment: deep copy, old owned fields are released. Same class only. When memory
    // runs out this record is usable, with some fields old and some new.
    void Assign(const AsnSequence& other);
    // For the derived classes' destructors, after they have deleted their owned fields.
    void Destructor() {}
};

namespace frame {

// What came of decoding octets from outside.
struct DecodeResult {
    bool ok = false;
    // Where reading stopped: the number of octets decoded, or the offset of the first octet of what is wrong.
    std::size_t offset = 0;
    int code = 0;      // 0, or the exception's code
    std::string text;  // what is wrong, empty when ok
};

// Decodes `octets`, all of them, into `into`. Never throws `CSM_Exception*`: what is wrong is in the result, and
// `into` then holds what was decoded before the error. Throws std::bad_alloc.
FRAME_API DecodeResult decode(std::string_view octets, AsnType& into);

}  // namespace frame

namespace refl {

template <>
FRAME_API void CGnlTypeInfor::CaptureTypeInfor<AsnInt>(CGnlTypeInfor& type);
template <>
FRAME_API void CGnlTypeInfor::CaptureTypeInfor<AsnOcts>(CGnlTypeInfor& type);
template <>
FRAME_API void CGnlTypeInfor::CaptureTypeInfor<MayNullPointer<AsnInt>>(CGnlTypeInfor& type);
template <>
FRAME_API void CGnlTypeInfor::CaptureTypeInfor<MayNullPointer<AsnOcts>>(CGnlTypeInfor& type);

}  // namespace refl
