// openssl asn1parse, the program, accepts what we write and finds the values that we wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"
#include "support/run.h"

namespace {

constexpr std::uint64_t seed = 20240612;
constexpr int records = 400;

struct Found {
    int values = 0;    // of the outermost level
    int integers = 0;  // of any level
};

// Counts lines such as "   11:d=1  hl=2 l=   1 prim: INTEGER           :07".
Found count(const std::string& listing) {
    Found found;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        found.values += line.find(":d=0 ") != std::string::npos;
        found.integers += line.find(" prim: INTEGER ") != std::string::npos;
    }
    return found;
}

template <class T>
class OpensslPeer : public testing::Test {};
TYPED_TEST_SUITE(OpensslPeer, support::RecordTypes, support::RecordNames);

TYPED_TEST(OpensslPeer, AcceptsWhatWeWrite) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    support::RandomRecords random(seed);
    std::string octets;
    for (int i = 0; i < records; ++i) {
        TypeParam record;
        random.fill(record);
        octets += support::encoded(record);
    }
    const support::Outcome outcome = support::run({"openssl", "asn1parse", "-inform", "DER"}, octets);
    EXPECT_FALSE(outcome.timedOut);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(count(outcome.out).values, records);
    EXPECT_EQ(outcome.out.find("BAD INTEGER"), std::string::npos);
}

TEST(Openssl, FindsTheNumbersThatWeWrote) {
    asn_frame::AsnDevIDListOfNEMgr record;
    record.srcProcID->procType = 2147483647;
    record.devIDList.Append(AsnInt(-129));
    record.ownerType = -1;
    const support::Outcome outcome = support::run({"openssl", "asn1parse", "-inform", "DER"}, support::encoded(record));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(count(outcome.out).integers, 4);
    EXPECT_THAT(outcome.out, testing::HasSubstr("INTEGER           :7FFFFFFF"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("INTEGER           :-81"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("INTEGER           :-01"));
}

}  // namespace
