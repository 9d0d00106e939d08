// necctl ne, mgr and listen where there is no server: what is wrong on the command line, and the embedded bus.
#include "e2e/necctl_fixture.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

using Words = std::vector<std::string>;

class NecctlNe : public Necctl {
protected:
    NecctlNe() { configure("[reliable]\nfile = \"outbox\"\n"); }

    void configure(const std::string& more) const {
        folder.write("nec.toml", "[process]\ntype = 3002\nhandle = 7\n" + more);
    }
    Words command(Words words) const {
        words.insert(words.begin(), {"--config", folder.file("nec.toml")});
        return words;
    }
    // What it says of what it has done.
    std::string said(const Words& words) const {
        const support::Outcome outcome = necctl(command(words));
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.out, "");
        return outcome.err;
    }
    std::string fail(int status, const Words& words) const { return failure(status, command(words)); }
};

TEST_F(NecctlNe, TellsThatNobodyHearsTheEmbeddedBus) {
    for (const Words& words : {Words{"ne", "created", "5"},
                               {"ne", "created", "5", "0xFFFFFFFF", "--proc", "3002:0"},
                               {"ne", "deleted", "5"},
                               {"ne", "transferred", "5", "--to", "3002:8", "--from", "3002:9"},
                               {"mgr", "started"}}) {
        EXPECT_EQ(said(words), "necctl: the embedded bus stays inside this program: nobody hears it\n");
    }
    EXPECT_EQ(said({"mgr", "started", "--quiet"}), "");
}

TEST_F(NecctlNe, ReliableMessageThatNobodyTakesWaitsInTheOutbox) {
    EXPECT_THAT(said({"ne", "transferred", "5", "6", "--to", "3002:8"}),
                AllOf(HasSubstr("1 reliable messages wait in " + folder.file("outbox")), EndsWith("takes them\n")));
    EXPECT_THAT(answer(command({"reliable", "show"})), HasSubstr("depth   1\n"));
}

TEST_F(NecctlNe, TransferWithoutAnOutboxIsRefused) {
    configure("");
    EXPECT_THAT(fail(3, {"ne", "transferred", "5", "--to", "3002:8"}),
                HasSubstr("nec.toml: reliable.file: missing: this process has no reliable channel"));
}

TEST_F(NecctlNe, WrongNumbersAndAddressesAreRefused) {
    for (const char* id : {"x", "", "+5", "0x", "0xG", "4294967296", "5,6", "1.5", "5 "})
        EXPECT_THAT(fail(2, {"ne", "deleted", id}), HasSubstr("expected a number from 0 to 4294967295"));
    for (const char* address : {"3002", "3002:", ":7", "0:7", "65536:7", "3002:65536", "3002:7:1", "a:b", "3002.7"}) {
        EXPECT_THAT(fail(2, {"ne", "created", "5", "--proc", address}), HasSubstr("--proc: \""));
        EXPECT_THAT(fail(2, {"ne", "transferred", "5", "--to", address}), HasSubstr("expected TYPE:HANDLE"));
        EXPECT_THAT(fail(2, {"ne", "transferred", "5", "--to", "3002:8", "--from", address}), HasSubstr("--from: \""));
    }
    EXPECT_THAT(fail(2, {"listen", "--id", "created"}), HasSubstr("--id: \"created\"; expected a number"));
    EXPECT_THAT(fail(2, {"listen", "--ne", "10.0.0"}), HasSubstr("--ne: \"10.0.0\"; expected a number"));
}

TEST_F(NecctlNe, ListeningIsForTheDistributedBus) {
    EXPECT_THAT(fail(3, {"listen"}),
                HasSubstr("nec.toml: bus.engine: \"local\"; listen hears others only with \"nats\""));
    EXPECT_THAT(fail(2, {"listen", "--with-peers", "."}), HasSubstr("listen hosts no stand-ins"));
    EXPECT_THAT(failure(3, {"--config", folder.file("none"), "listen"}), HasSubstr("none"));
}

}  // namespace
