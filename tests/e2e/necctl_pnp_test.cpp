// necctl pnp: broadcasts with a client hosted inside, dry runs, and receiving.
#include <json/json.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "engines.h"
#include "necctl_fixture.h"
#include "support/placeholder.h"

namespace {

using support::placeholder;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

constexpr std::size_t largest = 1048576;

class NecctlPnp : public Necctl {
protected:
    explicit NecctlPnp(const std::string& bus = {}) {
        folder.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n" + bus);
        for (const char* name : {"peers", "pnp", "pnp/types"}) std::filesystem::create_directory(folder.file(name));
    }

    Words broadcast(const Words& rest) const { return command({"pnp", "broadcast"}, rest); }
    Words hosted(const Words& rest) const {
        return command({"--with-peers", folder.file("peers"), "pnp", "broadcast"}, rest);
    }
    static Words dryRun(const Words& rest) {
        Words all{"pnp", "broadcast", "--dry-run"};
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    }

    // What the hosted client wrote.
    std::string received(const std::string& name) const {
        return support::contentOf(folder.file("peers/pnp_client/" + name));
    }
    bool nothingReceived() const {
        const std::string client = folder.file("peers/pnp_client");
        return !std::filesystem::exists(client) || std::filesystem::is_empty(client);
    }
    // That a broadcast of `path` ends with `code`, which a dry run tells before; both within the time-out.
    void expectAbort(const std::string& path, const std::string& code, const std::string& text) const {
        EXPECT_THAT(failure(1, hosted({path})), testing::AllOf(HasSubstr("nothing is sent, code " + code + ": " + text),
                                                               StartsWith("necctl: error: " + path)));
        const support::Outcome outlook = necctl(dryRun({path}));
        EXPECT_EQ(outlook.exitStatus, 1);
        EXPECT_THAT(outlook.out, HasSubstr("aborts, code " + code + ": " + text));
        EXPECT_TRUE(nothingReceived());
    }
    static Json::Value parsed(const std::string& text) {
        Json::Value json;
        std::istringstream(text) >> json;
        return json;
    }

private:
    Words command(Words words, const Words& rest) const {
        words.insert(words.begin(), {"--config", folder.file("nec.toml")});
        words.insert(words.end(), rest.begin(), rest.end());
        return words;
    }
};

// Broadcasts that reach a client, on each engine.
class NecctlPnpBroadcast : public NecctlPnp, public testing::WithParamInterface<const char*> {
protected:
    NecctlPnpBroadcast() : NecctlPnp(e2e::busOn(GetParam())) {}
};

INSTANTIATE_TEST_SUITE_P(On, NecctlPnpBroadcast, e2e::engines, e2e::nameOfEngine);

}  // namespace

TEST_P(NecctlPnpBroadcast, FilesOfADirectoryArriveAsTheyAre) {
    folder.write("pnp/b.xml", "<b/>\n");
    folder.write("pnp/types/a.xml", std::string("\0\xFF\r\n", 4));
    EXPECT_EQ(answer(hosted({folder.file("pnp")})), "files sent    2\nplaceholders  0\nwritten       2\n");
    EXPECT_EQ(received("pnp/b.xml"), "<b/>\n");
    EXPECT_EQ(received("pnp/types/a.xml"), std::string("\0\xFF\r\n", 4));
}

TEST_P(NecctlPnpBroadcast, MissingFilesAreToldAndArriveAsPlaceholders) {
    const std::string there = folder.write("pnp/a.xml", "<a/>\n");
    const support::Outcome outcome = necctl(hosted({folder.file("pnp/no.xml"), there, folder.file("pnp/none.xml")}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, "files sent    3\nplaceholders  2\nwritten       3\n");
    EXPECT_EQ(outcome.err, "necctl: error: Open file failed! " + folder.file("pnp/no.xml") +
                               "; clients get a placeholder\nnecctl: error: Open file failed! " +
                               folder.file("pnp/none.xml") + "; clients get a placeholder\n");
    EXPECT_EQ(received("pnp/a.xml"), "<a/>\n");
    EXPECT_EQ(received("pnp/no.xml.error"), placeholder);
    EXPECT_EQ(received("pnp/none.xml.error"), placeholder);
}

TEST_P(NecctlPnpBroadcast, LargestFileArrives) {
    EXPECT_EQ(necctl(hosted({folder.write("pnp/a", std::string(largest, 'x'))})).exitStatus, 0);
    EXPECT_EQ(received("pnp/a").size(), largest);
}

TEST_P(NecctlPnpBroadcast, FileThatIsTooLargeEndsTheBroadcast) {
    const std::string path = folder.write("pnp/a", std::string(largest + 1, 'x'));
    expectAbort(path, "0x4200004B", "Exceed the max file size: 1M! " + path);
    EXPECT_THAT(necctl(dryRun({path})).out, StartsWith("   1048577  pnp/a  aborts"));
}

TEST_P(NecctlPnpBroadcast, EmptyFileEndsTheBroadcast) {
    expectAbort(folder.write("pnp/a", ""), "0x42000042", "[GetPNPFileContent]ifilesize is invalid");
}

TEST_P(NecctlPnpBroadcast, FileWithoutAnEndOrWithoutAWriterEndsTheBroadcast) {
    ASSERT_EQ(mkfifo(folder.file("pnp/fifo").c_str(), 0600), 0);
    for (const std::string& path : {folder.file("pnp/fifo"), std::string("/dev/zero")})
        expectAbort(path, "0x42000042", "[GetPNPFileContent]ifilesize is invalid");
}

TEST_P(NecctlPnpBroadcast, SocketIsAFileThatCannotBeOpened) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder.file("pnp/socket");
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(static_cast<char*>(address.sun_path), path.c_str(), path.size() + 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(listener);
    EXPECT_EQ(necctl(hosted({path})).exitStatus, 0);
    EXPECT_EQ(received("pnp/socket.error"), placeholder);
}

TEST_P(NecctlPnpBroadcast, WhatIsNoRegularFileInADirectoryIsLeftOutAndTold) {
    folder.write("pnp/a.xml", "<a/>\n");
    folder.write("outside", "not to be sent");
    std::filesystem::create_symlink(folder.file("outside"), folder.file("pnp/link"));
    std::filesystem::create_directory_symlink("/dev", folder.file("pnp/types/devices"));
    ASSERT_EQ(mkfifo(folder.file("pnp/fifo").c_str(), 0600), 0);
    const support::Outcome outcome = necctl(hosted({folder.file("pnp")}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, "files sent    1\nplaceholders  0\nwritten       1\n");
    EXPECT_THAT(outcome.err, HasSubstr(folder.file("pnp/link") + " is left out: it is a link\n"));
    EXPECT_THAT(outcome.err, HasSubstr(folder.file("pnp/types/devices") + " is left out: it is a link\n"));
    EXPECT_THAT(outcome.err, HasSubstr(folder.file("pnp/fifo") + " is left out: it is no regular file\n"));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 3);
}

TEST_F(NecctlPnp, DirectoryAmongFilesStandsForTheFilesInItByName) {
    for (const char* name : {"pnp/b", "pnp/a.xml", "pnp/types/c"}) folder.write(name, "x");
    const std::string last = folder.write("last", "x");
    const Json::Value json = parsed(necctl(dryRun({"--json", folder.file("none"), folder.file("pnp"), last})).out);
    Words paths;
    for (const Json::Value& file : json["files"]) paths.push_back(file["path"].asString());
    EXPECT_EQ(paths, (Words{folder.file("none"), folder.file("pnp/a.xml"), folder.file("pnp/b"),
                            folder.file("pnp/types/c"), last}));
    EXPECT_EQ(failure(1, broadcast({folder.file("peers")})),
              "necctl: error: " + folder.file("peers") + ": no file is in this directory\n");
}

TEST_P(NecctlPnpBroadcast, PathsThatAreNotUtf8ArriveAndAreShownEscaped) {
    const std::string path = folder.write("pnp/\xFF.xml", "<a/>\n");
    EXPECT_EQ(parsed(answer(hosted({"--json", path})))["client"]["written"][0]["hex"], "706E702FFF2E786D6C");
    EXPECT_EQ(received("pnp/\xFF.xml"), "<a/>\n");
    const support::Outcome outlook = necctl(dryRun({path, "\x1B]0;title\xFE"}));
    EXPECT_EQ(outlook.exitStatus, 0);
    EXPECT_THAT(outlook.out, HasSubstr("         5  pnp/\\xFF.xml\n"));
    EXPECT_THAT(outlook.out, HasSubstr("  \\x1B]0;title\\xFE.error  placeholder: Open file failed! \\x1B]0;"));
}

TEST_P(NecctlPnpBroadcast, NameThatIsTooLongIsRefusedByTheClientAndTold) {
    const std::string path = folder.file("pnp/") + std::string(4096, 'x');
    const support::Outcome outcome = necctl(hosted({path}));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.out, "files sent    1\nplaceholders  1\nwritten       0\n");
    EXPECT_THAT(outcome.err, HasSubstr("necctl: error: refused by the client: pnp/xxx"));
    EXPECT_THAT(outcome.err, HasSubstr("expected at most 4096\n"));
    EXPECT_TRUE(nothingReceived());
}

TEST_P(NecctlPnpBroadcast, NameOutsideOfTheClientsFolderIsRefusedByItAndTheOthersArrive) {
    const std::string outside = folder.write("a.xml", "<a/>\n");
    const support::Outcome outcome = necctl(hosted({"--json", outside, folder.write("pnp/b.xml", "<b/>\n")}));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.err, HasSubstr("refused by the client: " + outside + ": its name begins with a slash"));
    const Json::Value client = parsed(outcome.out)["client"];
    EXPECT_EQ(client["sender"], "3005:7");
    EXPECT_EQ(client["refused"][0]["name"], outside);
    EXPECT_EQ(client["written"][0], "pnp/b.xml");
    EXPECT_EQ(received("pnp/b.xml"), "<b/>\n");
}

// No client is hosted: it forces each file to disk, which takes long on a busy machine.
TEST_P(NecctlPnpBroadcast, TenThousandFilesGoOutAtOnce) {
    constexpr int files = 10000;
    for (int i = 0; i < files; ++i) folder.write("pnp/" + std::to_string(i), std::to_string(i));
    EXPECT_EQ(answer(broadcast({"--quiet", folder.file("pnp")})), "files sent    10000\nplaceholders  0\n");
    EXPECT_THAT(answer(dryRun({folder.file("pnp")})),
                HasSubstr("  octets in all; files 10000, placeholders 0, aborting 0\n"));
}

TEST_P(NecctlPnpBroadcast, MoreThanTheBusTakesIsToldBeforeItIsRead) {
    for (int i = 0; i < 513; ++i) {
        const std::string sparse = folder.write("pnp/" + std::to_string(i), "");
        std::filesystem::resize_file(sparse, largest);
    }
    EXPECT_EQ(failure(1, hosted({folder.file("pnp")})),
              "necctl: error: nothing is sent: the files hold 537919488 "
              "octets; expected at most 536870912\n");
    const support::Outcome outlook = necctl(dryRun({folder.file("pnp")}));
    EXPECT_EQ(outlook.exitStatus, 1);
    EXPECT_THAT(outlook.err, HasSubstr("the broadcast would not be sent"));
}

TEST_F(NecctlPnp, DryRunTellsWhatBecomesOfEachFileAndSendsNothing) {
    const std::string good = folder.write("pnp/a.xml", "<a/>\n");
    const std::string empty = folder.write("pnp/types/empty", "");
    const support::Outcome outcome =
        necctl({"--with-peers", folder.file("peers"), "pnp", "broadcast", "--dry-run", empty, good, "none/pnp/pnp"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.out,
              "         0  pnp/types/empty  aborts, code 0x42000042: [GetPNPFileContent]ifilesize is invalid\n"
              "         5  pnp/a.xml\n"
              "         -  pnp/pnp.error  placeholder: Open file failed! none/pnp/pnp\n"
              "         5  octets in all; files 3, placeholders 1, aborting 1\n");
    EXPECT_EQ(outcome.err, "necctl: error: the broadcast would abort: 1 of 3 files cannot be sent\n");
    EXPECT_TRUE(nothingReceived());
}

TEST_F(NecctlPnp, DryRunIsWrittenAsJson) {
    const std::string good = folder.write("pnp/a.xml", "<a/>\n");
    const support::Outcome outcome = necctl(dryRun({"--json", "/dev/zero", good, "none"}));
    EXPECT_EQ(outcome.exitStatus, 1);
    const Json::Value json = parsed(outcome.out);
    EXPECT_EQ(json["octets"], 5);
    EXPECT_EQ(json["placeholders"], 1);
    EXPECT_EQ(json["aborting"], 1);
    EXPECT_EQ(json["files"][0]["outcome"], "aborts");
    EXPECT_EQ(json["files"][0]["code"], "0x42000042");
    EXPECT_TRUE(json["files"][0]["size"].isNull());
    EXPECT_EQ(json["files"][1]["outcome"], "sent");
    EXPECT_EQ(json["files"][1]["path"], good);
    EXPECT_EQ(json["files"][1]["name"], "pnp/a.xml");
    EXPECT_EQ(json["files"][1]["size"], 5);
    EXPECT_FALSE(json["files"][1].isMember("error"));
    EXPECT_EQ(json["files"][2]["outcome"], "placeholder");
    EXPECT_EQ(json["files"][2]["error"], "Open file failed! none");
}

TEST_F(NecctlPnp, WithoutAnybodyOnTheBusThatIsTold) {
    const std::string path = folder.write("pnp/a.xml", "<a/>\n");
    const support::Outcome outcome = necctl(broadcast({path}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, "files sent    1\nplaceholders  0\n");
    EXPECT_THAT(outcome.err, HasSubstr("the embedded bus stays inside this program"));
    const Json::Value json = parsed(answer(broadcast({"--quiet", "--json", path})));
    EXPECT_EQ(json["files"], 1);
    EXPECT_EQ(json["placeholders"], Json::Value(Json::arrayValue));
    EXPECT_FALSE(json.isMember("client"));
}

TEST_P(NecctlPnpBroadcast, ProgressIsABarOnATerminalOnly) {
    for (const char* name : {"pnp/a", "pnp/b", "pnp/c"}) folder.write(name, "x");
    std::string command = NECCTL;
    for (const std::string& word : hosted({folder.file("pnp")})) command += " " + word;
    const std::string bar(40, '#');
    const std::string shown = onTerminal(command);
    EXPECT_THAT(shown, StartsWith("\r[" + std::string(40, ' ') + "] 0 of 3\r["));
    EXPECT_THAT(shown, HasSubstr("\r[" + bar + "] 3 of 3\r\nfiles sent"));
    EXPECT_THAT(onTerminal(command + " --dry-run"), HasSubstr("\r[" + bar + "] 3 of 3\r\n "));
    EXPECT_THAT(onTerminal(command + " --quiet"), StartsWith("files sent"));
    EXPECT_THAT(onTerminal(command + " 2>/dev/null"), StartsWith("files sent"));
}

TEST_P(NecctlPnpBroadcast, BarOfABroadcastThatEndsEarlyStopsThere) {
    folder.write("pnp/a", "x");
    folder.write("pnp/b", "");
    folder.write("pnp/c", "x");
    std::string command = NECCTL;
    for (const std::string& word : hosted({folder.file("pnp")})) command += " " + word;
    const std::string shown = onTerminal(command);
    EXPECT_THAT(shown, HasSubstr("] 1 of 3\r\n"));
    EXPECT_THAT(shown, HasSubstr("nothing is sent, code 0x42000042"));
    EXPECT_THAT(shown, Not(HasSubstr("3 of 3")));
}

TEST_F(NecctlPnp, ReceivingListensUntilItIsTerminated) {
    for (const int signal : {SIGTERM, SIGINT}) {
        support::Child child({"sh", "-c", "exec \"$@\" 2>&1", "sh", NECCTL, "--config", folder.file("nec.toml"), "pnp",
                              "receive", folder.file("taken")});
        ASSERT_TRUE(child.waitForOutput("necctl: listening; files go to " + folder.file("taken") + "\n"));
        EXPECT_THAT(child.out(), HasSubstr("the embedded bus stays inside this program"));
        EXPECT_TRUE(std::filesystem::is_directory(folder.file("taken")));
        child.signal(signal);
        EXPECT_EQ(child.wait().exitStatus, 0);
    }
}

TEST_F(NecctlPnp, WhatCannotBeUsedIsTold) {
    const std::string file = folder.write("pnp/a", "x");
    const Words config{"--config", folder.file("nec.toml"), "pnp", "receive"};
    EXPECT_THAT(failure(3, {config[0], config[1], config[2], config[3], file}), HasSubstr(file + ": cannot be used"));
    EXPECT_THAT(failure(3, {config[0], config[1], config[2], config[3], folder.file("none/below")}),
                HasSubstr("none/below: cannot be used"));
    EXPECT_THAT(failure(3, {"--config", folder.file("none"), "pnp", "receive", folder.file("taken")}),
                HasSubstr("none: "));
    EXPECT_THAT(failure(3, {"--config", folder.file("none"), "pnp", "broadcast", file}), HasSubstr("none: "));
    EXPECT_THAT(failure(3, {"--config", folder.file("nec.toml"), "--with-peers", folder.file("none"), "pnp",
                            "broadcast", file}),
                HasSubstr("none: no such folder"));
}

TEST_F(NecctlPnp, HelpTellsHowFilesAreTaken) {
    EXPECT_THAT(answer({"pnp", "--help"}), testing::AllOf(HasSubstr("broadcast"), HasSubstr("receive")));
    EXPECT_THAT(answer({"pnp", "broadcast", "--help"}), testing::AllOf(HasSubstr("--dry-run"), HasSubstr("left out")));
    EXPECT_THAT(answer({"pnp", "receive", "--help"}), HasSubstr("--count"));
}
