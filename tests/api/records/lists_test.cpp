// The lists: how they are written, their quirks, and who owns what.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <utility>

#include "nec/records.h"
#include "number_list.h"
#include "support/octets.h"

using asn_frame::AsnDevIDList;
using asn_frame::AsnFrameNodeIP;
using asn_frame::AsnFrameNodeIPList;
using asn_frame::AsnOctsList;
using support::encodedHex;

namespace {

template <class List>
std::string printed(const List& list, unsigned indent, bool newline) {
    std::ostringstream os;
    list.Print(os, indent, newline);
    return os.str();
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

// Whoever takes an element away leaves its node.
TEST(ListTest, NodesWithoutElementAreCopiedPrintedAndEncodedAsIfTheyWereNotThere) {
    AsnDevIDList list = numbers({1, 2, 3});
    for (auto* node : {list.first, list.first->next, list.last}) {
        AsnInt* taken = std::exchange(node->element, nullptr);
        std::vector<int> left{1, 2, 3};
        left.erase(std::find(left.begin(), left.end(), static_cast<int>(*taken)));
        const AsnDevIDList copy(list);
        EXPECT_EQ(valuesOf(copy), left);
        const std::unique_ptr<AsnType> clone(list.Clone());
        EXPECT_EQ(valuesOf(dynamic_cast<AsnSeqOf<AsnInt>&>(*clone)), left);
        EXPECT_EQ(printed(list, 0, false), printed(copy, 0, false));
        EXPECT_EQ(printed(list, 1, true), printed(copy, 1, true));
        EXPECT_EQ(encodedHex(list), encodedHex(copy));
        node->element = taken;
    }
}

TEST(ListTest, AListWhoseOnlyElementWasTakenAwayIsClearedAndEncodedAsEmpty) {
    AsnDevIDList list = numbers({1});
    delete std::exchange(list.first->element, nullptr);
    EXPECT_EQ(encodedHex(list), "3000");
    list.Clear();
    EXPECT_EQ(list.count, 0U);
}

template <class List, class T>
void expectAssignmentFromAClone(T value) {
    List list;
    list.Append(value);
    const std::unique_ptr<AsnType> clone(list.Clone());
    List target;
    target = *static_cast<AsnSeqOf<T>*>(clone.get());
    EXPECT_EQ(encodedHex(target), encodedHex(list));
    List another;
    another = static_cast<const AsnList<T>&>(*static_cast<AsnSeqOf<T>*>(clone.get()));
    EXPECT_EQ(encodedHex(another), encodedHex(list));
}

TEST(ListTest, ListsOfANameTakeWhatAnyListOfTheirElementsHolds) {
    expectAssignmentFromAClone<AsnDevIDList>(AsnInt(5));
    expectAssignmentFromAClone<AsnOctsList>(AsnOcts("a"));
    expectAssignmentFromAClone<AsnFrameNodeIPList>(AsnFrameNodeIP());
    expectAssignmentFromAClone<AsnPnpFileList>(AsnPnpFile());
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
