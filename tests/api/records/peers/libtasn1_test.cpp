// What our codec writes is what libtasn1 writes, record by record.
#include "api/records/peers/libtasn1.h"

#include <gtest/gtest.h>

#include "support/octets.h"
#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

constexpr std::uint64_t seed = 20240613;
constexpr int records = 1000;

template <class T>
class Libtasn1Peer : public testing::Test {};
TYPED_TEST_SUITE(Libtasn1Peer, support::RecordTypes, support::RecordNames);

TYPED_TEST(Libtasn1Peer, ReadsWhatWeWriteAndWritesTheSameOctets) {
    support::RandomRecords random(seed);
    for (int i = 0; i < records; ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", record " + std::to_string(i));
        TypeParam ours;
        random.fill(ours);
        const std::string octets = support::encoded(ours);
        libtasn1::Value theirs(support::recordName<TypeParam>);
        ASSERT_TRUE(theirs.decode(octets)) << support::hex(octets);
        ASSERT_TRUE(theirs.holds(libtasn1::flatten(ours))) << support::hex(octets);
        ASSERT_EQ(support::hex(theirs.encode()), support::hex(octets));
    }
}

TYPED_TEST(Libtasn1Peer, IsReadByUsFieldByField) {
    support::RandomRecords random(seed + 1);
    for (int i = 0; i < records; ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed + 1) + ", record " + std::to_string(i));
        TypeParam source;
        random.fill(source);
        libtasn1::Value theirs(support::recordName<TypeParam>);
        theirs.set(libtasn1::flatten(source));
        TypeParam ours;
        const auto result = support::decode(theirs.encode(), ours);
        ASSERT_TRUE(result.ok) << result.text << " at " << result.offset;
        ASSERT_TRUE(theirs.holds(libtasn1::flatten(ours)));
    }
}

}  // namespace
