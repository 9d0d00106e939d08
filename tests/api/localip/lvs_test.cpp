// Virtual addresses from application descriptions.
#include "localip/lvs.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include <filesystem>

#include "support/environment.h"
#include "support/folder.h"
#include "support/logged.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* oneFront = R"({"processes": {"nms_1": {"LVS_a": {"vips": [
    {"vip": "9.9.9.9", "proxy": [{"networkmask": "255.0.0.0", "targetnetwork": "10.0.0.0"}]}]}}}})";

std::size_t openFiles() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

class Lvs : public testing::Test {
protected:
    // Makes `content` this process's description and reads it.
    long query(const std::string& content) {
        const support::Variable file("APP_CONF_FILE", folder_.write("app_version.json", content));
        return query();
    }
    long query() { return NEC::QueryLvsInfo(supported_, vips_); }

    support::Folder folder_;
    support::Variable processName_{"PROCESS_NAME", "nms"};
    bool supported_ = true;
    NEC::LvsMap vips_{{"left over", {}}};
};

// What all failures have in common, and one record of the log.
#define EXPECT_FAILURE(call, text)                                                         \
    do {                                                                                   \
        const frame::LogCapture log;                                                       \
        EXPECT_EQ(call, -1);                                                               \
        EXPECT_FALSE(supported_);                                                          \
        EXPECT_THAT(vips_, IsEmpty());                                                     \
        EXPECT_THAT(logged::lines(log), ElementsAre("error 4101F011 QueryLvsInfo " text)); \
    } while (false)

TEST_F(Lvs, UnsetProcessNameFails) {
    const support::Variable unset("PROCESS_NAME", std::nullopt);
    EXPECT_FAILURE(query(oneFront), "[QueryLvsInfo]No found PROCESS_NAME.");
}

TEST_F(Lvs, UnsetFileNameFails) {
    const support::Variable unset("APP_CONF_FILE", std::nullopt);
    EXPECT_FAILURE(query(), "[QueryLvsInfo]No found APP_CONF_FILE.");
}

TEST_F(Lvs, MissingFileFails) {
    const support::Variable missing("APP_CONF_FILE", folder_.file("none.json"));
    EXPECT_FAILURE(query(), "[QueryLvsInfo]open file failed app_version.json");
}

TEST_F(Lvs, WhatIsNoJsonFails) {
    EXPECT_FAILURE(query(""), "[QueryLvsInfo]parse file failed app_version.json");
    EXPECT_FAILURE(query("{\"processes\": "), "[QueryLvsInfo]parse file failed app_version.json");
    EXPECT_FAILURE(query("\xFF\xFE"), "[QueryLvsInfo]parse file failed app_version.json");
}

TEST_F(Lvs, FolderInPlaceOfTheFileFails) {
    const support::Variable file("APP_CONF_FILE", folder_.file("."));
    EXPECT_FAILURE(query(), "[QueryLvsInfo]parse file failed app_version.json");
}

TEST_F(Lvs, RootWithoutProcessesFails) {
    for (const char* content : {"{}", "[]", "[\"processes\"]", "null", "\"processes\"", R"({"process": {}})"}) {
        EXPECT_FAILURE(query(content), "[QueryLvsInfo]no key [process] in app_version.json");
    }
}

TEST_F(Lvs, FrontEndIsReadAndTraced) {
    const frame::LogCapture log;
    EXPECT_EQ(query(oneFront), 0);
    EXPECT_TRUE(supported_);
    EXPECT_THAT(vips_, ElementsAre(Pair("9.9.9.9", ElementsAre(Pair("10.0.0.0", "255.0.0.0")))));
    EXPECT_THAT(
        logged::lines(log),
        ElementsAre("trace [QueryLvsInfo] strJsonProListMember=nms_1", "trace [QueryLvsInfo] strJsonProMember=LVS_a",
                    "trace [QueryLvsInfo] parse json file [vips], size=1",
                    "trace [QueryLvsInfo] got vip and mask, vip = 9.9.9.9, mask = 255.0.0.0, target = 10.0.0.0"));
}

TEST_F(Lvs, CommentsAreAllowed) {
    EXPECT_EQ(query("// about\n/* this */ " + std::string(oneFront) + " // file"), 0);
    EXPECT_THAT(vips_, testing::SizeIs(1));
}

TEST_F(Lvs, EmptyListOfProcessesIsNoFailure) {
    EXPECT_EQ(query(R"({"processes": {}})"), 0);
    EXPECT_EQ(query(R"({"processes": null})"), 0);
    EXPECT_FALSE(supported_);
    EXPECT_THAT(vips_, IsEmpty());
}

constexpr const char* threeProcesses = R"({"processes": {
    "nms":   {"LVS_": {"vips": [{"vip": "1.1.1.1"}]}},
    "anms":  {"LVS_": {"vips": [{"vip": "2.2.2.2"}]}},
    "nms_2": {"LVS_": {"vips": [{"vip": "3.3.3.3"}]}}}})";

TEST_F(Lvs, ProcessesWhoseNamesBeginWithThisOnesAreTaken) {
    EXPECT_EQ(query(threeProcesses), 0);
    EXPECT_THAT(vips_, ElementsAre(Pair("1.1.1.1", IsEmpty()), Pair("3.3.3.3", IsEmpty())));
}

TEST_F(Lvs, EmptyProcessNameTakesEveryProcess) {
    const support::Variable empty("PROCESS_NAME", "");
    EXPECT_EQ(query(threeProcesses), 0);
    EXPECT_THAT(vips_, testing::SizeIs(3));
}

TEST_F(Lvs, ProcessesAndMembersAreWalkedInOrderOfTheirNames) {
    const frame::LogCapture log;
    EXPECT_EQ(query(R"({"processes": {"z": {"LVS_": {}}, "nms2": {"b": 1, "LVS": 2, "a": 3}, "nms1": {}}})"), 0);
    const std::string none = "trace [QueryLvsInfo] no found LVS in app_version file, not support LVS";
    EXPECT_THAT(
        logged::lines(log),
        ElementsAre("trace [QueryLvsInfo] strJsonProListMember=nms1", "trace [QueryLvsInfo] strJsonProListMember=nms2",
                    "trace [QueryLvsInfo] strJsonProMember=LVS", none, "trace [QueryLvsInfo] strJsonProMember=a", none,
                    "trace [QueryLvsInfo] strJsonProMember=b", none, "trace [QueryLvsInfo] strJsonProListMember=z"));
}

TEST_F(Lvs, ProcessWithoutLvsMemberIsNotSupported) {
    EXPECT_EQ(query(R"({"processes": {"nms": {"version": "1", "XLVS_a": {"vips": [{"vip": "1.1.1.1"}]}}}})"), 0);
    EXPECT_FALSE(supported_);
    EXPECT_THAT(vips_, IsEmpty());
}

TEST_F(Lvs, LvsMemberWithoutVipsIsSupportedButEmpty) {
    for (const char* member :
         {"{}", "5", "null", "[]", "\"vips\"", R"({"vip": []})", R"({"vips": null})", R"({"vips": []})"}) {
        EXPECT_EQ(query(R"({"processes": {"nms": {"LVS_a": )" + std::string(member) + "}}}"), 0) << member;
        EXPECT_TRUE(supported_) << member;
        EXPECT_THAT(vips_, IsEmpty()) << member;
    }
}

// The description of one front end with one virtual address.
std::string withProxies(const std::string& vip, const std::string& proxies) {
    return R"({"processes": {"nms": {"LVS_a": {"vips": [{"vip": ")" + vip + R"(", "proxy": )" + proxies + "}]}}}}";
}

TEST_F(Lvs, VipWhoseProxiesAreAllIncompleteHasAnEmptyList) {
    const frame::LogCapture log;
    EXPECT_EQ(
        query(withProxies("9.9.9.9", R"([{"networkmask": "255.0.0.0"}, {"targetnetwork": "10.0.0.0"}, {}, null])")), 0);
    EXPECT_THAT(vips_, ElementsAre(Pair("9.9.9.9", IsEmpty())));
    EXPECT_EQ(logged::lines(log).back(), "trace [QueryLvsInfo] parse json file [vips], size=1");
}

TEST_F(Lvs, ProxyWithAnEmptyFieldIsSkipped) {
    EXPECT_EQ(query(withProxies("9.9.9.9", R"([{"networkmask": "255.0.0.0", "targetnetwork": ""},
                                               {"networkmask": "", "targetnetwork": "10.0.0.0"},
                                               {"networkmask": "255.0.0.0", "targetnetwork": "11.0.0.0"}])")),
              0);
    EXPECT_THAT(vips_, ElementsAre(Pair("9.9.9.9", ElementsAre(Pair("11.0.0.0", "255.0.0.0")))));
}

TEST_F(Lvs, EmptyVipHasAnEmptyList) {
    EXPECT_EQ(query(withProxies("", R"([{"networkmask": "255.0.0.0", "targetnetwork": "10.0.0.0"}])")), 0);
    EXPECT_THAT(vips_, ElementsAre(Pair("", IsEmpty())));
}

TEST_F(Lvs, VipInSeveralPlacesGathersItsNetworksInOrder) {
    EXPECT_EQ(query(R"({"processes": {"nms": {
        "LVS_b": {"vips": [{"vip": "9.9.9.9", "proxy": [{"networkmask": "m3", "targetnetwork": "t3"}]}]},
        "LVS_a": {"vips": [
            {"vip": "9.9.9.9", "proxy": [{"networkmask": "m2", "targetnetwork": "t2"},
                                         {"networkmask": "m1", "targetnetwork": "t1"}]},
            {"vip": "10.9.9.9", "proxy": []},
            {"vip": "9.9.9.9", "proxy": [{"networkmask": "m2", "targetnetwork": "t2"}]}]}}}})"),
              0);
    EXPECT_THAT(vips_, ElementsAre(Pair("10.9.9.9", IsEmpty()),
                                   Pair("9.9.9.9", ElementsAre(Pair("t2", "m2"), Pair("t1", "m1"), Pair("t2", "m2"),
                                                               Pair("t3", "m3")))));
}

TEST_F(Lvs, NumbersAreReadAsTexts) {
    EXPECT_EQ(query(R"({"processes": {"nms": {"LVS_a": {"vips": [{"vip": 5, "proxy": [
        {"networkmask": true, "targetnetwork": 10}]}]}}}})"),
              0);
    EXPECT_THAT(vips_, ElementsAre(Pair("5", ElementsAre(Pair("10", "true")))));
}

TEST_F(Lvs, MembersOfWrongTypesThrowAndTheFileIsClosed) {
    const std::size_t before = openFiles();
    for (const char* processes : {
             R"([])",
             R"("nms")",
             R"(5)",
             R"({"nms": []})",
             R"({"nms": "LVS_"})",
             R"({"nms": {"LVS_": {"vips": {"a": 1}}}})",
             R"({"nms": {"LVS_": {"vips": [5]}}})",
             R"({"nms": {"LVS_": {"vips": [[]]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": {}}]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": []}]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": "a", "proxy": {"b": 1}}]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": "a", "proxy": ["b"]}]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": "a", "proxy": [{"networkmask": []}]}]}}})",
             R"({"nms": {"LVS_": {"vips": [{"vip": "a", "proxy": [{"targetnetwork": {}}]}]}}})",
         }) {
        EXPECT_THROW(query("{\"processes\": " + std::string(processes) + '}'), Json::Exception) << processes;
    }
    EXPECT_EQ(openFiles(), before);
}

TEST_F(Lvs, FileIsClosedHoweverTheCallEnds) {
    const std::size_t before = openFiles();
    for (const std::string content : {oneFront, "", "{}"}) query(content);
    EXPECT_EQ(openFiles(), before);
}

TEST_F(Lvs, EndlessNestingThrows) {
    EXPECT_THROW(query(std::string(100'000, '[')), Json::Exception);
}

TEST_F(Lvs, ChangedFileCountsAtTheNextCall) {
    EXPECT_EQ(query(withProxies("1.1.1.1", "[]")), 0);
    EXPECT_EQ(query(withProxies("2.2.2.2", "[]")), 0);
    EXPECT_THAT(vips_, ElementsAre(Pair("2.2.2.2", IsEmpty())));
}

}  // namespace
