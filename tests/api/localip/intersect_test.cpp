// Choosing among NAT addresses, virtual addresses and the host's south addresses.
#include <gmock/gmock.h>
#include <json/json.h>

#include "localip/lvs.h"
#include "localip/subnet.h"
#include "support/environment.h"
#include "support/folder.h"
#include "support/logged.h"

namespace {

using testing::ElementsAre;

// One front end; `vips` are the elements of its list.
std::string description(const std::string& vips) {
    return R"({"processes": {"nms": {"LVS_a": {"vips": [)" + vips + "]}}}}";
}
std::string vip(const std::string& address, const std::string& target, const std::string& mask) {
    return R"({"vip": ")" + address + R"(", "proxy": [{"networkmask": ")" + mask + R"(", "targetnetwork": ")" + target +
           "\"}]}";
}

class Intersect : public testing::Test {
protected:
    // Makes `content` this process's application description.
    void describe(const std::string& content) { folder_.write("app_version.json", content); }

    std::string choose(const std::vector<std::string>& southIps, const std::vector<NEC::NatInfo>& natTable = {}) {
        std::string localIp = "untouched";
        EXPECT_EQ(NEC::GetIntersectIp(localIp, "10.1.2.3", southIps, natTable), 0);
        return localIp;
    }
    // What is logged behind the table match.
    std::vector<std::string> loggedBy(const std::vector<std::string>& southIps,
                                      const std::vector<NEC::NatInfo>& natTable = {}) {
        const frame::LogCapture log;
        choose(southIps, natTable);
        std::vector<std::string> lines = logged::lines(log);
        while (!lines.empty() && !StartsWith_(lines.front(), "info GetOneLocalIpRspFromIpTable ")) {
            lines.erase(lines.begin());
        }
        if (!lines.empty()) lines.erase(lines.begin());
        return lines;
    }

    support::Folder folder_;
    support::Variable processName_{"PROCESS_NAME", "nms"};
    support::Variable file_{"APP_CONF_FILE", folder_.file("app_version.json")};

private:
    static bool StartsWith_(const std::string& text, const char* begin) { return text.rfind(begin, 0) == 0; }
};

constexpr const char* openFailed = "error 4101F011 QueryLvsInfo [QueryLvsInfo]open file failed app_version.json";

TEST_F(Intersect, NoSouthAddressLeavesTheAddressAlone) {
    EXPECT_EQ(choose({}), "untouched");
    EXPECT_THAT(loggedBy({}), ElementsAre("trace 0 == vecSouthIP.size()"));
    EXPECT_EQ(choose({}, {{"10.0.0.0", "10.255.0.0", "1.1.1.1", "9.9.9.9"}}), "untouched");
}

TEST_F(Intersect, WithoutRowAndDescriptionTheFirstSouthAddressIsTaken) {
    EXPECT_EQ(choose({"1.1.1.1", "2.2.2.2"}), "1.1.1.1");
    EXPECT_THAT(loggedBy({"1.1.1.1", "2.2.2.2"}),
                ElementsAre("trace asnNodeIP is empty use:1.1.1.1", openFailed,
                            "trace [GetIntersectIp] no support or no found LVS, errCode = -1, 0"));
}

TEST_F(Intersect, ProcessWithoutLvsUsesTheFirstSouthAddress) {
    for (const char* content : {R"({"processes": {"nms": {}}})", R"({"processes": {"nms": {"LVS_a": {}}}})"}) {
        describe(content);
        EXPECT_EQ(choose({"1.1.1.1"}), "1.1.1.1");
        EXPECT_EQ(loggedBy({"1.1.1.1"}).back(), "trace [GetIntersectIp] no support or no found LVS, errCode = 0, 0");
    }
}

TEST_F(Intersect, VirtualAddressOfTheNetworkIsTaken) {
    describe(description(vip("7.7.7.7", "10.2.0.0", "255.255.0.0") + ',' + vip("8.8.8.8", "10.1.0.0", "255.255.0.0") +
                         ',' + vip("9.9.9.9", "10.1.2.x", "255..0.0")));
    EXPECT_EQ(choose({"1.1.1.1"}), "8.8.8.8");
    const std::vector<std::string> lines = loggedBy({"1.1.1.1"});
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "trace asnNodeIP is empty use:1.1.1.1");
    EXPECT_THAT(std::vector<std::string>(lines.end() - 3, lines.end()),
                ElementsAre("trace [GetIntersectIp] diff sub, vip = 7.7.7.7, mask = 255.255.0.0, target = 10.2.0.0",
                            "trace [GetIntersectIp] is same sub, vip = 8.8.8.8, mask = 255.255.0.0, target = 10.1.0.0",
                            "trace [GetIntersectIp] diff sub, vip = 9.9.9.9, mask = 255..0.0, target = 10.1.2.x"));
}

TEST_F(Intersect, OfTwoFittingVirtualAddressesTheLaterInKeyOrderIsTaken) {
    describe(
        description(vip("9.9.9.9", "10.1.0.0", "255.255.0.0") + ',' + vip("8.8.8.8", "10.1.2.0", "255.255.255.0")));
    EXPECT_EQ(choose({"1.1.1.1"}), "9.9.9.9");
    describe(
        description(vip("9.9.9.9", "10.1.0.0", "255.255.0.0") + ',' + vip("10.8.8.8", "10.1.2.0", "255.255.255.0")));
    EXPECT_EQ(choose({"1.1.1.1"}), "9.9.9.9");  // in the order of texts
}

TEST_F(Intersect, WithoutFittingVirtualAddressTheFirstSouthAddressStays) {
    describe(description(vip("9.9.9.9", "10.2.0.0", "255.255.0.0")));
    EXPECT_EQ(choose({"1.1.1.1", "2.2.2.2"}), "1.1.1.1");
}

TEST_F(Intersect, DescriptionWithBadNumbersThrows) {
    describe(description(vip("9.9.9.9", "ten", "255.255.0.0")));
    EXPECT_THROW(choose({"1.1.1.1"}), std::invalid_argument);
    describe(description(vip("9.9.9.9", "10.2.0.0", "99999999999.255.0.0")));
    EXPECT_THROW(choose({"1.1.1.1"}), std::out_of_range);
}

TEST_F(Intersect, DescriptionOfWrongTypesThrows) {
    describe(description("5"));
    EXPECT_THROW(choose({"1.1.1.1"}), Json::Exception);
}

TEST_F(Intersect, RowThatCoversTheNeDecidesThroughItsNatAddress) {
    describe(description(vip("8.8.8.8", "10.1.0.0", "255.255.0.0")));
    EXPECT_EQ(choose({"1.1.1.1"}, {{"10.0.0.0", "10.255.0.0", "1.1.1.1", "9.9.9.9"}}), "9.9.9.9");
    EXPECT_EQ(choose({"1.1.1.1"}, {{"10.0.0.0", "10.255.0.0", "1.1.1.1", ""}}), "1.1.1.1");
}

TEST_F(Intersect, RowThatDoesNotCoverTheNeIsLeftToVirtualAddresses) {
    describe(description(vip("8.8.8.8", "10.1.0.0", "255.255.0.0")));
    EXPECT_EQ(choose({"1.1.1.1"}, {{"11.0.0.0", "11.255.0.0", "1.1.1.1", "9.9.9.9"}}), "8.8.8.8");
}

TEST_F(Intersect, SouthAddressesAreTriedInOrder) {
    const std::vector<NEC::NatInfo> table{{"10.0.0.0", "10.255.0.0", "2.2.2.2", "9.2.9.9"},
                                          {"10.0.0.0", "10.255.0.0", "3.3.3.3", "9.3.9.9"}};
    EXPECT_EQ(choose({"1.1.1.1", "3.3.3.3", "2.2.2.2"}, table), "9.3.9.9");
    const std::string nodes =
        "error 0 GetNmsIPOrNATIP [GetNmsIPOrNATIP] nmsIP is 2.2.2.2\n[GetNmsIPOrNATIP] nmsIP is 3.3.3.3\n";
    EXPECT_THAT(loggedBy({"1.1.1.1", "3.3.3.3", "2.2.2.2"}, table), ElementsAre(nodes, nodes));
}

TEST_F(Intersect, RowsOfOtherSouthAddressesLeaveTheFirstSouthAddress) {
    describe(description(vip("8.8.8.8", "10.1.0.0", "255.255.0.0")));
    const std::vector<NEC::NatInfo> table{{"10.0.0.0", "10.255.0.0", "3.3.3.3", "9.3.9.9"}};
    EXPECT_EQ(choose({"1.1.1.1", "2.2.2.2"}, table), "1.1.1.1");
    const std::string nodes = "error 0 GetNmsIPOrNATIP [GetNmsIPOrNATIP] nmsIP is 3.3.3.3\n";
    EXPECT_THAT(loggedBy({"1.1.1.1", "2.2.2.2"}, table),
                ElementsAre(nodes, nodes, "trace failed to get localip from GetNmsIPOrNATIP use:1.1.1.1"));
}

}  // namespace
