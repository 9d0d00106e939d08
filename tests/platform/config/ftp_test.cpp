// What the FTP configuration promises, over each database.
#include <atomic>
#include <thread>

#include "ftp_fixture.h"

namespace ftp_test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The parameter is the kind of database, as urls begin.
class FtpConfiguration : public testing::TestWithParam<std::string> {
protected:
    // `connections`: with one, settings that a test makes on it stay.
    void open(unsigned connections = 4) {
        database_.emplace(frame::DatabaseOptions{place_->url(), connections, longEnough});
    }
    void openWithSchema(unsigned connections = 4) {
        open(connections);
        migrate();
    }

    const std::unique_ptr<support::Place> place_ = support::makePlace(GetParam());
    std::optional<frame::Database> database_;
};

const std::vector<std::string> oddTexts{"",
                                        " ",
                                        "'; DROP TABLE ftp_accounts; --",
                                        "\"quotes\" and \\ backslashes",
                                        "%s%n 100%",
                                        ":password ? $1",
                                        "two\r\nlines\n",
                                        "\x01\x1B\x7F",
                                        "gr\u00FC\u00DFe \u6F22\u5B57 \U0001F600",
                                        std::string(4096, 'x')};

TEST_P(FtpConfiguration, ParametersAreReadAsTheyWereSetAndSettingThemAgainReplacesThem) {
    openWithSchema();
    for (const std::string& text : oddTexts) {
        const TESUcommon::FTPPara para{"u" + text.substr(0, 4095), text, text, 1, 65535};
        frame::setFtpParameters(para);
        const ReadPara read = readPara();
        EXPECT_EQ(read.code, 0) << text;
        EXPECT_EQ(valuesOf(read.para), valuesOf(para)) << text;
        EXPECT_THAT(read.log, IsEmpty());
    }
}

TEST_P(FtpConfiguration, ParametersThatWereNeverSetAreToldSo) {
    openWithSchema();
    expectParaUnreadable(TESUcommon::ftpNotSet, "no FTP parameters have been set");
    EXPECT_THAT(accountNames(), IsEmpty());
}

TEST_P(FtpConfiguration, AccountsAreReadAsTheyWereAddedInThatOrder) {
    openWithSchema();
    std::vector<FTPAccountInfo> added;
    added.reserve(oddTexts.size() + 2);
    for (const std::string& text : oddTexts) added.push_back({text, text, text, 65535, text, text});
    added.push_back(someAccount("z"));
    added.push_back(someAccount("a"));
    for (const FTPAccountInfo& account : added) frame::addFtpAccount(account);
    const std::list<FTPAccountInfo> read = accounts();
    ASSERT_EQ(read.size(), added.size());
    auto expected = added.begin();
    for (const FTPAccountInfo& account : read) EXPECT_EQ(valuesOf(account), valuesOf(*expected++));
}

TEST_P(FtpConfiguration, AccountsAreReadWithoutPasswordsOnDemand) {
    openWithSchema();
    frame::addFtpAccount(someAccount());
    FTPAccountInfo expected = someAccount();
    expected.password.clear();
    const std::list<FTPAccountInfo> read = accounts(true);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(valuesOf(read.front()), valuesOf(expected));
}

TEST_P(FtpConfiguration, AccountsAreRemovedByTheirNameAllThatHaveIt) {
    openWithSchema();
    for (const char* name : {"a", "same", "b", "same", "Same"}) frame::addFtpAccount(someAccount(name));
    EXPECT_EQ(frame::removeFtpAccounts("same"), 2U);
    EXPECT_EQ(frame::removeFtpAccounts("same"), 0U);
    EXPECT_EQ(frame::removeFtpAccounts("'' OR 1=1"), 0U);
    EXPECT_THAT(accountNames(), ElementsAre("a", "b", "Same"));
    frame::addFtpAccount(someAccount("same"));
    EXPECT_THAT(accountNames(), ElementsAre("a", "b", "Same", "same"));
}

TEST_P(FtpConfiguration, WhatOthersSetIsReadAtOnce) {
    openWithSchema();
    for (const char* name : {"first", "second"}) {
        TESUcommon::FTPPara para = somePara();
        para.userName = name;
        frame::setFtpParameters(para);
        std::thread([name] {
            TESUcommon::FTPPara read;
            frame::readFtpParameters(read);
            EXPECT_EQ(read.userName, name);
        }).join();
    }
}

TEST_P(FtpConfiguration, DatabaseWithoutASchemaIsToldSo) {
    open();
    const std::string text = "the database has no schema; expected version 1";
    expectUnreadable(TESUcommon::ftpOtherSchema, text);
    expectUnwritable(TESUcommon::ftpOtherSchema, text);
}

TEST_P(FtpConfiguration, SchemaWithoutItsRowIsToldAsNone) {
    openWithSchema();
    execute("DELETE FROM nec_schema");
    const std::string text = "the database has no schema; expected version 1";
    expectUnreadable(TESUcommon::ftpOtherSchema, text);
    expectUnwritable(TESUcommon::ftpOtherSchema, text);
}

TEST_P(FtpConfiguration, SchemaOfAnotherVersionIsToldSo) {
    openWithSchema();
    frame::setFtpParameters(somePara());
    for (const char* version : {"-1", "2", "2147483647"}) {
        execute(std::string("UPDATE nec_schema SET version = ") + version);
        const std::string text =
            std::string("the schema of the database has version ") + version + "; expected version 1";
        expectUnreadable(TESUcommon::ftpOtherSchema, text);
        expectUnwritable(TESUcommon::ftpOtherSchema, text);
    }
}

TEST_P(FtpConfiguration, NewerSchemaWithOtherTablesIsToldSo) {
    openWithSchema();
    execute("DROP TABLE ftp_parameters");
    execute("DROP TABLE ftp_accounts");
    execute("UPDATE nec_schema SET version = 2");
    expectUnreadable(TESUcommon::ftpOtherSchema, "has version 2; expected version 1");
    expectUnwritable(TESUcommon::ftpOtherSchema, "has version 2; expected version 1");
}

TEST_P(FtpConfiguration, SchemaThatLacksATableIsToldWithTheDatabasesReason) {
    openWithSchema();
    execute("DROP TABLE ftp_parameters");
    execute("DROP TABLE ftp_accounts");
    expectParaUnreadable(TESUcommon::ftpNoDatabase, "ftp_parameters");
    expectAccountsUnreadable(TESUcommon::ftpNoDatabase, "ftp_accounts");
    expectNotWritten(TESUcommon::ftpNoDatabase, "ftp_parameters", [] { frame::setFtpParameters(somePara()); });
    expectNotWritten(TESUcommon::ftpNoDatabase, "ftp_accounts", [] { frame::addFtpAccount(someAccount()); });
}

TEST_P(FtpConfiguration, DatabaseThatIsDownIsToldSoAndReadOnceItIsBack) {
    openWithSchema();
    frame::setFtpParameters(somePara());
    database_.reset();
    place_->takeDown();
    open();
    const std::string text = place_->name();
    expectUnreadable(TESUcommon::ftpNoDatabase, text);
    expectUnwritable(TESUcommon::ftpNoDatabase, text);
    place_->bringBack();
    EXPECT_EQ(readPara().code, 0);
}

TEST_P(FtpConfiguration, DatabaseThatGoesWhileItIsUsedIsReadOnceItIsBack) {
    openWithSchema();
    frame::setFtpParameters(somePara());
    EXPECT_EQ(readPara().code, 0);
    place_->takeDown();
    expectUnreadable(TESUcommon::ftpNoDatabase, place_->name());
    place_->bringBack();
    EXPECT_EQ(readPara().code, 0);
}

TEST_P(FtpConfiguration, DatabaseThatRefusesAValueDoesNotShowThePassword) {
    openWithSchema();
    execute("ALTER TABLE ftp_parameters RENAME TO kept");
    execute(
        "CREATE TABLE ftp_parameters (id INTEGER PRIMARY KEY, user_name TEXT CHECK (user_name = 'x'),"
        " password TEXT, root_directory TEXT, ftp_port INTEGER, sftp_port INTEGER)");
    expectNotWritten(TESUcommon::ftpNoDatabase, "constraint", [] { frame::setFtpParameters(somePara()); });
}

// What is wrong with `write`'s value.
template <class Write>
std::string refusalOf(Write write) {
    try {
        write();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    ADD_FAILURE() << "written";
    return {};
}

TEST_P(FtpConfiguration, ValueThatIsNoneIsRefusedWithItsNameAndNeverShown) {
    openWithSchema();
    const std::string badTexts[] = {std::string("s3cret\0", 7), "s3cret\xFF", "s3cret\xED\xA0\x80"};
    using Para = TESUcommon::FTPPara;
    for (const auto& [name, text] : {std::pair{"user name", &Para::userName}, std::pair{"password", &Para::password},
                                     std::pair{"root directory", &Para::rootDirectory}}) {
        Para para = somePara();
        for (const std::string& bad : badTexts) {
            para.*text = bad;
            EXPECT_EQ(refusalOf([&] { frame::setFtpParameters(para); }),
                      std::string(name) + ": expected UTF-8 text without NUL");
        }
        para.*text = std::string(4097, 'x');
        EXPECT_EQ(refusalOf([&] { frame::setFtpParameters(para); }),
                  std::string(name) + ": too long; expected at most 4096 octets");
    }
    using Account = FTPAccountInfo;
    for (const auto& [name, text] :
         {std::pair{"account name", &Account::accountName}, std::pair{"user name", &Account::userName},
          std::pair{"password", &Account::password}, std::pair{"home directory", &Account::homeDirectory},
          std::pair{"relative directory", &Account::relativeDirectory}}) {
        Account account = someAccount();
        for (const std::string& bad : badTexts) {
            account.*text = bad;
            EXPECT_EQ(refusalOf([&] { frame::addFtpAccount(account); }),
                      std::string(name) + ": expected UTF-8 text without NUL");
        }
        account.*text = std::string(4097, 'x');
        EXPECT_EQ(refusalOf([&] { frame::addFtpAccount(account); }),
                  std::string(name) + ": too long; expected at most 4096 octets");
    }
    EXPECT_EQ(readPara().code, TESUcommon::ftpNotSet);
    EXPECT_THAT(accountNames(), IsEmpty());
}

TEST_P(FtpConfiguration, PortThatIsNoneIsRefused) {
    openWithSchema();
    for (const int port : {0, -1, 65536}) {
        const std::string text = ": " + std::to_string(port) + "; expected 1 to 65535";
        TESUcommon::FTPPara para = somePara();
        para.sftpPort = port;
        EXPECT_EQ(refusalOf([&] { frame::setFtpParameters(para); }), "SFTP port" + text);
        para.ftpPort = port;
        EXPECT_EQ(refusalOf([&] { frame::setFtpParameters(para); }), "FTP port" + text);
        FTPAccountInfo account = someAccount();
        account.port = port;
        EXPECT_EQ(refusalOf([&] { frame::addFtpAccount(account); }), "port" + text);
    }
}

TEST_P(FtpConfiguration, NameThatIsNoneRemovesNothing) {
    openWithSchema();
    frame::addFtpAccount(someAccount("a"));
    for (const std::string& bad : {std::string("a\0b", 3), std::string("a\xFF")})
        EXPECT_EQ(refusalOf([&] { frame::removeFtpAccounts(bad); }), "account name: expected UTF-8 text without NUL");
    EXPECT_THAT(accountNames(), ElementsAre("a"));
}

TEST_P(FtpConfiguration, ReadersSeeOneSettingOrTheOtherWhole) {
    openWithSchema();
    constexpr int readers = 3;
    const TESUcommon::FTPPara first{"first", std::string(300, '1'), "/1", 1, 11};
    const TESUcommon::FTPPara second{"second", std::string(300, '2'), "/2", 2, 22};
    frame::setFtpParameters(first);
    std::atomic<int> reading{readers};
    std::vector<std::thread> threads;
    threads.reserve(readers);
    for (int i = 0; i < readers; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 50; ++n) {
                const ReadPara read = readPara();
                EXPECT_EQ(read.code, 0);
                EXPECT_TRUE(valuesOf(read.para) == valuesOf(first) || valuesOf(read.para) == valuesOf(second));
                accounts();
            }
            --reading;
        });
    }
    do {
        frame::setFtpParameters(second);
        frame::addFtpAccount(someAccount());
        frame::setFtpParameters(first);
        frame::removeFtpAccounts("account");
    } while (reading > 0);
    for (std::thread& thread : threads) thread.join();
}

TEST_P(FtpConfiguration, SeveralMayAddAccountsAtOnce) {
    constexpr int threads = 4;
    constexpr int each = 10;
    openWithSchema();
    std::vector<std::thread> adding;
    adding.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        adding.emplace_back([] {
            for (int n = 0; n < each; ++n) EXPECT_NO_THROW(frame::addFtpAccount(someAccount()));
        });
    }
    for (std::thread& thread : adding) thread.join();
    EXPECT_EQ(accounts().size(), std::size_t{threads} * each);
}

// The process's own options come after those that the platform sets, which would wait longer.
TEST(FtpInPostgres, LockedTableIsNotWaitedForWithoutEnd) {
    const support::PostgresPlace place;
    const frame::Database database({place.url() + " options='-c lock_timeout=1'"});
    migrate();
    frame::setFtpParameters(somePara());
    dao::CSqlSession other;
    std::string timeout;
    other.connection() << "SHOW statement_timeout", soci::into(timeout);
    EXPECT_EQ(timeout, "30s");
    other.connection() << "BEGIN";
    other.connection() << "LOCK TABLE ftp_parameters, ftp_accounts IN ACCESS EXCLUSIVE MODE";
    expectUnreadable(TESUcommon::ftpNoDatabase, "lock timeout");
    expectUnwritable(TESUcommon::ftpNoDatabase, "lock timeout");
    other.connection() << "ROLLBACK";
    EXPECT_EQ(readPara().code, 0);
}

TEST(FtpInPostgres, LockIsWaitedForFiveSecondsByDefault) {
    const support::PostgresPlace place;
    const frame::Database database({place.url()});
    dao::CSqlSession session;
    std::string timeout;
    session.connection() << "SHOW lock_timeout", soci::into(timeout);
    EXPECT_EQ(timeout, "5s");
}

INSTANTIATE_TEST_SUITE_P(Each, FtpConfiguration, testing::Values("sqlite", "postgresql"),
                         [](const auto& kind) { return kind.param; });

}  // namespace

}  // namespace ftp_test
