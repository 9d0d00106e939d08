// String coders as objects: who releases the implementation, and in which order their virtual operations stand.
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <type_traits>

#include "support/slots.h"
#include "trapserver/string_coder.h"

namespace {

using NEC::CCommaDecoder;
using NEC::CCommaEncoder;
using NEC::CStringCoder;
using NEC::CStringCoderImpl;
using support::slotOf;

TEST(StringCoder, IsNeitherCopiedNorMoved) {
    EXPECT_FALSE(std::is_copy_constructible_v<CCommaEncoder>);
    EXPECT_FALSE(std::is_copy_assignable_v<CCommaEncoder>);
    EXPECT_FALSE(std::is_move_constructible_v<CCommaDecoder>);
    EXPECT_FALSE(std::is_copy_constructible_v<CStringCoderImpl>);
}

TEST(StringCoder, IsOnePointerBehindItsOperations) {
    EXPECT_EQ(sizeof(CStringCoder), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(CCommaEncoder), sizeof(CStringCoder));
    EXPECT_EQ(sizeof(CCommaDecoder), sizeof(CStringCoder));
}

// How many implementations were released, by an implementation that counts.
int released = 0;

class CountedImpl : public CStringCoderImpl {
public:
    using CStringCoderImpl::CStringCoderImpl;
    ~CountedImpl() override { ++released; }
};

template <class Coder>
class Counted : public Coder {
public:
    template <class... Arguments>
    explicit Counted(const Arguments&... arguments) : Coder(arguments...) {
        delete this->impl_;
        this->impl_ = new CountedImpl("text");
    }
    CStringCoderImpl* impl() const { return this->impl_; }
};

TEST(StringCoder, DerivedDestructorsReleaseTheImplementation) {
    released = 0;
    { const Counted<CCommaEncoder> encoder; }
    EXPECT_EQ(released, 1);
    { const Counted<CCommaDecoder> decoder(std::string("a")); }
    EXPECT_EQ(released, 2);
}

TEST(StringCoder, BaseDestructorLeavesTheImplementation) {
    released = 0;
    CStringCoderImpl* impl = nullptr;
    {
        const Counted<CStringCoder> coder;
        impl = coder.impl();
        EXPECT_EQ(coder.str(), "text");
    }
    EXPECT_EQ(released, 0);
    delete impl;
}

// An operation that returns a text by value, and a destructor, are functions of this shape.
using Str = std::string(const void*);
using Count = int(const void*);
using Destroy = void(void*);

TEST(StringCoderSlots, ImplementationHasDestructorsStrCount) {
    released = 0;
    alignas(CountedImpl) unsigned char memory[sizeof(CountedImpl)];
    void* const placed = new (memory) CountedImpl("a,b");
    EXPECT_EQ(slotOf<Str>(placed, 2)(placed), "a,b");
    EXPECT_EQ(slotOf<Count>(placed, 3)(placed), 2);
    slotOf<Destroy>(placed, 0)(placed);
    EXPECT_EQ(released, 1);
    void* const own = new CountedImpl("a");
    slotOf<Destroy>(own, 1)(own);  // gives its memory back, or the sanitizers say so
    EXPECT_EQ(released, 2);
}

template <class Coder, class... Arguments>
void expectStrCountDestructors(const Arguments&... arguments) {
    released = 0;
    alignas(Coder) unsigned char memory[sizeof(Coder)];
    void* const placed = new (memory) Coder(arguments...);
    EXPECT_EQ(slotOf<Str>(placed, 0)(placed), "text");
    EXPECT_EQ(slotOf<Count>(placed, 1)(placed), 1);
    slotOf<Destroy>(placed, 2)(placed);
    EXPECT_EQ(released, 1);
    void* const own = new Coder(arguments...);
    slotOf<Destroy>(own, 3)(own);
    EXPECT_EQ(released, 2);
}

TEST(StringCoderSlots, CodersHaveStrCountDestructors) {
    expectStrCountDestructors<Counted<CCommaEncoder>>();
    expectStrCountDestructors<Counted<CCommaDecoder>>(std::string("a"));
}

}  // namespace
