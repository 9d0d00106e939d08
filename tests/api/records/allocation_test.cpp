// Memory runs out at every single allocation of encoding, decoding and copying: nothing leaks, and every object can
// still be used and destroyed. Under AddressSanitizer each object is an allocation of its own, elsewhere slabs are.
#include <gtest/gtest.h>

#include <memory>

#include "support/heap.h"
#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

using support::runsOut;

// More than any operation here makes.
constexpr std::size_t mostAllocations = 100'000;

template <class T>
class OutOfMemory : public testing::Test {
protected:
    // The largest of some random records: all optional fields, and elements where it has a list.
    static void fill(T& record) {
        support::RandomRecords random(3);
        for (int i = 0; i < 20; ++i) {
            T made;
            random.fill(made);
            const std::size_t size = support::encoded(made).size();
            if (size > support::encoded(record).size() && size < 2000) record = made;
        }
    }

    // Calls `scene` with 1, 2 and so on until the operation in it no longer runs out of memory at its nth allocation,
    // which is what `scene(nth)` returns. It destroys what it makes.
    template <class Scene>
    static void atEveryAllocation(Scene scene) {
        ASSERT_FALSE(scene(mostAllocations));  // once without failure: descriptions are made and stay
        const auto allOfThem = [&scene] {
            std::size_t nth = 1;
            while (nth < mostAllocations && scene(nth)) ++nth;
            EXPECT_LT(nth, mostAllocations);
        };
        EXPECT_EQ(support::blocksLeftBy(allOfThem), 0);
    }
};
TYPED_TEST_SUITE(OutOfMemory, support::RecordTypes, support::RecordNames);

TYPED_TEST(OutOfMemory, WhileEncodingLeavesTheRecordAsItWas) {
    TypeParam record;
    this->fill(record);
    const std::string octets = support::encoded(record);
    this->atEveryAllocation([&](std::size_t nth) {
        const bool failed = runsOut(nth, [&] { (void)frame::encode(record); });
        EXPECT_EQ(support::encoded(record), octets);
        return failed;
    });
}

TYPED_TEST(OutOfMemory, WhileDecodingLeavesARecordThatCanBeDecodedInto) {
    TypeParam source;
    this->fill(source);
    const std::string octets = support::encoded(source);
    this->atEveryAllocation([&](std::size_t nth) {
        TypeParam fresh;
        TypeParam used(source);
        const bool failed = runsOut(nth, [&] { (void)support::decode(octets, fresh); });
        runsOut(nth, [&] { (void)support::decode(octets, used); });
        for (TypeParam* record : {&fresh, &used}) {
            EXPECT_TRUE(support::decode(octets, *record).ok);
            EXPECT_EQ(support::encoded(*record), octets);
        }
        return failed;
    });
}

TYPED_TEST(OutOfMemory, WhileTellingWhatIsWrongLeavesNothingBehind) {
    TypeParam source;
    this->fill(source);
    const std::string octets = support::encoded(source);
    const std::string broken = octets.substr(0, octets.size() - 1);
    this->atEveryAllocation([&](std::size_t nth) {
        TypeParam record;
        return runsOut(nth, [&] { EXPECT_FALSE(support::decode(broken, record).ok); });
    });
}

TYPED_TEST(OutOfMemory, WhileCloningLeavesNothingBehind) {
    TypeParam record;
    this->fill(record);
    this->atEveryAllocation([&](std::size_t nth) {
        std::unique_ptr<AsnType> clone;
        const bool failed = runsOut(nth, [&] { clone.reset(record.Clone()); });
        EXPECT_EQ(clone == nullptr, failed);
        return failed;
    });
}

TYPED_TEST(OutOfMemory, WhileCopyingLeavesNothingBehind) {
    TypeParam record;
    this->fill(record);
    this->atEveryAllocation([&](std::size_t nth) { return runsOut(nth, [&] { const TypeParam copy(record); }); });
}

TYPED_TEST(OutOfMemory, WhileAssigningLeavesATargetThatCanBeAssignedTo) {
    TypeParam record;
    this->fill(record);
    this->atEveryAllocation([&](std::size_t nth) {
        TypeParam empty;
        TypeParam full(record);
        const bool failed = runsOut(nth, [&] { empty = record; });
        runsOut(nth, [&] { full = record; });
        for (TypeParam* target : {&empty, &full}) {
            (void)support::encoded(*target);
            *target = record;
            EXPECT_EQ(support::encoded(*target), support::encoded(record));
        }
        return failed;
    });
}

// A file whose contents are long enough to be measured first: the memory that they are then written to fails.
TEST(OutOfMemoryWhileEncoding, AFileMeasuredFirstLeavesItAsItWas) {
    AsnPnpFile file;
    file.fileName = "name";
    for (const std::size_t size : {4096U, 70'000U}) {
        delete file.fileContent.get();
        file.fileContent = new AsnOcts(std::string(size, 'x'));
        const std::string octets = support::encoded(file);
        std::size_t failures = 0;
        const auto allOfThem = [&] {
            failures = 0;
            while (runsOut(failures + 1, [&] { (void)frame::encode(file); })) {
                ++failures;
                EXPECT_EQ(support::encoded(file), octets);
            }
        };
        EXPECT_EQ(support::blocksLeftBy(allOfThem), 0);
        EXPECT_EQ(failures, 1U);  // measuring takes no memory, so this is the memory to write to
    }
}

}  // namespace
