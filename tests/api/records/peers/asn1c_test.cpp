// What our codec writes is what asn1c's codec writes, record by record.
#include "api/records/peers/asn1c.h"

#include <gtest/gtest.h>

#include "support/octets.h"
#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

constexpr std::uint64_t seed = 20240611;
constexpr int records = 3000;

template <class T>
class Asn1cPeer : public testing::Test {};
TYPED_TEST_SUITE(Asn1cPeer, support::RecordTypes, support::RecordNames);

TYPED_TEST(Asn1cPeer, ReadsWhatWeWriteAndWritesTheSameOctets) {
    support::RandomRecords random(seed);
    for (int i = 0; i < records; ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", record " + std::to_string(i));
        TypeParam ours;
        random.fill(ours);
        const std::string octets = support::encoded(ours);
        std::size_t used = 0;
        const auto theirs = asn1c::decode<TypeParam>(octets, &used);
        ASSERT_TRUE(theirs) << support::hex(octets);
        EXPECT_EQ(used, octets.size());
        ASSERT_TRUE(asn1c::same(ours, *theirs)) << support::hex(octets);
        ASSERT_EQ(support::hex(asn1c::encode<TypeParam>(theirs)), support::hex(octets));
    }
}

TYPED_TEST(Asn1cPeer, IsReadByUsFieldByField) {
    support::RandomRecords random(seed + 1);
    for (int i = 0; i < records; ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed + 1) + ", record " + std::to_string(i));
        TypeParam source;
        random.fill(source);
        const auto theirs = asn1c::decode<TypeParam>(support::encoded(source));
        ASSERT_TRUE(theirs);
        TypeParam ours;
        const auto result = support::decode(asn1c::encode<TypeParam>(theirs), ours);
        ASSERT_TRUE(result.ok) << result.text << " at " << result.offset;
        ASSERT_TRUE(asn1c::same(ours, *theirs));
    }
}

}  // namespace
