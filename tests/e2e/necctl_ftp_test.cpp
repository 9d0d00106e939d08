// necctl ftp params and necctl ftp account.
#include "config/ftp_store.h"
#include "e2e/necctl_database.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::string canary = "canary-9f27";

class NecctlFtp : public NecctlDatabase {
protected:
    explicit NecctlFtp(const std::string& kind = "sqlite") : NecctlDatabase(kind) { tell({"db", "init"}); }

    std::string passwordFile(const std::string& content = canary + '\n') const {
        return folder.write("password", content);
    }
    std::string setFirst() const {
        return tell({"ftp", "params", "set", "--user", "nec", "--root", "/srv/ftp", "--password-file", passwordFile()});
    }
    // With the password from standard input.
    static std::vector<std::string> adding(const std::string& name) {
        return {"ftp",   "account",    "add",     "--user",          "u", "--port", "2022", "--home",
                "/data", "--relative", "pnp dir", "--password-file", "-", "--",     name};
    }
    std::string add(const std::string& name) const { return tell(adding(name), canary); }

    std::string storedPassword() const {
        return inside([] {
            TESUcommon::FTPPara para;
            frame::readFtpParameters(para);
            return para.password;
        });
    }
    std::list<FTPAccountInfo> storedAccounts() const {
        return inside([] {
            std::list<FTPAccountInfo> accounts;
            frame::readFtpAccounts(accounts, false);
            return accounts;
        });
    }
};

class NecctlFtpDatabases : public NecctlFtp, public testing::WithParamInterface<const char*> {
protected:
    NecctlFtpDatabases() : NecctlFtp(GetParam()) {}
};

const std::string shown = "user       nec\npassword   set\nroot       /srv/ftp\nftp-port   21\nsftp-port  22\n";

}  // namespace

TEST_P(NecctlFtpDatabases, ParametersAndAccountsAreStoredAndShownWithoutPasswords) {
    EXPECT_EQ(setFirst(), "");
    EXPECT_EQ(tell({"ftp", "params", "show"}), shown);
    EXPECT_EQ(storedPassword(), canary);
    EXPECT_EQ(add("Local SFTP Account"), "");
    EXPECT_EQ(tell({"ftp", "account", "list"}),
              "name      Local SFTP Account\nuser      u\nport      2022\nhome      /data\nrelative  pnp dir\n");
    EXPECT_EQ(storedAccounts().back().password, canary);
    EXPECT_THAT(tell({"db", "check"}), HasSubstr(", FTP parameters set, accounts: 1\n"));
}

INSTANTIATE_TEST_SUITE_P(Databases, NecctlFtpDatabases, testing::Values("sqlite", "postgres"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_F(NecctlFtp, AtFirstAllButThePortsIsNeeded) {
    EXPECT_EQ(fail(1, {"ftp", "params", "show"}),
              "necctl: error: no FTP parameters have been set; see necctl ftp params set\n");
    EXPECT_EQ(fail(2, {"ftp", "params", "set", "--root", "/"}),
              "necctl: error: no FTP parameters have been set before; missing: --user --password-file\n");
    EXPECT_THAT(fail(2, {"ftp", "params", "set"}), HasSubstr("--sftp-port"));
}

TEST_F(NecctlFtp, WhatIsLeftOutStaysAsItIs) {
    setFirst();
    tell({"ftp", "params", "set", "--sftp-port", "2222", "--ftp-port", "65535"});
    tell({"ftp", "params", "set", "--user", "it's \"nec\""});
    const Json::Value json = tellJson({"ftp", "params", "show"});
    EXPECT_EQ(json["user"], "it's \"nec\"");
    EXPECT_EQ(json["root"], "/srv/ftp");
    EXPECT_EQ(json["ftpPort"], 65535);
    EXPECT_EQ(json["sftpPort"], 2222);
    EXPECT_EQ(json["password"], "set");
    EXPECT_EQ(storedPassword(), canary);
    tell({"ftp", "params", "set", "--user", ""});
    EXPECT_EQ(tellJson({"ftp", "params", "show"})["user"], "");
}

TEST_F(NecctlFtp, PasswordIsTheContentWithoutOneLineEnd) {
    setFirst();
    const std::string longest(4096, 'x');
    const std::vector<std::pair<std::string, std::string>> contents{{"p\n", "p"},
                                                                    {"p", "p"},
                                                                    {"p\r\n", "p"},
                                                                    {"p\n\n", "p\n"},
                                                                    {" p \t\n", " p \t"},
                                                                    {"p\r", "p\r"},
                                                                    {"", ""},
                                                                    {"\n", ""},
                                                                    {"\r\n", ""},
                                                                    {longest, longest},
                                                                    {longest + "\r\n", longest},
                                                                    {"%s'\"\\", "%s'\"\\"}};
    for (const auto& [content, password] : contents) {
        tell({"ftp", "params", "set", "--password-file", passwordFile(content)});
        EXPECT_EQ(storedPassword(), password);
        tell({"ftp", "params", "set", "--password-file", "-"}, content + "");
        EXPECT_EQ(storedPassword(), password);
    }
}

TEST_F(NecctlFtp, EmptyPasswordIsShownAsSuch) {
    setFirst();
    tell({"ftp", "params", "set", "--password-file", "-"});
    EXPECT_THAT(tell({"ftp", "params", "show"}), HasSubstr("password   empty\n"));
}

TEST_F(NecctlFtp, PasswordsThatAreNoneAreRefusedWithoutShowingThem) {
    setFirst();
    const std::vector<std::string> set{"ftp", "params", "set", "--password-file", "-"};
    for (const std::string& wrong :
         {canary + std::string(4097 - canary.size(), 'x'), canary + std::string(100'000, 'x'),
          std::string(4097, 'x') + "\r\n", std::string(4096, 'x') + "\n\n"})
        EXPECT_EQ(fail(1, set, wrong), "necctl: error: standard input: longer than 4096 octets\n");
    for (const std::string& wrong : {canary + std::string(1, '\0'), canary + "\xC3("})
        EXPECT_EQ(fail(1, set, wrong), "necctl: error: password: expected UTF-8 text without NUL\n");
    EXPECT_EQ(storedPassword(), canary);
}

TEST_F(NecctlFtp, PasswordFileThatCannotBeReadIsTold) {
    setFirst();
    EXPECT_EQ(fail(3, {"ftp", "params", "set", "--password-file", folder.file("none")}),
              "necctl: error: " + folder.file("none") + ": No such file or directory\n");
    EXPECT_THAT(fail(3, {"ftp", "params", "set", "--password-file", folder.file(".")}), HasSubstr("Is a directory"));
}

TEST_F(NecctlFtp, HelpTellsWherePasswordsComeFromAndHowCommandsEnd) {
    for (const auto& [group, command] : {std::pair("params", "set"), std::pair("account", "add")}) {
        const std::string help = tell({"ftp", group, command, "--help"});
        EXPECT_THAT(help, AllOf(HasSubstr("--password-file FILE"), HasSubstr("- for standard input"),
                                HasSubstr("Exit codes:")));
    }
}

TEST_F(NecctlFtp, WrongPortsAreWrongUsage) {
    setFirst();
    for (const char* port : {"0", "65536", "-1", "x", "", "22x", "99999999999"}) {
        EXPECT_THAT(fail(2, {"ftp", "params", "set", "--ftp-port", port}), HasSubstr("--ftp-port"));
        EXPECT_THAT(fail(2, {"ftp", "params", "set", "--sftp-port", port}), HasSubstr("--sftp-port"));
        EXPECT_THAT(fail(2, {"ftp", "account", "add", "a", "--port", port}), HasSubstr("--port"));
    }
    EXPECT_EQ(tell({"ftp", "params", "show"}), shown);
}

TEST_F(NecctlFtp, AnyTextIsAnAccountsName) {
    const std::vector<std::string> names{
        "a b", "it's", "\"q\"", "'; DROP TABLE ftp_accounts; --", "list", "-x", "[a,b]", "", "K\xC3\xB6ln", "%s"};
    for (const std::string& name : names) EXPECT_EQ(add(name), "");
    const Json::Value list = tellJson({"ftp", "account", "list"});
    ASSERT_EQ(list.size(), names.size());
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) EXPECT_EQ(list[i]["name"], names[i]);
    EXPECT_EQ(list[0]["user"], "u");
    EXPECT_EQ(list[0]["port"], 2022);
    EXPECT_EQ(list[0]["home"], "/data");
    EXPECT_EQ(list[0]["relative"], "pnp dir");
    for (const std::string& name : names)
        EXPECT_EQ(tell({"ftp", "account", "remove", "--", name}), "accounts removed: 1\n");
    EXPECT_EQ(tell({"ftp", "account", "list"}), "");
}

TEST_F(NecctlFtp, ControlCharactersOfNamesSteerNoTerminal) {
    add("a\x1b[2J\nb");
    EXPECT_THAT(tell({"ftp", "account", "list"}), HasSubstr("name      a\\x1B[2J\\nb\n"));
    EXPECT_THAT(fail(1, adding("a\x1b[2J\nb"), canary), HasSubstr("named \"a\\x1B[2J\\nb\" already\n"));
}

TEST_F(NecctlFtp, TextsThatAreNoneAreRefused) {
    setFirst();
    EXPECT_EQ(fail(1, adding("\xFF"), canary), "necctl: error: account name: expected UTF-8 text without NUL\n");
    EXPECT_THAT(fail(1, adding(std::string(4097, 'n')), canary), HasSubstr("account name: too long"));
    EXPECT_EQ(fail(1, {"ftp", "params", "set", "--root", "\xFF"}),
              "necctl: error: root directory: expected UTF-8 text without NUL\n");
    EXPECT_EQ(tell({"ftp", "account", "list"}), "");
}

TEST_F(NecctlFtp, AccountIsNotAddedTwice) {
    add("a");
    EXPECT_EQ(fail(1, adding("a"), canary), "necctl: error: there is an account named \"a\" already\n");
    EXPECT_EQ(storedAccounts().size(), 1U);
}

TEST_F(NecctlFtp, AllAccountsOfANameAreRemoved) {
    inside([] {
        for (const char* name : {"a", "A", "a"}) frame::addFtpAccount({name, "u", "p", 22, "", ""});
    });
    EXPECT_EQ(tellJson({"ftp", "account", "remove", "a"})["removed"], 2);
    EXPECT_EQ(fail(1, {"ftp", "account", "remove", "a"}), "necctl: error: there is no account named \"a\"\n");
    EXPECT_THAT(tell({"ftp", "account", "list"}),
                AllOf(HasSubstr("name      A\n"), HasSubstr("home      -\nrelative  -\n"), Not(HasSubstr("\n\n"))));
}

TEST_F(NecctlFtp, DatabaseWithoutASchemaIsToldOfEveryCommand) {
    std::filesystem::remove(sqliteFile());
    const std::vector<std::vector<std::string>> commands{{"ftp", "params", "show"},
                                                         {"ftp", "params", "set", "--user", "u"},
                                                         {"ftp", "account", "list"},
                                                         {"ftp", "account", "remove", "a"},
                                                         adding("a")};
    for (const auto& words : commands)
        EXPECT_THAT(fail(3, words), HasSubstr("the database has no schema; expected version "));
    configure("");
    for (const auto& words : commands) EXPECT_THAT(fail(3, words), HasSubstr("this process has no database"));
}

TEST_F(NecctlFtp, PasswordThatTheDatabaseDoesNotTakeIsNotShown) {
    setFirst();
    alter("CREATE TRIGGER a BEFORE INSERT ON ftp_parameters BEGIN SELECT RAISE(ABORT, 'it is full'); END");
    alter("CREATE TRIGGER b BEFORE INSERT ON ftp_accounts BEGIN SELECT RAISE(ABORT, 'it is full'); END");
    for (const auto& words : {std::vector<std::string>{"ftp", "params", "set", "--password-file", "-"}, adding("a")})
        EXPECT_THAT(fail(3, words, canary), AllOf(HasSubstr("it is full"), Not(HasSubstr(canary))));
}
