// Rows from the body of a NAT list.
#include "localip/nat_list.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include "platform/text.h"
#include "support/logged.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The rows as texts: "BEGIN END NMS NAT".
std::vector<std::string> rows(const std::string& body) {
    Json::Value root;
    EXPECT_EQ(JsonUtils::ParseToJson(root, body), 0) << body;
    std::vector<std::string> all;
    for (const NEC::NatInfo& row : NEC::natTableOf(root)) {
        all.push_back(row.beginIP + ' ' + row.endIP + ' ' + row.nmsIP + ' ' + row.natIP);
    }
    return all;
}

TEST(NatList, RowsAreReadInOrderAndTraced) {
    const frame::LogCapture log;
    EXPECT_THAT(rows(R"({"NatInfoList": [
        {"beginNEIP": "b1", "endNEIP": "e1", "nmsip": "m1", "natip": "a1"},
        {"natip": "a2", "other": {}, "beginNEIP": "b2"}]})"),
                ElementsAre("b1 e1 m1 a1", "b2   a2"));
    EXPECT_THAT(logged::lines(log), ElementsAre("trace [GetLocalIpByRemoteIp][b1, e1, m1, a1]",
                                                "trace [GetLocalIpByRemoteIp][b2, , , a2]"));
}

TEST(NatList, RootThatIsNoObjectHasNoRows) {
    for (const char* body : {"null", "[]", "5", "\"NatInfoList\"", R"([{"NatInfoList": [{}]}])"}) {
        EXPECT_THAT(rows(body), IsEmpty()) << body;
    }
}

TEST(NatList, AbsentOrEmptyListHasNoRows) {
    for (const char* list : {"[]", "{}", "null", "5", "1.5", "true", "\"text\""}) {
        EXPECT_THAT(rows("{\"NatInfoList\": " + std::string(list) + '}'), IsEmpty()) << list;
    }
    EXPECT_THAT(rows("{}"), IsEmpty());
}

TEST(NatList, ObjectInPlaceOfTheListGivesItsMembers) {
    EXPECT_THAT(rows(R"({"NatInfoList": {"y": {"natip": "a2"}, "x": {"natip": "a1"}}})"),
                ElementsAre("   a1", "   a2"));
}

TEST(NatList, ElementThatIsNoObjectIsAnEmptyRow) {
    const frame::LogCapture log;
    EXPECT_THAT(rows(R"({"NatInfoList": [5, null, "text", ["natip"], {"natip": "a"}]})"),
                ElementsAre("   ", "   ", "   ", "   ", "   a"));
    EXPECT_EQ(logged::lines(log).front(), "trace [GetLocalIpByRemoteIp][, , , ]");
    EXPECT_EQ(log.records().size(), 5U);
}

TEST(NatList, ScalarsAreReadAsTexts) {
    EXPECT_THAT(rows(R"({"NatInfoList": [{"beginNEIP": 1, "endNEIP": -2.5, "nmsip": true, "natip": null}]})"),
                ElementsAre("1 -2.5 true "));
}

TEST(NatList, FieldsThatAreContainersAreEmptyAndLogged) {
    const frame::LogCapture log;
    EXPECT_THAT(rows(R"({"NatInfoList": [{"beginNEIP": [], "endNEIP": {}, "nmsip": ["m"], "natip": "a"}]})"),
                ElementsAre("   a"));
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetLocalIpByRemoteIp json exception unknow what beginNEIP",
                                                "error 0 GetLocalIpByRemoteIp json exception unknow what endNEIP",
                                                "error 0 GetLocalIpByRemoteIp json exception unknow what nmsip",
                                                "trace [GetLocalIpByRemoteIp][, , , a]"));
}

TEST(NatList, RuntimeErrorOfAReadIsLoggedWithItsText) {
    const frame::LogCapture log;
    EXPECT_EQ(NEC::readGuarded("natip", []() -> std::string { throw std::runtime_error("broken"); }), "");
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetLocalIpByRemoteIp json exception:brokennatip"));
}

TEST(NatList, AnythingElseThatAReadThrowsIsLoggedWithoutText) {
    const frame::LogCapture log;
    EXPECT_EQ(NEC::readGuarded("natip", []() -> std::string { throw std::logic_error("broken"); }), "");
    EXPECT_EQ(NEC::readGuarded("nmsip", []() -> std::string { throw 5; }), "");
    EXPECT_THAT(logged::lines(log), ElementsAre("error 0 GetLocalIpByRemoteIp json exception unknow what natip",
                                                "error 0 GetLocalIpByRemoteIp json exception unknow what nmsip"));
}

}  // namespace
