// necctl trap, with the stand-ins hosted inside, on each engine.
#include <json/json.h>

#include <sstream>

#include "engines.h"
#include "necctl_fixture.h"

namespace {

using testing::HasSubstr;

class NecctlTrap : public Necctl, public testing::WithParamInterface<const char*> {
protected:
    NecctlTrap() {
        folder.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n" + e2e::busOn(GetParam()));
        std::filesystem::create_directory(folder.file("peers"));
    }
    std::vector<std::string> trap(std::vector<std::string> rest) const {
        rest.insert(rest.begin(), {"--config", folder.file("nec.toml"), "--with-peers", folder.file("peers"), "trap"});
        return rest;
    }
    std::string list() const { return answer(trap({"list"})); }
};

INSTANTIATE_TEST_SUITE_P(On, NecctlTrap, e2e::engines, e2e::nameOfEngine);

const std::string header = "NE              service  dispatcher\n";

}  // namespace

TEST_P(NecctlTrap, AssignedTransferredAndDeletedNesAreTheSameOnBothSides) {
    EXPECT_EQ(answer(trap({"assign", "10.0.0.1=5", "10.0.0.2=-3"})), "");
    EXPECT_EQ(list(), header + "10.0.0.1        5        5\n10.0.0.2        -3       -3\n");
    EXPECT_EQ(answer(trap({"transfer", "10.0.0.2=7"})), "");
    EXPECT_EQ(answer(trap({"delete", "10.0.0.1"})), "");
    EXPECT_EQ(list(), header + "10.0.0.2        7        7\n");
}

TEST_P(NecctlTrap, ListIsWrittenAsJson) {
    EXPECT_EQ(answer(trap({"assign", "10.0.0.1=5"})), "");
    Json::Value json;
    std::istringstream(answer(trap({"list", "--json"}))) >> json;
    ASSERT_EQ(json.size(), 1U);
    EXPECT_EQ(json[0]["neIP"], "10.0.0.1");
    EXPECT_EQ(json[0]["service"], 5);
    EXPECT_EQ(json[0]["dispatcher"], 5);
    EXPECT_TRUE(json[0]["same"].asBool());
}

TEST_P(NecctlTrap, DifferencesAreMarkedAndTold) {
    EXPECT_EQ(answer(trap({"assign", "10.0.0.1=5"})), "");
    std::filesystem::remove(folder.file("peers/trap_dispatcher.db"));
    const support::Outcome outcome = necctl(trap({"list"}));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.out, header + "10.0.0.1        5        -  differs\n");
    EXPECT_EQ(outcome.err, "necctl: error: 1 of 1 differ\n");
}

TEST_P(NecctlTrap, BulkIsReadFromAFileOrStandardInput) {
    std::string lines;
    for (int i = 0; i < 2500; ++i)
        lines += "10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250) + ",3\r\n";
    const support::Outcome outcome = necctl(trap({"assign", "--from", folder.write("bulk.csv", lines + "\n")}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.err, "necctl: 1000 of 2500\nnecctl: 2000 of 2500\nnecctl: 2500 of 2500\n");
    EXPECT_EQ(necctl(trap({"delete", "--quiet", "--from", "-"}), lines).err, "");
    EXPECT_EQ(list(), header);
}

TEST_P(NecctlTrap, WrongInputIsToldWithItsPlaceAndNothingIsSent) {
    const std::string file = folder.write("bulk.csv", "10.0.0.1,3\n10.0.0.2,70000\n");
    EXPECT_EQ(failure(1, trap({"assign", "--from", file})),
              "necctl: error: " + file + ":2: 70000: no trap server number from -32768 to 32767\n");
    EXPECT_THAT(failure(1, trap({"delete", "--from", "-"}), "x\n"),
                HasSubstr("standard input:1: x: no IPv4 address in dotted-quad form"));
    for (const char* text : {"10.0.0.1", "10.0.0.1=", "10.0.0=1", "=1", "10.0.0.1=1.5"})
        EXPECT_THAT(failure(2, trap({"assign", text})), HasSubstr(": no "));
    EXPECT_THAT(failure(2, trap({"assign"})), HasSubstr("no NE is given"));
    EXPECT_THAT(failure(3, trap({"assign", "--from", folder.file("none")})), HasSubstr("none: "));
    EXPECT_EQ(list(), header);
}

TEST_P(NecctlTrap, WithoutTheOtherProcessesEachFailureIsTold) {
    const support::Outcome outcome = necctl({"--config", folder.file("nec.toml"), "trap", "assign", "10.0.0.1=5"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.err, HasSubstr("HTTP request TrapServerSendMsgForRegist"));
    EXPECT_THAT(outcome.err, HasSubstr("no process there receives commands"));
    EXPECT_THAT(outcome.err, HasSubstr("not all of it arrived everywhere"));
    EXPECT_THAT(failure(3, {"--config", folder.file("nec.toml"), "trap", "list"}), HasSubstr("trapServerList"));
}

TEST_P(NecctlTrap, FolderOfTheStandInsMustBeThere) {
    EXPECT_THAT(failure(3, {"--config", folder.file("nec.toml"), "--with-peers", folder.file("none"), "trap", "list"}),
                HasSubstr("none: no such folder"));
}
