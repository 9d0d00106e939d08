// necctl ftp service, with the management centre hosted inside, on each engine; and that no command shows a password.
#include <algorithm>

#include "e2e/engines.h"
#include "e2e/necctl_database.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string canary = "canary-41c6";
const std::string description = R"({"processes": {"nms_1": {"LVS_1": {"vips": [
    {"vip": "172.16.0.9", "proxy": [{"networkmask": "255.255.0.0", "targetnetwork": "10.2.0.0"}]}]}}}})";

class NecctlFtpService : public NecctlDatabase, public testing::WithParamInterface<const char*> {
protected:
    NecctlFtpService() {
        serve("192.168.1.5;192.168.2.5");
        std::filesystem::create_directory(folder.file("peers"));
        folder.write("peers/iptable_ne2nms.cfg",
                     "10.0.0.1 10.0.0.9 192.168.1.5 1.2.3.4\n10.0.1.1 10.0.1.9 192.168.9.9\n"
                     "10.0.2.1 10.0.2.9 192.168.1.5\n10.0.2.1 10.0.2.9 192.168.2.5\n");
        folder.write("password", canary);
        tell({"db", "init"});
        tell({"ftp", "params", "set", "--user", "nec", "--root", "/srv/no such", "--sftp-port", "2222",
              "--password-file", folder.file("password")});
    }
    // At these addresses, the first of them this host's.
    void serve(const std::string& south) const {
        configure("[addresses]\nsouth = \"" + south + "\"\nhost = [\"192.168.1.5\"]\n[log]\nfile = \"server.log\"\n" +
                  "[database]\nurl = " + tomlOf("sqlite:" + sqliteFile()) + '\n' + e2e::busOn(GetParam()));
    }
    void addCustom(const std::string& user) const {
        tell({"ftp", "account", "add", "Local SFTP Account", "--user", user, "--port", "2022", "--home", "/data/",
              "--relative", "pnp", "--password-file", folder.file("password")});
    }
    std::vector<std::string> service(const std::string& kind, std::vector<std::string> rest) const {
        rest.insert(rest.begin(), {"ftp", "service", "--with-peers", folder.file("peers"), "--kind", kind});
        return rest;
    }
    std::vector<std::string> environment(const std::string& text = description) const {
        return {"PROCESS_NAME=nms", "APP_CONF_FILE=" + folder.write("app_version.json", text)};
    }
};

INSTANTIATE_TEST_SUITE_P(On, NecctlFtpService, e2e::engines, e2e::nameOfEngine);

std::string block(const std::string& remote, const std::string& address, const std::string& port) {
    return "remote   " + remote + "\naddress  " + address + "\nuser     nec\nroot     /srv/no such\nport     " + port +
           "\nstate    0\n";
}

}  // namespace

TEST_P(NecctlFtpService, ServicesOfEachKindAreTold) {
    EXPECT_EQ(tell(service("ftp", {"10.0.0.1"})), block("10.0.0.1", "1.2.3.4", "21"));
    EXPECT_EQ(tell(service("sftp", {"10.0.0.1", "10.3.0.1"})),
              block("10.0.0.1", "1.2.3.4", "2222") + block("10.3.0.1", "192.168.1.5", "2222"));
    EXPECT_EQ(tell(service("custom-sftp", {"10.3.0.1"})), block("10.3.0.1", "192.168.1.5", "2222"));
    addCustom("own");
    EXPECT_EQ(tell(service("custom-sftp", {"10.3.0.1"})),
              "remote   10.3.0.1\naddress  192.168.1.5\nuser     own\nroot     /data/pnp\nport     2022\nstate    0\n");
}

TEST_P(NecctlFtpService, VirtualAddressIsTold) {
    const support::Outcome outcome = necctl(command(service("sftp", {"10.2.3.4"})), {}, environment());
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.out, block("10.2.3.4", "172.16.0.9", "2222"));
}

TEST_P(NecctlFtpService, AllAddressesOfTheCentreAreToldForMulti) {
    EXPECT_EQ(tell(service("sftp", {"--multi", "10.0.2.1"})), block("10.0.2.1", "192.168.1.5,192.168.2.5", "2222"));
    EXPECT_EQ(tell(service("sftp", {"--multi", "10.3.0.1"})), block("10.3.0.1", "-", "2222"));
    EXPECT_EQ(tellJson(service("sftp", {"--multi", "10.3.0.1"}))[0]["address"], "");
}

TEST_P(NecctlFtpService, ExplanationIsTheDecisionsOwnTraceInOrder) {
    EXPECT_THAT(tell(service("sftp", {"--explain", "10.3.0.1"})),
                StartsWith(block("10.3.0.1", "192.168.1.5", "2222") +
                           "  getLocalSouthIP192.168.1.5;192.168.2.5\n  get ftp ip192.168.2.5\n"
                           "  [GetFtpInfoFromFtpWatcher] GetAllIP: 1\n  192.168.1.5\n"
                           "  [QueryLvsInfo]No found PROCESS_NAME.\n"
                           "  [GetFtpInfoFromFtpWatcher1] no support or no found LVS, errCode = -1, 0\n"
                           "  [CDirectoryMgr::CDAction] strCmd = cd /srv/no such\n"));
}

TEST_P(NecctlFtpService, AnswersAreWrittenAsJson) {
    const Json::Value answers = tellJson(service("sftp", {"--explain", "10.0.0.1", "10.3.0.1"}));
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0]["remote"], "10.0.0.1");
    EXPECT_EQ(answers[0]["address"], "1.2.3.4");
    EXPECT_EQ(answers[0]["user"], "nec");
    EXPECT_EQ(answers[0]["root"], "/srv/no such");
    EXPECT_EQ(answers[0]["port"], 2222);
    EXPECT_EQ(answers[0]["state"], 0);
    EXPECT_EQ(answers[1]["trace"][1], "get ftp ip192.168.2.5");
}

TEST_P(NecctlFtpService, UnroutableAddressAloneIsNoAnswer) {
    serve("0.0.0.0;0.0.0.0");
    const support::Outcome outcome = necctl(command(service("sftp", {"--json", "10.0.0.1"})));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.err, HasSubstr("10.0.0.1: all that is configured is the address 0.0.0.0"));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\"error\" : \"all that"), HasSubstr("\"remote\" : \"10.0.0.1\"")));
}

TEST_P(NecctlFtpService, ServiceThatTheCentreDoesNotKnowIsNoAnswer) {
    const support::Outcome outcome = necctl(command(service("sftp", {"10.0.1.1", "10.3.0.1"})));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.out, block("10.3.0.1", "192.168.1.5", "2222"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("10.0.1.1: no service that could be chosen has an address at which the "
                                             "management centre has this NE\n"),
                                   HasSubstr("1 of 2 addresses without an answer")));
}

TEST_P(NecctlFtpService, MissingSouthAddressIsTold) {
    for (const char* south : {"", ";;"}) {
        serve(south);
        EXPECT_THAT(fail(3, service("sftp", {"10.0.0.1"})),
                    HasSubstr("10.0.0.1: no service is configured: no south address, addresses.south\n"));
    }
}

TEST_P(NecctlFtpService, ConfigurationThatCannotBeReadIsTold) {
    alter("DELETE FROM ftp_parameters");
    EXPECT_THAT(fail(3, service("sftp", {"10.0.0.1"})),
                HasSubstr("no service is configured: the FTP configuration cannot be read: no FTP parameters"));
    alter("UPDATE nec_schema SET version = 1234");
    EXPECT_THAT(fail(3, service("custom-sftp", {"10.0.0.1"})), HasSubstr("version 1234; expected version"));
    place().takeDown();
    EXPECT_THAT(fail(3, service("ftp", {"10.0.0.1"})), HasSubstr("cannot make the file"));
    configure("");
    EXPECT_THAT(fail(3, service("ftp", {"10.0.0.1"})), HasSubstr("this process has no database"));
}

TEST_P(NecctlFtpService, WrongLvsDescriptionIsTold) {
    const support::Outcome outcome =
        necctl(command(service("sftp", {"10.3.0.1"})), {},
               environment(R"({"processes": {"nms": {"LVS_1": {"vips": [{"vip": {}}]}}}})"));
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.err, HasSubstr("10.3.0.1: the load balancer's description is wrong: "));
}

TEST_P(NecctlFtpService, TextsOfTheConfigurationSteerNoTerminal) {
    tell({"ftp", "params", "set", "--root", "/srv/\x1b[2J\n%s;$(id)"});
    const std::string text = tell(service("sftp", {"--explain", "10.3.0.1"}));
    EXPECT_THAT(text, AllOf(HasSubstr("root     /srv/\\x1B[2J\\n%s;$(id)\n"), Not(HasSubstr("\x1b"))));
    EXPECT_THAT(text, HasSubstr("strCmd = cd /srv/\\x1B[2J\\n%s;$(id)\n"));
}

TEST_P(NecctlFtpService, WrongCommandLinesAreRefused) {
    for (const char* address : {"10.0.0", "10.0.0.256", "::1", "host", ""})
        EXPECT_THAT(fail(2, service("ftp", {"10.0.0.1", address})), HasSubstr("no IPv4 address in dotted-quad form"));
    EXPECT_THAT(fail(2, service("ftp", {})), HasSubstr("ADDRESS is required"));
    EXPECT_THAT(fail(2, service("scp", {"10.0.0.1"})), HasSubstr("custom-sftp"));
    EXPECT_THAT(fail(2, {"ftp", "service", "10.0.0.1"}), HasSubstr("--kind is required"));
}

TEST_P(NecctlFtpService, NoCommandShowsAPassword) {
    addCustom("own");
    const std::vector<std::vector<std::string>> commands{
        {"ftp", "params", "show"},
        {"ftp", "params", "set", "--password-file", folder.file("password")},
        {"ftp", "params", "set", "--user", "\xFF", "--password-file", folder.file("password")},
        {"ftp", "account", "list"},
        {"ftp", "account", "add", "a", "--user", "u", "--port", "22", "--home", "\xFF", "--relative", "",
         "--password-file", folder.file("password")},
        {"db", "init"},
        {"db", "check"},
        service("ftp", {"10.0.0.1", "10.0.1.1", "--explain"}),
        service("sftp", {"10.3.0.1", "--explain"}),
        service("custom-sftp", {"10.3.0.1", "--explain"}),
        service("custom-sftp", {"10.0.2.1", "--explain", "--multi"}),
        {"ftp", "account", "remove", "Local SFTP Account"}};
    for (std::vector<std::string> words : commands)
        for (const bool json : {false, true}) {
            if (json) words.emplace_back("--json");
            const support::Outcome outcome = necctl(command(words), {}, environment());
            EXPECT_THAT(outcome.out + outcome.err, Not(HasSubstr(canary)));
        }
    EXPECT_FALSE(std::filesystem::exists(folder.file("server.log")));
}
