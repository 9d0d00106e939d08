// Octets from somebody who means harm, or whose sending broke off: they are refused or read, and cost no more memory
// than they may; nothing is left behind. The programs of the sanitizers watch over the rest.
#include <gtest/gtest.h>

#include <random>

#include "support/heap.h"
#include "support/octets.h"
#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

constexpr std::size_t mebibyte = 1 << 20;
constexpr std::size_t memoryLimit = 64 * mebibyte;

std::string repeated(std::string_view octets, std::size_t times) {
    std::string all;
    all.reserve(octets.size() * times);
    for (; times != 0; --times) all += octets;
    return all;
}

// `contents` behind the identifier 0x30 and a definite length.
std::string sequence(const std::string& contents) {
    std::string octets = {0x30, static_cast<char>(0x84)};
    for (int shift = 24; shift >= 0; shift -= 8) octets.push_back(static_cast<char>(contents.size() >> shift));
    return octets + contents;
}

template <class T>
class HostileOctets : public testing::Test {
protected:
    // Several records, all optional fields present in some.
    static std::vector<std::string> samples() {
        support::RandomRecords random(7);
        std::vector<std::string> all;
        while (all.size() < 12) {
            T record;
            random.fill(record);
            if (std::string octets = support::encoded(record); octets.size() < 300) all.push_back(octets);
        }
        return all;
    }

    // Decodes and checks what may be said of any outcome: what was read can be written and read again, and destroying
    // what was read, all or in part, leaves nothing on the heap.
    static bool decodes(const std::string& octets) {
        T record;
        const frame::DecodeResult result = support::decode(octets, record);
        EXPECT_LE(result.offset, octets.size());
        EXPECT_EQ(result.ok, result.text.empty());
        if (result.ok) {
            T again;
            EXPECT_TRUE(support::decode(support::encoded(record), again).ok);
            EXPECT_EQ(support::encoded(again), support::encoded(record)) << support::hex(octets);
        }
        return result.ok;
    }

    static std::size_t peakOf(const std::string& octets) {
        T record;
        support::resetHeapPeak();
        const std::size_t before = support::heapUse().octets;
        (void)support::decode(octets, record);
        return support::heapPeak() - before;
    }
};
TYPED_TEST_SUITE(HostileOctets, support::RecordTypes, support::RecordNames);

TYPED_TEST(HostileOctets, TruncatedAtEveryOctetAreRefused) {
    for (const std::string& octets : this->samples()) {
        for (std::size_t size = 0; size < octets.size(); ++size) {
            EXPECT_FALSE(this->decodes(octets.substr(0, size))) << size << " of " << support::hex(octets);
        }
        EXPECT_TRUE(this->decodes(octets)) << support::hex(octets);
    }
}

TYPED_TEST(HostileOctets, WithAnyOctetChangedAreReadOrRefused) {
    for (const std::string& octets : this->samples()) {
        for (std::size_t i = 0; i < octets.size(); ++i) {
            for (const unsigned flip : {0x01u, 0x02u, 0x20u, 0x80u, 0xFFu}) {
                std::string changed = octets;
                changed[i] = static_cast<char>(static_cast<unsigned char>(changed[i]) ^ flip);
                (void)this->decodes(changed);
            }
        }
    }
}

TYPED_TEST(HostileOctets, WithALyingLengthAnywhereAreReadOrRefused) {
    for (const std::string& octets : this->samples()) {
        for (std::size_t i = 1; i < octets.size(); ++i) {
            for (const char* lie : {"80", "84 FF FF FF FF", "88 FF FF FF FF FF FF FF FF", "FF", "7F", "82 01", "00"}) {
                (void)this->decodes(octets.substr(0, i) + support::octets(lie) + octets.substr(i + 1));
            }
        }
        EXPECT_FALSE(this->decodes(octets.substr(0, 1) + support::octets("84 FF FF FF FF") + octets.substr(2)));
    }
}

TYPED_TEST(HostileOctets, OfAnotherTagAreRefused) {
    for (std::string octets : this->samples()) {
        for (int tag = 0; tag < 256; ++tag) {
            if (tag == 0x30) continue;
            octets[0] = static_cast<char>(tag);
            EXPECT_FALSE(this->decodes(octets)) << tag;
        }
    }
}

TYPED_TEST(HostileOctets, OfAHundredThousandOpeningsAreRefused) {
    for (const char* opening : {"30 80", "A0 80", "A1 80", "24 80", "30 84 7F FF FF FF"}) {
        const std::string openings = repeated(support::octets(opening), 100'000);
        EXPECT_FALSE(this->decodes(openings)) << opening;
        EXPECT_FALSE(this->decodes(support::octets("30 80") + openings)) << opening;
        for (const std::string& octets : this->samples()) {
            EXPECT_FALSE(this->decodes(octets.substr(0, 2) + openings)) << opening;
        }
    }
}

TYPED_TEST(HostileOctets, LeaveNothingOnTheHeap) {
    const std::vector<std::string> samples = this->samples();  // descriptions are made and stay
    const auto brokenOff = [&samples] {
        for (const std::string& octets : samples) {
            for (std::size_t size = 0; size <= octets.size(); ++size) {
                TypeParam record;
                (void)support::decode(octets.substr(0, size), record);
            }
        }
    };
    EXPECT_EQ(support::blocksLeftBy(brokenOff), 0);
}

// Elements that cost the most memory for the octets that they take.
const char* const costlyElements[] = {
    "02 01 00",                                                                       // integer
    "04 00",                                                                          // empty text
    "04 18 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61",  // text in memory of its own
    "30 02 04 00",                                                                    // node
    "30 04 04 00 80 00",                                                              // node with both addresses
    "30 05 04 00 02 01 00",                                                           // file
    "30 07 04 00 02 01 00 80 00",                                                     // file with contents
    "30 80",                                                                          // openings inside one another
    "00",  // end-of-contents, or nothing at all
};

// What stands before the list in the records that hold one.
const char* const beforeTheList[] = {"", "30 06 02 01 00 02 01 00", "02 01 00", "02 01 00 02 01 00"};

TYPED_TEST(HostileOctets, OfOneMebibyteCostAtMost64) {
    for (const char* element : costlyElements) {
        const std::string one = support::octets(element);
        const std::string list = repeated(one, mebibyte / one.size());
        EXPECT_LE(this->peakOf(sequence(list)), memoryLimit) << element;
        EXPECT_LE(this->peakOf(support::octets("30 80") + list), memoryLimit) << element;
        for (const char* before : beforeTheList) {
            EXPECT_LE(this->peakOf(sequence(support::octets(before) + sequence(list))), memoryLimit) << element;
            EXPECT_LE(
                this->peakOf(support::octets("30 80") + support::octets(before) + support::octets("30 80") + list),
                memoryLimit)
                << element;
        }
    }
}

TYPED_TEST(HostileOctets, OfRandomMebibytesAreRefused) {
    std::mt19937_64 random(11);
    for (int i = 0; i < 4; ++i) {
        std::string octets = support::octets("30 80");
        while (octets.size() < mebibyte) octets.push_back(static_cast<char>(random()));
        EXPECT_FALSE(this->decodes(octets));
        EXPECT_LE(this->peakOf(octets), memoryLimit);
    }
}

TEST(HostileList, OfAMillionElementsIsReadWhole) {
    asn_frame::AsnDevIDListOfNEMgr event;
    const std::string ids = repeated(support::octets("02 01 05"), 1'000'000);
    const std::string octets =
        sequence(support::octets("30 06 02 01 01 02 01 02") + sequence(ids) + support::octets("02 01 00"));
    ASSERT_TRUE(support::decode(octets, event).ok);
    EXPECT_EQ(event.devIDList.count, 1'000'000u);
}

TEST(HostileList, OfAMillionElementsThatBreaksOffKeepsThoseBefore) {
    asn_frame::AsnOctsList list;
    const std::string octets = support::octets("30 80") + repeated(support::octets("04 00"), 1'000'000);
    EXPECT_FALSE(support::decode(octets, list).ok);
    EXPECT_EQ(list.count, 1'000'000u);
}

TEST(HostileInteger, LongerThanTheFieldIsRefused) {
    for (const std::size_t size : {5u, 8u, 9u, 127u}) {
        asn_frame::AsnFrameProcID record;
        const std::string integer = std::string{0x02, static_cast<char>(size)} + std::string(size, '\0');
        const frame::DecodeResult result = support::decode(sequence(integer + support::octets("02 01 02")), record);
        EXPECT_FALSE(result.ok) << size;
        EXPECT_EQ(result.code, -57) << size;
    }
}

TEST(HostileRecord, WithARepeatedOrUnknownContextTagIsRefused) {
    const std::string fields = support::octets("30 06 02 01 01 02 01 02 30 00 02 01 00");
    for (const char* tail : {"80 01 05 80 01 05", "A1 06 02 01 01 02 01 02 80 01 05", "82 00 82 00", "83 00", "A0 00",
                             "81 00", "9F 1F 00", "BF 82 03 00", "C0 00", "40 00"}) {
        asn_frame::AsnDevIDListOfNEMgr event;
        const frame::DecodeResult result = support::decode(sequence(fields + support::octets(tail)), event);
        EXPECT_FALSE(result.ok) << tail;
        EXPECT_LT(result.code, 0) << tail;
    }
}

}  // namespace
