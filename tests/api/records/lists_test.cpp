// The lists: their wire form, their quirks, and who owns what.
#include <gtest/gtest.h>

#include <sstream>

#include "nec/records.h"
#include "support/octets.h"

using asn_frame::AsnDevIDList;
using asn_frame::AsnFrameNodeIP;
using asn_frame::AsnFrameNodeIPList;
using asn_frame::AsnOctsList;
using support::encodedHex;
using support::octets;
using support::thrownBy;

namespace {

AsnDevIDList numbers(std::initializer_list<int> values) {
    AsnDevIDList list;
    for (const int value : values) list.Append(AsnInt(value));
    return list;
}

template <class List>
std::string printed(const List& list, unsigned indent, bool newline) {
    std::ostringstream os;
    list.Print(os, indent, newline);
    return os.str();
}

std::vector<int> valuesOf(const AsnList<AsnInt>& list) {
    std::vector<int> values;
    for (const auto* node = list.first; node != nullptr; node = node->next) values.push_back(*node->element);
    return values;
}

// Contents of a list, decoded as they are within a record.
AsnLen decodeContents(AsnDevIDList& list, const std::string& contents, AsnLen length, AsnTag tag = 2) {
    AsnBuf buf{std::string_view(contents)};
    AsnLen count = 0;
    list.BDecContent(buf, tag, length, count, 1);
    return count;
}

}  // namespace

TEST(ListTest, AnEmptyListIsTwoOctets) {
    EXPECT_EQ(encodedHex(AsnDevIDList()), "3000");
    AsnBuf buf;
    EXPECT_EQ(AsnDevIDList().BEncContent(buf, 1), 0U);
}

TEST(ListTest, ElementsStandFirstToLast) {
    EXPECT_EQ(encodedHex(numbers({1, 2, 3})), "3009020101020102020103");
}

TEST(ListTest, ContentsOf127OctetsHaveAShortLengthAnd128ALongOne) {
    AsnOctsList list;
    list.Append(AsnOcts(std::string(125, 'x')));
    EXPECT_EQ(encodedHex(list).substr(0, 8), "307F047D");
    *list.first->element = std::string(126, 'x');
    EXPECT_EQ(encodedHex(list).substr(0, 10), "308180047E");
    AsnBuf buf;
    EXPECT_EQ(list.BEnc(buf, 1), 131U);
}

TEST(ListTest, DecodingAloneRefusesAnotherIdentifierThan0x30) {
    for (const char* text : {"310102", "02 01 05", "00", "", "3F01 00", "B0 00"}) {
        const std::string input = octets(text);
        AsnBuf buf{std::string_view(input)};
        AsnFrameNodeIPList list;
        AsnLen count = 0;
        const auto error = thrownBy([&] { list.BDec(buf, count, 1); });
        ASSERT_TRUE(error) << text;
        EXPECT_EQ(error->code(), -54);
        EXPECT_EQ(error->line(), 250);
        EXPECT_EQ(error->function(), "");
        EXPECT_EQ(error->file(), "api");
        EXPECT_EQ(error->text(), "AsnList::BDec: ERROR tag on SEQUENCE OF is wrong.");
        EXPECT_EQ(buf.readError(), input.empty());
    }
}

// A list that stands alone expects sequences, whatever its elements are.
TEST(ListTest, DecodingAloneAcceptsOnlySequenceElements) {
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

TEST(ListTest, TheExpectedElementIdentifierIsWhatTheCallerPasses) {
    AsnDevIDList list;
    EXPECT_EQ(decodeContents(list, octets("020105020106"), 6), 6U);
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_EQ(thrownBy([&] { decodeContents(list, octets("020105"), 3, 4); })->code(), -1);
    EXPECT_EQ(thrownBy([&] { decodeContents(list, octets("3F8101 00"), 4, 0x30); })->code(), -1);
}

TEST(ListTest, DecodingDiscardsTheOldElements) {
    AsnDevIDList list = numbers({1, 2, 3});
    decodeContents(list, octets("020109"), 3);
    EXPECT_EQ(valuesOf(list), std::vector{9});
    EXPECT_EQ(list.count, 1U);
    decodeContents(list, "", 0);
    EXPECT_EQ(list.count, 0U);
    EXPECT_EQ(list.first, nullptr);
    EXPECT_EQ(list.last, nullptr);
}

TEST(ListTest, IndefiniteContentsEndWithEndOfContents) {
    AsnDevIDList list;
    EXPECT_EQ(decodeContents(list, octets("020105 020106 0000 FF"), asnIndefiniteLength), 8U);
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_EQ(decodeContents(list, octets("0000"), asnIndefiniteLength), 2U);
    EXPECT_EQ(list.count, 0U);
}

TEST(ListTest, IndefiniteContentsThatEndEarlySetTheReadErrorFlag) {
    const std::string input = octets("020105");
    AsnBuf buf{std::string_view(input)};
    AsnDevIDList list;
    AsnLen count = 0;
    const auto error = thrownBy([&] { list.BDecContent(buf, 2, asnIndefiniteLength, count, 1); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(buf.readError());
    EXPECT_EQ(valuesOf(list), std::vector{5});
}

TEST(ListTest, ElementsBeforeAnErrorStay) {
    AsnDevIDList list;
    EXPECT_TRUE(thrownBy([&] { decodeContents(list, octets("020105 020106 040107"), 9); }));
    EXPECT_EQ(valuesOf(list), (std::vector{5, 6}));
    EXPECT_TRUE(thrownBy([&] { decodeContents(list, octets("020105 0201"), 6); }));
    EXPECT_EQ(list.count, 2U);  // the one that could not decode itself is there, with its default
}

TEST(ListTest, AppendLinksAtTheTailAndMovesTheCursor) {
    AsnDevIDList list;
    AsnInt* first = list.Append();
    EXPECT_EQ(*first, 0);
    EXPECT_EQ(list.count, 1U);
    EXPECT_EQ(list.first, list.last);
    EXPECT_EQ(list.curr, list.first);
    EXPECT_EQ(list.curr->element, first);
    list.Append(AsnInt(5));
    EXPECT_EQ(list.curr, list.last);
    EXPECT_EQ(list.first->next, list.last);
    EXPECT_EQ(list.last->prev, list.first);
    EXPECT_EQ(list.first->prev, nullptr);
    EXPECT_EQ(list.last->next, nullptr);
    EXPECT_EQ(*list.last->element, 5);
}

// Nodes come in chunks: walk lists of every length around the chunks' ends, both ways.
TEST(ListTest, ListsOfEveryLengthAreWalkedBothWaysAndCleared) {
    AsnDevIDList list;
    for (int length = 0; length < 2100; length += length < 300 ? 1 : 31) {
        list.Clear();
        for (int i = 0; i < length; ++i) list.Append(AsnInt(i));
        int expected = 0;
        for (const auto* node = list.first; node != nullptr; node = node->next) ASSERT_EQ(*node->element, expected++);
        ASSERT_EQ(expected, length);
        for (const auto* node = list.last; node != nullptr; node = node->prev) ASSERT_EQ(*node->element, --expected);
        ASSERT_EQ(expected, 0);
        ASSERT_EQ(list.count, static_cast<std::uint64_t>(length));
    }
}

TEST(ListTest, ClearEmptiesTheListAndLeavesTheCursorNull) {
    AsnDevIDList empty;
    empty.Clear();
    EXPECT_EQ(empty.curr, nullptr);
    AsnDevIDList list = numbers({1, 2});
    list.Clear();
    EXPECT_EQ(list.count, 0U);
    EXPECT_EQ(list.first, nullptr);
    EXPECT_EQ(list.last, nullptr);
    EXPECT_EQ(list.curr, nullptr);
    list.Append(AsnInt(3));
    EXPECT_EQ(valuesOf(list), std::vector{3});
}

TEST(ListTest, AssignmentCopiesDeeplyAndWalksTheSourcesCursorToItsEnd) {
    const AsnDevIDList source = numbers({1, 2, 3});
    EXPECT_EQ(source.curr, source.last);
    AsnDevIDList target = numbers({9});
    target = source;
    EXPECT_EQ(source.curr, nullptr);
    EXPECT_EQ(valuesOf(target), (std::vector{1, 2, 3}));
    *target.first->element = 7;
    EXPECT_EQ(*source.first->element, 1);
}

TEST(ListTest, AssignmentToItselfDoesNothing) {
    AsnDevIDList list = numbers({1, 2});
    const AsnDevIDList& self = list;
    list = self;
    EXPECT_EQ(valuesOf(list), (std::vector{1, 2}));
    EXPECT_EQ(list.curr, list.last);
}

TEST(ListTest, AssignmentStopsAtANodeWithoutElement) {
    AsnDevIDList source = numbers({1, 2, 3});
    AsnInt* second = std::exchange(source.first->next->element, nullptr);
    AsnDevIDList target;
    target = source;
    EXPECT_EQ(valuesOf(target), std::vector{1});
    EXPECT_EQ(source.curr, source.first->next);
    source.first->next->element = second;
}

TEST(ListTest, CloneIsADeepCopyOfTheGenericListType) {
    const AsnDevIDList source = numbers({1, 2});
    const std::unique_ptr<AsnType> clone(source.Clone());
    auto* list = dynamic_cast<AsnSeqOf<AsnInt>*>(clone.get());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(dynamic_cast<AsnDevIDList*>(clone.get()), nullptr);
    EXPECT_EQ(valuesOf(*list), (std::vector{1, 2}));
    EXPECT_EQ(source.curr, source.last);
    const AsnDevIDList copy(source);
    EXPECT_EQ(valuesOf(copy), (std::vector{1, 2}));
}

TEST(ListTest, TypeNamesNameTheTemplateForEveryElementType) {
    EXPECT_STREQ(AsnList<AsnInt>().typeName(), "AsnList<T>");
    EXPECT_STREQ(AsnSeqOf<AsnOcts>().typeName(), "AsnSeqOf<T>");
    EXPECT_STREQ(AsnDevIDList().typeName(), "AsnSeqOf<T>");
    EXPECT_STREQ(AsnFrameNodeIPList().typeName(), "AsnSeqOf<T>");
    EXPECT_STREQ(AsnPnpFileList().typeName(), "AsnSeqOf<T>");
}

TEST(ListTest, PrintPutsElementsOnOneLineOrOnLinesOfTheirOwn) {
    EXPECT_EQ(printed(numbers({1, 2}), 3, false), "- 1- 2");
    EXPECT_EQ(printed(numbers({1, 2}), 1, true), "\n  - 1\n  - 2");
    EXPECT_EQ(printed(AsnDevIDList(), 1, true), "");
    AsnFrameNodeIPList nodes;
    nodes.Append()->nmsIP = "a";
    EXPECT_EQ(printed(nodes, 0, true), "\n- { nmsIP \"a\" }");  // elements are printed on one line
}

TEST(ListTest, PrintBeyondTheIndentTableSetsTheBadBit) {
    std::ostringstream os;
    numbers({1}).Print(os, 65, true);
    EXPECT_TRUE(os.bad());
    std::ostringstream good;
    numbers({1}).Print(good, 64, true);
    EXPECT_TRUE(good.good());
}
