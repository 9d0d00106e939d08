// The one-time construction of descriptions.
#include "platform/refl.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <thread>

#include "platform/asn1.h"

namespace {

using refl::Access;
using refl::CClassInfor;
using refl::CGnlTypeInfor;

AsnType* makeInt() {
    return new AsnInt;
}
void dispose(AsnType* object) {
    delete object;
}

}  // namespace

TEST(ReflTest, ThreadsThatRaceToDescribeAClassGetOneDescription) {
    static CClassInfor::Slot slot{nullptr};
    std::vector<const CClassInfor*> seen(8);
    std::vector<std::thread> threads;
    for (const CClassInfor*& mine : seen) {
        threads.emplace_back([&mine] {
            mine = &CClassInfor::InitClassInfor(slot, "Raced", 16, makeInt, dispose, [](CClassInfor&, Access) {});
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<const CClassInfor*>(seen.begin(), seen.end()).size(), 1U);
    EXPECT_EQ(seen[0]->name(), "Raced");
    EXPECT_EQ(seen[0]->size(), 16U);
}

TEST(ReflTest, AnInitialiserThatThrowsLeavesNothingAndMayBeTriedAgain) {
    static CClassInfor::Slot slot{nullptr};
    const auto failing = [](CClassInfor&, Access) { throw std::runtime_error("no"); };
    EXPECT_THROW(CClassInfor::InitClassInfor(slot, "Tried", 16, makeInt, dispose, failing), std::runtime_error);
    EXPECT_EQ(slot.load(), nullptr);
    const CClassInfor& cls =
        CClassInfor::InitClassInfor(slot, "Tried", 16, makeInt, dispose, [](CClassInfor&, Access) {});
    EXPECT_EQ(&cls, slot.load());
}

TEST(ReflTest, BasicTypesAreDescribedOnceAndShared) {
    CGnlTypeInfor plain;
    CGnlTypeInfor nullable;
    CGnlTypeInfor::CaptureTypeInfor<AsnInt>(plain);
    CGnlTypeInfor::CaptureTypeInfor<refl::MayNullPointer<AsnInt>>(nullable);
    EXPECT_EQ(plain.basic, nullable.basic);
    EXPECT_EQ(plain.holding, CGnlTypeInfor::Holding::value);
    EXPECT_EQ(nullable.holding, CGnlTypeInfor::Holding::nullablePointer);
    EXPECT_STREQ(plain.basic->name, "AsnInt");
    EXPECT_EQ(plain.basic->size, sizeof(AsnInt));
    EXPECT_EQ(plain.basic->category, 2);
    CGnlTypeInfor octets;
    CGnlTypeInfor::CaptureTypeInfor<refl::MayNullPointer<AsnOcts>>(octets);
    EXPECT_STREQ(octets.basic->name, "AsnOcts");
    EXPECT_EQ(octets.basic->size, sizeof(AsnOcts));
    EXPECT_EQ(octets.basic->category, 4);
    const std::unique_ptr<AsnType, refl::Disposer> made(octets.basic->factory(), octets.basic->disposer);
    EXPECT_STREQ(made->typeName(), "AsnOcts");
}

TEST(ReflTest, TagNumbersThatNeedLongIdentifiersAreRefused) {
    static CClassInfor::Slot slot{nullptr};
    struct Holder : AsnInt {
        AsnInt member;
    };
    const auto initialiser = [](CClassInfor& cls, Access access) {
        CClassInfor::AddAttribInfor(cls, access, &Holder::member, "member", 31);
    };
    EXPECT_THROW(CClassInfor::InitClassInfor(
                     slot, "Holder", sizeof(Holder), []() -> AsnType* { return new Holder; }, dispose, initialiser),
                 std::invalid_argument);
}
