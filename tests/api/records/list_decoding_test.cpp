// The lists: what they read, what they refuse, and what they are and where the buffer stands then.
#include <gtest/gtest.h>

#include "nec/records.h"
#include "number_list.h"
#include "support/octets.h"

using asn_frame::AsnDevIDList;
using asn_frame::AsnFrameNodeIPList;
using support::octets;
using support::thrownBy;

namespace {

// Contents of a list, decoded as they are within a record.
AsnLen decodeContents(AsnDevIDList& list, const std::string& contents, AsnLen length, AsnTag tag = 2) {
    AsnBuf buf{std::string_view(contents)};
    AsnLen count = 0;
    list.BDecContent(buf, tag, length, count, 1);
    return count;
}

// A list of one node that decoded `text` on its own: what came of it.
struct Decoded {
    explicit Decoded(std::string_view text) : input(octets(text)), buf(std::string_view(input)) {
        list.Append()->nmsIP = "old";
        error = thrownBy([this] { list.BDec(buf, count, 1); });
    }
    int code() const { return error ? error->code() : 0; }

    std::string input;
    AsnBuf buf;
    AsnFrameNodeIPList list;
    AsnLen count = 100;  // the caller has taken octets before
    std::unique_ptr<const CSM_Exception> error;
};

}  // namespace

struct Identifier {
    const char* text;
    bool brokenOff;
};

TEST(ListDecodingTest, AnotherIdentifierThan0x30IsRefusedWithNothingTakenAndTheOldElementsInPlace) {
    for (const auto& [text, brokenOff] : std::initializer_list<Identifier>{{"310102", false},
                                                                           {"02 01 05", false},
                                                                           {"00", false},
                                                                           {"", true},
                                                                           {"3F01 00", false},
                                                                           {"B0 00", false},
                                                                           {"1F", true},
                                                                           {"3F", true},
                                                                           {"3F81", true},
                                                                           {"3F 81 82 83 04 00", false}}) {
        const Decoded decoded(text);
        ASSERT_TRUE(decoded.error) << text;
        EXPECT_EQ(decoded.error->code(), -54) << text;
        EXPECT_EQ(decoded.error->line(), 250);
        EXPECT_EQ(decoded.error->function(), "");
        EXPECT_EQ(decoded.error->file(), "api");
        EXPECT_EQ(decoded.error->text(), "AsnList::BDec: ERROR tag on SEQUENCE OF is wrong.");
        EXPECT_EQ(decoded.buf.readError(), brokenOff) << text;
        EXPECT_EQ(decoded.buf.offset(), 0U) << text;
        EXPECT_EQ(decoded.count, 100U) << text;
        ASSERT_EQ(decoded.list.count, 1U);
        EXPECT_EQ(decoded.list.first->element->nmsIP.view(), "old");
    }
}

TEST(ListDecodingTest, AnElementOfAnUnreadableIdentifierIsUnexpected) {
    for (const char* text : {"30 01 3F", "30 01 1F", "30 02 3F81", "30 06 3F 81 82 83 04 00"}) {
        const Decoded decoded(text);
        ASSERT_TRUE(decoded.error) << text;
        EXPECT_EQ(decoded.error->code(), -1) << text;
        EXPECT_EQ(decoded.error->line(), 183);
        EXPECT_EQ(decoded.error->text(), "Unexpected Tag");
        EXPECT_EQ(decoded.buf.offset(), 2U) << text;
        EXPECT_EQ(decoded.list.count, 0U) << text;
    }
}

TEST(ListDecodingTest, AnIdentifierAloneIsAnEmptyListAndAReadError) {
    const Decoded decoded("30");
    EXPECT_EQ(decoded.code(), 0);
    EXPECT_TRUE(decoded.buf.readError());
    EXPECT_EQ(decoded.count, 101U);
    EXPECT_EQ(decoded.list.count, 0U);
}

TEST(ListDecodingTest, AnElementThatEndsBeforeItsLengthIsAReadError) {
    for (const char* text : {"30 01 30", "30 05 30 02 04 00 30", "30 80 30"}) {
        const Decoded decoded(text);
        EXPECT_EQ(decoded.code(), -52) << text;
        EXPECT_TRUE(decoded.buf.readError()) << text;
    }
}

TEST(ListDecodingTest, OctetsTakenAreAddedToTheCallersCount) {
    for (const char* text :
         {"30 00", "30 08 30 02 04 00 30 02 04 00", "30 80 30 02 04 00 00 00", "30 81 04 30 02 04 00"}) {
        const Decoded decoded(text);
        EXPECT_EQ(decoded.code(), 0) << text;
        EXPECT_EQ(decoded.count, 100 + decoded.input.size()) << text;
    }
    const std::string contents = octets("020105 020106");
    AsnBuf buf{std::string_view(contents)};
    AsnDevIDList list;
    AsnLen count = 7;
    list.BDecContent(buf, 2, 6, count, 1);
    EXPECT_EQ(count, 13U);
}

struct Lie {
    const char* text;
    std::size_t offset;      // where reading stops
    std::uint64_t elements;  // that the list holds then, the one that lies included
};

// The list's own length beyond the buffer, or an element's beyond the list, though the buffer has the octets.
TEST(ListDecodingTest, ALengthBeyondTheParentIsRefused) {
    for (const auto& [text, offset, elements] : std::initializer_list<Lie>{
             {"30 7F 30 04 04 02 61 62", 2, 0},
             {"30 7F", 2, 0},
             {"30 81 7F 30 04 04 02 61 62", 3, 1},  // the old one: this form is refused before the list is touched
             {"30 04 30 06 04 04 61 62 63 64", 4, 1},
             {"30 04 30 81 04 04 02 61 62", 5, 0},
             {"30 08 30 02 04 00 30 03 04 00 00", 8, 2},
             {"30 80 30 08 04 02 61 62 00 00", 4, 1},
         }) {
        const Decoded decoded(text);
        EXPECT_EQ(decoded.code(), -52) << text;
        EXPECT_EQ(decoded.buf.offset(), offset) << text;
        EXPECT_EQ(decoded.list.count, elements) << text;
    }
}

TEST(ListDecodingTest, ContentsOfALengthBeyondTheBufferAreRefusedAndTheOldElementsAreGone) {
    AsnDevIDList list;
    list.Append(AsnInt(9));
    const auto error = thrownBy([&] { decodeContents(list, octets("020105"), 4); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -52);
    EXPECT_EQ(list.count, 0U);
}

// A list that stands alone expects sequences, whatever its elements are.
TEST(ListDecodingTest, DecodingAloneAcceptsOnlySequenceElements) {
    AsnDevIDList list;
    const std::string input = octets("3003 020105");
    AsnBuf buf{std::string_view(input)};
    AsnLen count = 0;
    const auto error = thrownBy([&] { list.BDec(buf, count, 1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -1);
    EXPECT_EQ(error->line(), 183);
    EXPECT_EQ(error->function(), "");
    EXPECT_EQ(error->file(), "api");
    EXPECT_EQ(error->text(), "Unexpected Tag");
    EXPECT_EQ(buf.offset(), 2U);

    AsnFrameNodeIPList nodes;
    AsnBuf nodesBuf{std::string_view("\x30\x06\x30\x04\x04\x02\x61\x62", 8)};
    count = 0;
    nodes.BDec(nodesBuf, count, 1);
    EXPECT_EQ(count, 8U);
    EXPECT_EQ(nodes.first->element->nmsIP.view(), "ab");
}

TEST(ListDecodingTest, TheExpectedElementIdentifierIsWhatTheCallerPasses) {
    AsnDevIDList list;
    EXPECT_EQ(decodeContents(list, octets("020105020106"), 6), 6U);
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_EQ(thrownBy([&] { decodeContents(list, octets("020105"), 3, 4); })->code(), -1);
    EXPECT_EQ(thrownBy([&] { decodeContents(list, octets("3F8101 00"), 4, 0x30); })->code(), -1);
}

TEST(ListDecodingTest, DecodingDiscardsTheOldElements) {
    AsnDevIDList list = numbers({1, 2, 3});
    decodeContents(list, octets("020109"), 3);
    EXPECT_EQ(valuesOf(list), std::vector{9});
    EXPECT_EQ(list.count, 1U);
    decodeContents(list, "", 0);
    EXPECT_EQ(list.count, 0U);
    EXPECT_EQ(list.first, nullptr);
    EXPECT_EQ(list.last, nullptr);
}

TEST(ListDecodingTest, IndefiniteContentsEndWithEndOfContents) {
    AsnDevIDList list;
    EXPECT_EQ(decodeContents(list, octets("020105 020106 0000 FF"), asnIndefiniteLength), 8U);
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_EQ(decodeContents(list, octets("0000"), asnIndefiniteLength), 2U);
    EXPECT_EQ(list.count, 0U);
}

TEST(ListDecodingTest, IndefiniteContentsThatEndEarlySetTheReadErrorFlag) {
    const std::string input = octets("020105");
    AsnBuf buf{std::string_view(input)};
    AsnDevIDList list;
    AsnLen count = 0;
    const auto error = thrownBy([&] { list.BDecContent(buf, 2, asnIndefiniteLength, count, 1); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(buf.readError());
    EXPECT_EQ(valuesOf(list), std::vector{5});
}

TEST(ListDecodingTest, ElementsBeforeAnErrorStay) {
    AsnDevIDList list;
    EXPECT_TRUE(thrownBy([&] { decodeContents(list, octets("020105 020106 040107"), 9); }));
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_TRUE(thrownBy([&] { decodeContents(list, octets("020105 0201"), 5); }));
    EXPECT_EQ(list.count, 2U);  // the one that could not decode itself is there, with its default
}
