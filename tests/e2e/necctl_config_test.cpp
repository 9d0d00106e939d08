// necctl config check.
#include "e2e/necctl_fixture.h"

namespace {

using testing::HasSubstr;

class NecctlConfig : public Necctl {
protected:
    std::string right = folder.write("right.toml", "[process]\ntype = 1\nhandle = 2\n");
    std::string wrong = folder.write("wrong.toml", "[process]\ntype = 0\nhandle = 2\n");
    std::string error = wrong + ":2: process.type: 0; expected a number from 1 to 65535";
};

TEST_F(NecctlConfig, RightFileIsOk) {
    EXPECT_EQ(answer({"config", "check", right}), right + ": ok\n");
    EXPECT_EQ(answer({"config", "check", "--config", right}), right + ": ok\n");
    EXPECT_THAT(answer({"config", "check", "--json", right}), HasSubstr("\"ok\" : true"));
}

TEST_F(NecctlConfig, WrongFileIsToldWithLineAndKey) {
    EXPECT_THAT(failure(1, {"config", "check", wrong}), HasSubstr(error));
    EXPECT_THAT(failure(1, {"config", "check", wrong, "--quiet"}), HasSubstr(error));
}

TEST_F(NecctlConfig, JsonTellsTheErrorToo) {
    const support::Outcome outcome = necctl({"config", "check", "--json", wrong});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.out, HasSubstr("\"ok\" : false"));
    EXPECT_THAT(outcome.out, HasSubstr("\"error\" : \"" + error + "\""));
    EXPECT_THAT(outcome.err, HasSubstr(error));
}

TEST_F(NecctlConfig, FileThatCannotBeReadIsAnotherExitCode) {
    EXPECT_THAT(failure(3, {"config", "check", folder.file("none.toml")}), HasSubstr("none.toml: No such file"));
    EXPECT_THAT(failure(3, {"config", "check", folder.file("")}), HasSubstr("directory"));
}

}  // namespace
