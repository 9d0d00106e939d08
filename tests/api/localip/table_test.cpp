// Matching an NE's address against a NAT table, and reading the answer.
#include <gmock/gmock.h>

#include "localip/nms_lookup.h"
#include "plain.h"
#include "support/logged.h"

namespace {

using asn_frame::AsnFrameGetNodeIPResponse;
using asn_frame::AsnFrameNodeIPList;
using NEC::NatInfo;
using testing::ElementsAre;
using testing::IsEmpty;

// The nodes as texts: "NMS", or "NMS via NAT".
std::vector<std::string> nodes(const AsnFrameNodeIPList& list) {
    std::vector<std::string> all;
    for (const auto* node = list.first; node != nullptr; node = node->next) {
        std::string text = node->element->nmsIP.str();
        if (node->element->natIP != nullptr) text += " via " + node->element->natIP->str();
        all.push_back(text);
    }
    return all;
}

std::vector<std::string> matches(const std::vector<NatInfo>& table, const std::string& remoteIp) {
    AsnFrameGetNodeIPResponse response;
    NEC::GetOneLocalIpRspFromIpTable(table, remoteIp, response);
    return nodes(response.nodeIPList);
}

std::vector<std::string> matches(const std::string& beginIP, const std::string& endIP, const std::string& remoteIp) {
    return matches({{beginIP, endIP, "n", ""}}, remoteIp);
}

TEST(TableMatch, BothEndsOfTheRangeAreInside) {
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "10.0.0.1"), ElementsAre("n"));
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "10.0.0.10"), ElementsAre("n"));
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.1", "10.0.0.1"), ElementsAre("n"));
}

TEST(TableMatch, OneBesideTheRangeIsOutside) {
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "10.0.0.0"), IsEmpty());
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "10.0.0.11"), IsEmpty());
}

TEST(TableMatch, NothingLiesInARangeThatEndsBeforeItBegins) {
    for (const char* address : {"10.0.0.1", "10.0.0.5", "10.0.0.10"}) {
        EXPECT_THAT(matches("10.0.0.10", "10.0.0.1", address), IsEmpty()) << address;
    }
}

TEST(TableMatch, AddressesCompareAsNumbersNotAsTexts) {
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "10.0.0.9"), ElementsAre("n"));
    EXPECT_THAT(matches("9.0.0.0", "200.0.0.0", "128.0.0.1"), ElementsAre("n"));  // nor as signed numbers
}

TEST(TableMatch, WhatIsNoAddressIsTheHighestOne) {
    EXPECT_THAT(matches("10.0.0.1", "", "10.0.0.2"), ElementsAre("n"));
    EXPECT_THAT(matches("", "", "x"), ElementsAre("n"));
    EXPECT_THAT(matches("10.0.0.1", "10.0.0.10", "x"), IsEmpty());
    EXPECT_THAT(matches("", "10.0.0.10", "10.0.0.2"), IsEmpty());
}

TEST(TableMatch, OverlappingRowsAllMatchInTableOrder) {
    const std::vector<NatInfo> table{{"10.0.0.1", "10.0.0.10", "n1", "a1"},
                                     {"10.0.0.20", "10.0.0.30", "n2", "a2"},
                                     {"10.0.0.5", "10.0.0.15", "n3", ""},
                                     {"10.0.0.1", "10.0.0.10", "n1", "a1"}};
    EXPECT_THAT(matches(table, "10.0.0.7"), ElementsAre("n1 via a1", "n3", "n1 via a1"));
}

TEST(TableMatch, EmptyNmsAddressLeavesTheNodesEmpty) {
    EXPECT_THAT(matches({{"10.0.0.1", "10.0.0.9", "", "a"}}, "10.0.0.1"), ElementsAre(" via a"));
}

TEST(TableMatch, ReplacesWhatTheResponseHeld) {
    AsnFrameGetNodeIPResponse response;
    response.result = 7;
    response.nodeIPList.Append()->nmsIP = "old";
    NEC::GetOneLocalIpRspFromIpTable({}, "10.0.0.1", response);
    EXPECT_EQ(response.result, 0);
    EXPECT_EQ(response.nodeIPList.count, 0U);
}

TEST(TableMatch, LogsEveryRowInOneRecordAndTracesTheMatch) {
    const std::vector<NatInfo> table{{"10.0.0.1", "10.0.0.10", "1.1.1.1", "2.2.2.2"},
                                     {"192.168.0.1", "", "3.3.3.3", "4.4.4.4"},
                                     {"0.0.0.0", "255.255.255.255", "5.5.5.5", ""}};
    AsnFrameGetNodeIPResponse response;
    const frame::LogCapture log;
    NEC::GetOneLocalIpRspFromIpTable(table, "10.0.0.9", response);
    EXPECT_THAT(
        logged::lines(log),
        ElementsAre("trace [GetLocalIpRspFromDB] NAT IP is 2.2.2.2", "trace [GetLocalIpRspFromDB] NMS IP is 1.1.1.1",
                    "trace [GetLocalIpRspFromDB] NMS IP is 5.5.5.5",
                    "info GetOneLocalIpRspFromIpTable "
                    "[GetLocalIpRspFromDB] ulRemoteIp=167772169, beginIP=167772161, endIP=167772170\n"
                    "[GetLocalIpRspFromDB] ulRemoteIp=167772169, beginIP=-1062731775, endIP=-1\n"
                    "[GetLocalIpRspFromDB] ulRemoteIp=167772169, beginIP=0, endIP=-1\n"));
}

TEST(TableMatch, LogsAnEmptyTextForAnEmptyTable) {
    AsnFrameGetNodeIPResponse response;
    const frame::LogCapture log;
    NEC::GetOneLocalIpRspFromIpTable({}, "10.0.0.9", response);
    EXPECT_THAT(logged::lines(log), ElementsAre("info GetOneLocalIpRspFromIpTable "));
}

TEST(TableMatch, LongTablesGiveWhatThePlainLoopGives) {
    std::vector<NatInfo> table;
    for (std::uint32_t i = 0; i < 3000; ++i) {
        const std::string third = std::to_string(i % 256);
        table.push_back({"10.0." + third + ".1", "10.0." + third + '.' + std::to_string(i / 10), "n" + third, third});
    }
    AsnFrameGetNodeIPResponse expected;
    std::string text;
    plain::matchTable(table, "10.0.7.77", expected, &text);
    AsnFrameGetNodeIPResponse response;
    const frame::LogCapture log;
    NEC::GetOneLocalIpRspFromIpTable(table, "10.0.7.77", response);
    EXPECT_THAT(nodes(response.nodeIPList), testing::ElementsAreArray(nodes(expected.nodeIPList)));
    EXPECT_GT(expected.nodeIPList.count, 1U);
    EXPECT_EQ(log.records().back().text, text);
}

// --- Reading an answer

struct Choice {
    int code = 0;
    std::string localIp;
    friend bool operator==(const Choice& a, const Choice& b) { return a.code == b.code && a.localIp == b.localIp; }
    friend std::ostream& operator<<(std::ostream& os, const Choice& choice) {
        return os << choice.code << ' ' << choice.localIp;
    }
};

Choice choose(const std::string& southIp, AsnFrameNodeIPList& list) {
    Choice choice{0, "untouched"};
    choice.code = NEC::GetNmsIPOrNATIP(choice.localIp, southIp, list);
    return choice;
}

void append(AsnFrameNodeIPList& list, std::string_view nmsIP) {
    list.Append()->nmsIP = nmsIP;
}
void append(AsnFrameNodeIPList& list, std::string_view nmsIP, std::string_view natIP) {
    append(list, nmsIP);
    list.last->element->natIP = new AsnOcts(natIP);
}

TEST(AnswerChoice, NoNodesGiveTheSouthAddressAndLogNothing) {
    AsnFrameNodeIPList list;
    const frame::LogCapture log;
    EXPECT_EQ(choose("1.1.1.1", list), (Choice{0, "1.1.1.1"}));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(AnswerChoice, FirstNodeOfTheSouthAddressWins) {
    AsnFrameNodeIPList list;
    append(list, "1.1.1.1", "a1");
    append(list, "2.2.2.2", "a2");
    append(list, "2.2.2.2", "a3");
    const frame::LogCapture log;
    EXPECT_EQ(choose("2.2.2.2", list), (Choice{0, "a2"}));
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetNmsIPOrNATIP "
                                                "[GetNmsIPOrNATIP] nmsIP is 1.1.1.1\n"
                                                "[GetNmsIPOrNATIP] nmsIP is 2.2.2.2\n"));
}

TEST(AnswerChoice, OfTwoOverlappingRowsTheFirstOfTheSouthAddressIsTaken) {
    const std::vector<NatInfo> table{{"10.0.0.1", "10.0.0.10", "1.1.1.1", "a1"},
                                     {"10.0.0.5", "10.0.0.15", "2.2.2.2", "a2"}};
    AsnFrameGetNodeIPResponse response;
    NEC::GetOneLocalIpRspFromIpTable(table, "10.0.0.7", response);
    ASSERT_EQ(response.nodeIPList.count, 2U);
    EXPECT_EQ(choose("2.2.2.2", response.nodeIPList), (Choice{0, "a2"}));
    EXPECT_EQ(choose("1.1.1.1", response.nodeIPList), (Choice{0, "a1"}));
}

TEST(AnswerChoice, RowWithoutNatGivesTheSouthAddressItself) {
    AsnFrameGetNodeIPResponse response;
    NEC::GetOneLocalIpRspFromIpTable({{"10.0.0.1", "10.0.0.10", "1.1.1.1", ""}}, "10.0.0.7", response);
    ASSERT_EQ(response.nodeIPList.count, 1U);
    EXPECT_EQ(response.nodeIPList.first->element->natIP, nullptr);
    EXPECT_EQ(choose("1.1.1.1", response.nodeIPList), (Choice{0, "1.1.1.1"}));
}

TEST(AnswerChoice, NatAddressThatIsEmptyIsTakenAllTheSame) {
    AsnFrameNodeIPList list;
    append(list, "1.1.1.1", "");
    EXPECT_EQ(choose("1.1.1.1", list), (Choice{0, ""}));
}

TEST(AnswerChoice, NothingFittingLeavesTheAddressAlone) {
    AsnFrameNodeIPList list;
    append(list, "1.1.1.10");
    append(list, "");
    const frame::LogCapture log;
    EXPECT_EQ(choose("1.1.1.1", list), (Choice{-1, "untouched"}));
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetNmsIPOrNATIP "
                                                "[GetNmsIPOrNATIP] nmsIP is 1.1.1.10\n"
                                                "[GetNmsIPOrNATIP] nmsIP is \n"));
}

TEST(AnswerChoice, TwoEmptyAddressesAreEqual) {
    AsnFrameNodeIPList list;
    append(list, "1.1.1.1");
    append(list, "", "a");
    EXPECT_EQ(choose("", list), (Choice{0, "a"}));
}

TEST(AnswerChoice, AddressesAreComparedWhole) {
    using namespace std::string_literals;
    AsnFrameNodeIPList list;
    append(list, "1.1.1.1\0x"s, "a");
    EXPECT_EQ(choose("1.1.1.1", list), (Choice{-1, "untouched"}));
    EXPECT_EQ(choose("1.1.1.1\0x"s, list), (Choice{0, "a"}));
}

TEST(AnswerChoice, MissingElementEndsTheWalk) {
    AsnFrameNodeIPList list;
    append(list, "1.1.1.1");
    append(list, "2.2.2.2");
    append(list, "3.3.3.3");
    auto* element = std::exchange(list.first->next->element, nullptr);
    const frame::LogCapture log;
    EXPECT_EQ(choose("3.3.3.3", list), (Choice{-1, "untouched"}));
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetNmsIPOrNATIP [GetNmsIPOrNATIP] nmsIP is 1.1.1.1\n"));
    delete element;
}

}  // namespace
