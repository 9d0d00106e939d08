// The reflection service: what the ASN.1 runtime's generic codec knows about a record class. A record class registers
// its name, its size, how objects are made and disposed of, and its attributes in encode order.
//
// Descriptions are made on first use, by whichever thread comes first, and live until the process ends. Reading a
// finished description is free of locks and may be done by any number of threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/export.h"

class AsnBuf;
class AsnType;

namespace refl {

class CClassInfor;
class CGnlTypeInfor;

// Access specifier of an attribute. Told, not enforced.
enum class Access : unsigned char { publicMember, protectedMember, privateMember };

using Factory = AsnType* (*)();
using Disposer = void (*)(AsnType*);
using Initialiser = void (*)(CClassInfor& cls, Access access);

// An OPTIONAL attribute: a pointer that owns its object by convention of the record that holds it (the record's
// destructor deletes it; this class does not). Null means absent.
template <class T>
class MayNullPointer {
public:
    MayNullPointer(T* object = nullptr) : object_(object) {}
    T* get() const { return object_; }
    operator T*() const { return object_; }
    T& operator*() const { return *object_; }
    T* operator->() const { return object_; }

private:
    T* object_;
};

// Tag number of an attribute without a context tag.
inline constexpr int noContextTag = -1;

// A basic type that attributes share. `category` is the number of the type's universal tag: 2 INTEGER, 4 OCTET STRING.
class FRAME_API CCustomBasicTypeInfor {
public:
    using Slot = std::atomic<const CCustomBasicTypeInfor*>;

    // Makes the description in `slot` unless one is there, and makes `type` a plain value of it.
    static void InitCustomAnyBasicTypeInfor(Slot& slot, const char* name, std::size_t size, Factory factory,
                                            Disposer disposer, CGnlTypeInfor& type, int category);

    const char* name;
    std::size_t size;
    Factory factory;
    Disposer disposer;
    int category;
};

// A list type: how the codec reaches the contents of a list that it knows only as AsnType. The list's class derives
// from AsnType alone, so that a list and its AsnType have one address.
struct CustomTypeInfor {
    std::string name;
    std::size_t size = 0;
    AsnType* (*make)(const CustomTypeInfor& type) = nullptr;
    void (*typedFactory)() = nullptr;
    Disposer disposer = nullptr;
    int kind = 0;
    unsigned long (*encodeContent)(const AsnType& list, AsnBuf& buf, int format) = nullptr;
    void (*decodeContent)(AsnType& list, AsnBuf& buf, unsigned tag, unsigned long length, unsigned long& count,
                          int format) = nullptr;
    void (*assign)(AsnType& to, const AsnType& from) = nullptr;
};

// The type of an attribute, or of an object: what it is and how it is held.
class FRAME_API CGnlTypeInfor {
public:
    enum class Kind { none, basic, custom, classType };
    enum class Holding : unsigned char { value, ownedPointer, nullablePointer };

    // Makes `type` the basic type T, or for MayNullPointer<T> a nullable pointer to it.
    template <class T>
    static void CaptureTypeInfor(CGnlTypeInfor& type);

    // Makes `type` the list type T. `kind` is 41 for lists whose elements all have the same type.
    template <class T>
    static void ChangeTypeTo_CustomType(CGnlTypeInfor& type, const char* name, std::size_t size, T* (*factory)(),
                                        Disposer disposer, int kind) {
        CustomTypeInfor description;
        description.name = name;
        description.size = size;
        description.typedFactory = reinterpret_cast<void (*)()>(factory);
        description.make = [](const CustomTypeInfor& self) -> AsnType* {
            return reinterpret_cast<T* (*)()>(self.typedFactory)();
        };
        description.disposer = disposer;
        description.kind = kind;
        description.encodeContent = [](const AsnType& list, AsnBuf& buf, int format) -> unsigned long {
            return static_cast<const T&>(list).BEncContent(buf, format);
        };
        description.decodeContent = [](AsnType& list, AsnBuf& buf, unsigned tag, unsigned long length,
                                       unsigned long& count, int format) {
            static_cast<T&>(list).BDecContent(buf, tag, length, count, format);
        };
        description.assign = [](AsnType& to, const AsnType& from) {
            static_cast<T&>(to) = static_cast<const T&>(from);
        };
        type.adoptCustom(description);
    }

    void MarkOwnedPointer() { holding = Holding::ownedPointer; }
    void MarkNullablePointer() { holding = Holding::nullablePointer; }

    Kind kind = Kind::none;
    Holding holding = Holding::value;
    const CCustomBasicTypeInfor* basic = nullptr;  // for Kind::basic
    const CustomTypeInfor* custom = nullptr;       // for Kind::custom
    const CClassInfor* cls = nullptr;              // for Kind::classType
    const AsnType* object = nullptr;               // the object described, where a record describes itself

private:
    void adoptCustom(const CustomTypeInfor& description);
};

// One attribute of a class. What the codec looks at for every field stands first.
struct CAttribInfor {
    // What the wire form of the attribute is.
    enum class Form : unsigned char { integer, octets, record, list };

    std::ptrdiff_t offset = 0;  // of the member in the object
    CGnlTypeInfor::Holding holding = CGnlTypeInfor::Holding::value;
    Form form = Form::integer;
    unsigned char identifier = 0;  // the identifier octet on the wire
    Access access = Access::publicMember;
    int tag = noContextTag;
    CGnlTypeInfor type;
    std::string name;
};

// A record class.
class FRAME_API CClassInfor {
public:
    CClassInfor(const CClassInfor&) = delete;
    CClassInfor& operator=(const CClassInfor&) = delete;
    ~CClassInfor();

    // Where the description of one class is cached.
    using Slot = std::atomic<const CClassInfor*>;

    // The description of T, made on first use and cached.
    template <class T>
    static const CClassInfor& GetClassInforImpl(const char* name, Factory factory, Disposer disposer,
                                                Initialiser initialiser) {
        static Slot slot{nullptr};
        const CClassInfor* cls = slot.load(std::memory_order_acquire);
        return cls != nullptr ? *cls : InitClassInfor(slot, name, sizeof(T), factory, disposer, initialiser);
    }
    // Makes the description in `slot` unless one is there. A class may refer to itself, and classes to each other.
    static const CClassInfor& InitClassInfor(Slot& slot, const char* name, std::size_t size, Factory factory,
                                             Disposer disposer, Initialiser initialiser);

    // Appends an attribute and returns its type for filling; valid until the next call. For initialisers only.
    template <class T, class Member>
    static CGnlTypeInfor& AddAttribInfor(CClassInfor& cls, Access access, Member T::*member, const char* name,
                                         int tag) {
        const T* object = static_cast<const T*>(cls.sample_);
        return cls.append(access, reinterpret_cast<const char*>(&(object->*member)), name, tag);
    }

    const std::string& name() const { return name_; }
    std::size_t size() const { return size_; }
    Factory factory() const { return factory_; }
    Disposer disposer() const { return disposer_; }
    // In encode order.
    const std::vector<CAttribInfor>& attributes() const { return attributes_; }

private:
    CClassInfor(const char* name, std::size_t size, Factory factory, Disposer disposer);
    void describe(Initialiser initialiser);
    CGnlTypeInfor& append(Access access, const char* member, const char* name, int tag);

    std::string name_;
    std::size_t size_;
    Factory factory_;
    Disposer disposer_;
    std::vector<CAttribInfor> attributes_;
    const AsnType* sample_ = nullptr;  // an object to find members in, while the initialiser runs
};

namespace helper {

// Makes `type` the class `cls`; `object` is the record that describes itself, or null for an attribute's type.
inline void ChangeTypeTo_ClassType(CGnlTypeInfor& type, const CClassInfor& cls, const AsnType* object) {
    type.kind = CGnlTypeInfor::Kind::classType;
    type.cls = &cls;
    type.object = object;
}

}  // namespace helper

}  // namespace refl
