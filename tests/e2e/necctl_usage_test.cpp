// necctl's command line: shared options, exit codes, messages, colour.
#include "e2e/necctl_fixture.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class NecctlUsage : public Necctl {};

using Words = std::vector<std::string>;

const std::vector<Words> groups{{},      {"record"},        {"config"},         {"reliable"}, {"trap"}, {"pnp"}, {"db"},
                                {"ftp"}, {"ftp", "params"}, {"ftp", "account"}, {"ne"},       {"mgr"},  {"bus"}};
const std::vector<Words> commands{{"record", "decode"},
                                  {"record", "encode"},
                                  {"config", "check"},
                                  {"bus", "status"},
                                  {"bus", "check"},
                                  {"bus", "setup"},
                                  {"reliable", "show"},
                                  {"local-ip"},
                                  {"lvs"},
                                  {"trap", "assign"},
                                  {"trap", "transfer"},
                                  {"trap", "delete"},
                                  {"trap", "list"},
                                  {"pnp", "broadcast"},
                                  {"pnp", "receive"},
                                  {"db", "init"},
                                  {"db", "migrate"},
                                  {"db", "check"},
                                  {"ftp", "service"},
                                  {"ftp", "params", "set"},
                                  {"ftp", "params", "show"},
                                  {"ftp", "account", "list"},
                                  {"ftp", "account", "add"},
                                  {"ftp", "account", "remove"},
                                  {"ne", "created"},
                                  {"ne", "deleted"},
                                  {"ne", "transferred"},
                                  {"mgr", "started"},
                                  {"listen"}};

// What no command line is.
const std::vector<Words> wrong{{},
                               {"record"},
                               {"nonsense"},
                               {"record", "nonsense"},
                               {"record", "decode"},
                               {"record", "encode", "-"},
                               {"record", "decode", "a", "b"},
                               {"record", "decode", "--nonsense", "-"},
                               {"--config"},
                               {"bus"},
                               {"bus", "nonsense"},
                               {"bus", "status", "--seconds", "0"},
                               {"bus", "status", "--seconds", "61"},
                               {"bus", "check", "--certificate-days", "-1"},
                               {"bus", "setup", "--receiver", "3002"},
                               {"db"},
                               {"db", "nonsense"},
                               {"ftp"},
                               {"ftp", "params"},
                               {"ftp", "account"},
                               {"ftp", "account", "nonsense"},
                               {"pnp"},
                               {"pnp", "broadcast"},
                               {"pnp", "broadcast", "--dry-run"},
                               {"pnp", "receive"},
                               {"pnp", "receive", "a", "b"},
                               {"pnp", "receive", "a", "--count", "0"},
                               {"pnp", "receive", "a", "--count", "x"},
                               {"reliable", "show", "--most", "x"},
                               {"reliable", "show", "--most", "-1"},
                               {"ne"},
                               {"ne", "nonsense"},
                               {"ne", "created"},
                               {"ne", "created", "5", "--to", "3002:8"},
                               {"ne", "deleted"},
                               {"ne", "transferred", "5"},
                               {"ne", "transferred", "--to", "3002:8"},
                               {"mgr"},
                               {"mgr", "started", "5"},
                               {"listen", "5"},
                               {"listen", "--kind", "nonsense"},
                               {"listen", "--count", "0"},
                               {"listen", "--count", "x"},
                               {"listen", "--seconds", "0"},
                               {"listen", "--largest", "x"}};

TEST_F(NecctlUsage, VersionIsWrittenBeforeAndBehindACommand) {
    EXPECT_THAT(answer({"--version"}), MatchesRegex("necctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    for (Words command : commands) {
        command.push_back("--version");
        EXPECT_EQ(answer(command), answer({"--version"}));
    }
}

TEST_F(NecctlUsage, HelpOfEveryCommandTellsTheExitCodes) {
    for (const std::vector<Words>& all : {groups, commands})
        for (Words command : all) {
            command.push_back("--help");
            EXPECT_THAT(answer(command), HasSubstr("Exit codes:"));
        }
}

TEST_F(NecctlUsage, WrongCommandLinesAreRefused) {
    for (const auto& command : wrong) EXPECT_THAT(failure(2, command), HasSubstr("see necctl --help"));
    EXPECT_THAT(failure(2, {"record", "decode", "--type", "Nonsense", "-"}), HasSubstr("AsnClientGetPnpRsp"));
}

TEST_F(NecctlUsage, FullStandardOutputIsAnError) {
    const support::Outcome outcome = support::run(
        {"sh", "-c", "exec \"$0\" record decode --type AsnFrameProcID - > /dev/full", NECCTL}, "30060201010201 01");
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.err, HasSubstr("standard output cannot be written"));
}

TEST_F(NecctlUsage, ColourIsForTerminalsOnly) {
    EXPECT_THAT(necctl({}, {}, {"TERM=xterm"}).err, Not(HasSubstr("\033")));
    EXPECT_THAT(onTerminal(NECCTL, {"TERM=xterm", "NO_COLOR="}), HasSubstr("\033[31merror:"));
    EXPECT_THAT(onTerminal(NECCTL, {"TERM=xterm", "NO_COLOR=1"}), Not(HasSubstr("\033")));
    EXPECT_THAT(onTerminal(NECCTL, {"TERM=dumb", "NO_COLOR="}), Not(HasSubstr("\033")));
}

}  // namespace
