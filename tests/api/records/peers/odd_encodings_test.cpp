// Octets that nobody should send, or that only some senders send: what ours makes of them, and what the codecs that
// asn1c and libtasn1 generate make of them. docs/decisions/0003-odd-encodings.md gives the reasons.
#include <gtest/gtest.h>

#include "api/records/peers/asn1c.h"
#include "api/records/peers/libtasn1.h"
#include "support/octets.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

using asn_frame::AsnDevIDListOfNEMgr;
using asn_frame::AsnFrameGetNodeIPResponse;
using asn_frame::AsnFrameNodeIP;
using asn_frame::AsnFrameProcID;

// What came of decoding `octets`, as text: "refused"; "read", when the value is written again in the ordinary way;
// "kept", when it is written again as it came; "read, rest left", when octets behind the value are passed over.
std::string told(const std::string& octets, const std::string& writtenAgain, const char* ordinary) {
    if (writtenAgain == octets) return "kept";
    return writtenAgain == support::octets(ordinary) ? "read" : support::hex(writtenAgain);
}

template <class T>
std::string ours(const std::string& octets, const char* ordinary) {
    T record;
    return support::decode(octets, record).ok ? told(octets, support::encoded(record), ordinary) : "refused";
}

template <class T>
std::string asn1cs(const std::string& octets, const char* ordinary) {
    std::size_t used = 0;
    const auto record = asn1c::decode<T>(octets, &used);
    if (!record) return "refused";
    return told(octets, asn1c::encode<T>(record), ordinary) + (used < octets.size() ? ", rest left" : "");
}

template <class T>
std::string libtasn1s(const std::string& octets, const char* ordinary) {
    libtasn1::Value value(support::recordName<T>);
    return value.decode(octets) ? told(octets, value.encode(), ordinary) : "refused";
}

struct Odd {
    const char* name;
    const char* octets;
    const char* ordinary;  // how the same value is usually written; empty when there is none
    const char* ours;
    const char* asn1c;
    const char* libtasn1;
};

template <class T>
void compare(const Odd& odd) {
    SCOPED_TRACE(odd.name);
    const std::string octets = support::octets(odd.octets);
    EXPECT_EQ(ours<T>(octets, odd.ordinary), odd.ours);
    EXPECT_EQ(asn1cs<T>(octets, odd.ordinary), odd.asn1c);
    EXPECT_EQ(libtasn1s<T>(octets, odd.ordinary), odd.libtasn1);
}

constexpr const char* plainAddress = "30 06 02 01 01 02 01 02";
constexpr const char* plainEvent = "30 0D 30 06 02 01 01 02 01 02 30 00 02 01 00";

TEST(OddEncoding, LengthsAreReadInEveryFormThatBerAllows) {
    for (const Odd& odd : {
             Odd{"long form where the short one does", "30 81 06 02 01 01 02 01 02", plainAddress, "read", "read",
                 "read"},
             Odd{"long form with leading zeros", "30 84 00 00 00 06 02 01 01 02 01 02", plainAddress, "read", "read",
                 "read"},
             Odd{"long form of nine octets", "30 89 00 00 00 00 00 00 00 00 06 02 01 01 02 01 02", plainAddress, "read",
                 "read", "read"},
             Odd{"long form of an integer's length", "30 07 02 81 01 01 02 01 02", plainAddress, "read", "read",
                 "kept"},
             Odd{"indefinite", "30 80 02 01 01 02 01 02 00 00", plainAddress, "read", "read", "read"},
             Odd{"reserved first octet", "30 FF 02 01 01 02 01 02", "", "refused", "refused", "refused"},
             Odd{"indefinite integer", "30 0A 02 80 01 00 00 02 01 02", "", "refused", "refused", "refused"},
             Odd{"indefinite, end missing", "30 80 02 01 01 02 01 02", "", "refused", "refused", "refused"},
             Odd{"end-of-contents in a definite one", "30 08 02 01 01 02 01 02 00 00", "", "refused", "refused",
                 "refused"},
             Odd{"beyond the end", "30 07 02 01 01 02 01 02", "", "refused", "refused", "refused"},
             Odd{"beyond the parent", "30 06 02 01 01 02 02 02 05", "", "refused", "refused", "refused"},
             Odd{"of four billion", "30 84 FF FF FF FF 02 01 01 02 01 02", "", "refused", "refused", "refused"},
         }) {
        compare<AsnFrameProcID>(odd);
    }
    compare<AsnFrameGetNodeIPResponse>({"all indefinite",
                                        "30 80 02 01 00 30 80 30 80 04 01 61 80 01 62 00 00 00 00 00 00",
                                        "30 0D 02 01 00 30 08 30 06 04 01 61 80 01 62", "read", "read", "read"});
}

TEST(OddEncoding, IntegersOfOneToFourOctetsAreRead) {
    for (const Odd& odd : {
             Odd{"padded", "30 07 02 02 00 01 02 01 02", plainAddress, "read", "read", "kept"},
             Odd{"negative, padded", "30 09 02 04 FF FF FF FE 02 01 02", "30 06 02 01 FE 02 01 02", "read", "read",
                 "kept"},
             Odd{"padded to five octets", "30 0A 02 05 00 00 00 00 01 02 01 02", plainAddress, "refused", "read",
                 "kept"},
             Odd{"beyond 32 bits", "30 0A 02 05 01 00 00 00 00 02 01 02", "", "refused", "kept", "kept"},
             Odd{"beyond 64 bits", "30 0E 02 09 01 00 00 00 00 00 00 00 00 02 01 02", "", "refused", "refused", "kept"},
             Odd{"unsigned, with the highest of 32 bits set", "30 0A 02 05 00 FF FF FF FF 02 01 02", "", "refused",
                 "kept", "kept"},
             Odd{"without contents", "30 05 02 00 02 01 02", "30 06 02 01 00 02 01 02", "refused", "read", "kept"},
         }) {
        compare<AsnFrameProcID>(odd);
    }
}

TEST(OddEncoding, OctetStringsAreReadInPrimitiveFormOnly) {
    for (const Odd& odd : {
             Odd{"constructed", "30 08 24 06 04 01 61 04 01 62", "30 04 04 02 61 62", "refused", "read", "read"},
             Odd{"constructed, indefinite", "30 0A 24 80 04 01 61 04 01 62 00 00", "30 04 04 02 61 62", "refused",
                 "read", "read"},
             Odd{"constructed behind a context tag", "30 0B 04 01 61 A0 06 04 01 62 04 01 63",
                 "30 07 04 01 61 80 02 62 63", "refused", "read", "read"},
             Odd{"primitive, indefinite", "30 06 04 80 61 62 00 00", "", "refused", "refused", "refused"},
         }) {
        compare<AsnFrameNodeIP>(odd);
    }
}

TEST(OddEncoding, FieldsStandOnceAndInOrder) {
    for (const Odd& odd : {
             Odd{"unknown context tag behind the last", "30 10 30 06 02 01 01 02 01 02 30 00 02 01 00 83 01 05",
                 plainEvent, "refused", "refused", "refused"},
             Odd{"NULL behind the last", "30 0F 30 06 02 01 01 02 01 02 30 00 02 01 00 05 00", plainEvent, "refused",
                 "refused", "refused"},
             Odd{"repeated optional field", "30 13 30 06 02 01 01 02 01 02 30 00 02 01 00 80 01 05 80 01 06",
                 plainEvent, "refused", "refused", "refused"},
             Odd{"optional fields in another order", "30 12 30 06 02 01 01 02 01 02 30 00 02 01 00 82 00 80 01 05",
                 plainEvent, "refused", "refused", "refused"},
             Odd{"required field missing", "30 0A 30 06 02 01 01 02 01 02 30 00", "", "refused", "refused", "refused"},
             Odd{"explicit context tag", "30 12 30 06 02 01 01 02 01 02 30 00 02 01 00 A0 03 02 01 05", "", "refused",
                 "refused", "refused"},
             Odd{"context tag in the long form", "30 11 30 06 02 01 01 02 01 02 30 00 02 01 00 9F 00 01 05",
                 "30 10 30 06 02 01 01 02 01 02 30 00 02 01 00 80 01 05", "refused", "read", "read"},
             Odd{"SEQUENCE marked primitive", "10 0D 30 06 02 01 01 02 01 02 30 00 02 01 00", plainEvent, "refused",
                 "refused", "refused"},
             Odd{"text among the identifiers", "30 10 30 06 02 01 01 02 01 02 30 03 04 01 61 02 01 00", "", "refused",
                 "refused", "refused"},
         }) {
        compare<AsnDevIDListOfNEMgr>(odd);
    }
}

TEST(OddEncoding, OctetsBehindTheRecordAreRefused) {
    compare<AsnFrameProcID>(
        {"one zero octet", "30 06 02 01 01 02 01 02 00", plainAddress, "refused", "read, rest left", "refused"});
    compare<AsnFrameProcID>({"a second record", "30 06 02 01 01 02 01 02 30 06 02 01 01 02 01 02", plainAddress,
                             "refused", "read, rest left", "refused"});
    compare<AsnFrameProcID>({"nothing at all", "", "", "refused", "refused", "refused"});
}

}  // namespace
