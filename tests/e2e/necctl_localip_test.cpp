// necctl local-ip and necctl lvs, against a management centre in a process of its own, on each engine.
#include <json/json.h>

#include <sstream>

#include "engines.h"
#include "necctl_fixture.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string natRow = "10.0.0.1 10.0.0.10 192.168.1.5 1.2.3.4\n";
const std::string nmsRow = "10.0.1.0 10.0.1.255 192.168.2.5\n";
const std::string description = R"({"processes": {"nms_1": {"LVS_1": {"vips": [
    {"vip": "172.16.0.9", "proxy": [{"networkmask": "255.255.0.0", "targetnetwork": "10.2.0.0"}]}]}}}})";

class NecctlLocalIp : public Necctl, public testing::WithParamInterface<const char*> {
protected:
    NecctlLocalIp() { configure("management_centre = \"" + url() + "\"\n", "192.168.1.5;192.168.2.5"); }

    std::string url() {
        EXPECT_TRUE(peers_.waitForOutput("\n"));
        const std::string& line = peers_.out();
        return line.substr(line.find("http://"), line.find('\n') - line.find("http://"));
    }
    void configure(const std::string& http, const std::string& south) const {
        folder.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n[log]\nfile = \"server.log\"\n[reliable]\n" +
                                     ("file = \"outbox.db\"\n[addresses]\nsouth = \"" + south + "\"\n[http]\n") + http +
                                     e2e::busOn(GetParam()));
    }
    std::vector<std::string> localIp(std::vector<std::string> rest) const {
        rest.insert(rest.begin(), {"local-ip", "--config", folder.file("nec.toml")});
        return rest;
    }
    std::vector<std::string> environment() const {
        return {"PROCESS_NAME=nms", "APP_CONF_FILE=" + folder.write("app_version.json", description)};
    }

private:
    // Its folder is made before it starts.
    const std::string table_ = folder.write("iptable_ne2nms.cfg", natRow + nmsRow);
    support::Child peers_{{NEC_PEERS, folder.file(".")}};
};

INSTANTIATE_TEST_SUITE_P(On, NecctlLocalIp, e2e::engines, e2e::nameOfEngine);

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

}  // namespace

TEST_P(NecctlLocalIp, NatNmsLvsAndDefaultAddressesAreTold) {
    const support::Outcome outcome =
        necctl(localIp({"10.0.0.9", "10.0.1.7", "10.2.3.4", "10.3.0.1"}), {}, environment());
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "10.0.0.9  1.2.3.4\n10.0.1.7  192.168.2.5\n10.2.3.4  172.16.0.9\n10.3.0.1  192.168.1.5\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_P(NecctlLocalIp, ExplanationIsTheDecisionsOwnTraceInOrder) {
    const support::Outcome outcome = necctl(localIp({"--explain", "10.2.3.4"}), {}, environment());
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    std::vector<std::string> lines;
    std::istringstream text(outcome.out);
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    EXPECT_THAT(lines,
                testing::ElementsAre(
                    "10.2.3.4  172.16.0.9", StartsWith("  [GetLocalIpByRemoteIp] require parameters url http://"),
                    StartsWith("  [GetLocalIpByRemoteIp]strRspBody rsp {"),
                    "  [GetLocalIpByRemoteIp][10.0.0.1, 10.0.0.10, 192.168.1.5, 1.2.3.4]",
                    "  [GetLocalIpByRemoteIp][10.0.1.0, 10.0.1.255, 192.168.2.5, ]",
                    "  [GetLocalIpRspFromDB] ulRemoteIp=167904004, beginIP=167772161, endIP=167772170",
                    "  [GetLocalIpRspFromDB] ulRemoteIp=167904004, beginIP=167772416, endIP=167772671",
                    "  asnNodeIP is empty use:192.168.1.5", "  [QueryLvsInfo] strJsonProListMember=nms_1",
                    "  [QueryLvsInfo] strJsonProMember=LVS_1", "  [QueryLvsInfo] parse json file [vips], size=1",
                    "  [QueryLvsInfo] got vip and mask, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0",
                    "  [GetIntersectIp] is same sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0",
                    "  [GetLocalIpByRemoteIp] get localip is: 172.16.0.9 for RemoteIP:10.2.3.4"));
}

TEST_P(NecctlLocalIp, NatAnswerAndDefaultAreExplained) {
    const std::string nat = answer(localIp({"--explain", "10.0.0.9"}));
    EXPECT_THAT(nat, HasSubstr("\n  [GetNmsIPOrNATIP] nmsIP is 192.168.1.5\n"));
    EXPECT_THAT(nat, HasSubstr("\n  [GetLocalIpRspFromDB] NAT IP is 1.2.3.4\n"));
    const std::string byDefault = answer(localIp({"--explain", "10.3.0.1"}));
    EXPECT_THAT(byDefault, HasSubstr("\n  asnNodeIP is empty use:192.168.1.5\n"));
    EXPECT_THAT(byDefault, HasSubstr("\n  [GetIntersectIp] no support or no found LVS, errCode = -1, 0\n"));
}

TEST_P(NecctlLocalIp, AddressWithoutAnAnswerIsWrittenAsJsonToo) {
    configure("", "");
    const support::Outcome outcome = necctl(localIp({"--json", "10.0.0.9"}));
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(parsed(outcome.out)[0]["error"], "no south address is configured, addresses.south");
    EXPECT_FALSE(parsed(outcome.out)[0].isMember("local"));
}

TEST_P(NecctlLocalIp, WrongTableOfTheCentreIsToldWithItsAnswer) {
    folder.write("iptable_ne2nms.cfg", "x\x1b[2J");
    const std::string error = failure(3, localIp({"10.0.0.9"}));
    EXPECT_THAT(error, HasSubstr("code 0xB00001A: [GetLocalIpByRemoteIp]Parse buffer to json_object failed, "
                                 "lStatusCode:500"));
    EXPECT_EQ(error.find('\x1b'), std::string::npos);
}

TEST_P(NecctlLocalIp, AnswersAreWrittenAsJson) {
    const Json::Value answers = parsed(answer(localIp({"--json", "10.0.0.9", "10.0.1.7"})));
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0]["remote"], "10.0.0.9");
    EXPECT_EQ(answers[0]["local"], "1.2.3.4");
    EXPECT_FALSE(answers[0].isMember("trace"));
    const Json::Value explained = parsed(answer(localIp({"--json", "--explain", "10.0.0.9"})));
    EXPECT_THAT(explained[0]["trace"][0].asString(), HasSubstr("require parameters url"));
}

TEST_P(NecctlLocalIp, NeitherTheServersLogNorItsOutboxIsTouched) {
    answer(localIp({"10.0.0.9"}));
    EXPECT_FALSE(std::filesystem::exists(folder.file("server.log")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("outbox.db")));
}

TEST_P(NecctlLocalIp, AddressThatIsNoneIsWrongUsage) {
    for (const char* address : {"10.0.0", "10.0.0.256", "::1", "host", ""})
        EXPECT_THAT(failure(2, localIp({"10.0.0.9", address})), HasSubstr(": no IPv4 address in dotted-quad form"));
    EXPECT_THAT(failure(2, localIp({})), HasSubstr("ADDRESS is required"));
}

TEST_P(NecctlLocalIp, ManagementCentreThatIsNotThereIsToldWithTheReason) {
    configure("management_centre = \"http://127.0.0.1:1\"\n", "192.168.1.5");
    const std::string error = failure(3, localIp({"10.0.0.9"}));
    EXPECT_THAT(error, HasSubstr("10.0.0.9: the NAT list of the management centre cannot be had, code 0x41032196: "));
    EXPECT_THAT(error, HasSubstr("HTTP request getnatinfolist, GET "));
    EXPECT_THAT(error, HasSubstr("1 of 1 addresses without an answer"));
}

TEST_P(NecctlLocalIp, MissingSouthAddressIsTold) {
    configure("", "");
    EXPECT_THAT(failure(3, localIp({"10.0.0.9"})), HasSubstr("no south address is configured, addresses.south"));
}

TEST_P(NecctlLocalIp, WrongLvsDescriptionIsTold) {
    const std::vector<std::string> wrong{
        R"({"vip": {}})", R"({"vip": "172.16.0.9", "proxy": [{"networkmask": "x", "targetnetwork": "10.2.0.0"}]})",
        R"({"vip": "172.16.0.9", "proxy": [{"networkmask": "99999999999.0.0.0", "targetnetwork": "10.2.0.0"}]})"};
    for (const std::string& vip : wrong) {
        const std::string file =
            folder.write("wrong.json", R"({"processes": {"nms": {"LVS_1": {"vips": [)" + vip + "]}}}}");
        const support::Outcome outcome =
            necctl(localIp({"10.3.0.1"}), {}, {"PROCESS_NAME=nms", "APP_CONF_FILE=" + file});
        EXPECT_EQ(outcome.exitStatus, 3) << vip;
        EXPECT_THAT(outcome.err, HasSubstr("10.3.0.1: the load balancer's description is wrong: "));
        EXPECT_THAT(outcome.err, HasSubstr("; read last: [QueryLvsInfo]"));
    }
}

TEST_P(NecctlLocalIp, WrongConfigurationIsUnusable) {
    folder.write("nec.toml", "x");
    EXPECT_THAT(failure(3, localIp({"10.0.0.9"})), HasSubstr("nec.toml:1"));
}

TEST_P(NecctlLocalIp, LvsTellsVirtualAddressesAndTheirNetworks) {
    const support::Outcome outcome = necctl({"lvs"}, {}, environment());
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "lvs  yes\nvip  172.16.0.9\n     10.2.0.0  255.255.0.0\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_P(NecctlLocalIp, LvsIsWrittenAsJson) {
    const Json::Value json = parsed(necctl({"lvs", "--json"}, {}, environment()).out);
    EXPECT_TRUE(json["supported"].asBool());
    EXPECT_EQ(json["vips"]["172.16.0.9"][0]["targetnetwork"], "10.2.0.0");
    EXPECT_EQ(json["vips"]["172.16.0.9"][0]["networkmask"], "255.255.0.0");
}

TEST_P(NecctlLocalIp, ProcessWithoutLvsHasNone) {
    const std::string file = folder.write("app_version.json", R"({"processes": {}})");
    EXPECT_EQ(necctl({"lvs"}, {}, {"PROCESS_NAME=nms", "APP_CONF_FILE=" + file}).out, "lvs  no\n");
}

TEST_P(NecctlLocalIp, LvsSaysWhatIsMissing) {
    EXPECT_EQ(failure(3, {"lvs"}), "necctl: error: [QueryLvsInfo]No found PROCESS_NAME.\n");
    const support::Outcome outcome = necctl({"lvs"}, {}, {"PROCESS_NAME=nms", "APP_CONF_FILE=/nowhere"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.err, "necctl: error: [QueryLvsInfo]open file failed app_version.json\n");
}
