// The FTP configuration in an SQLite file, and without a database.
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>

#include "ftp_fixture.h"

namespace ftp_test {

namespace {

class FtpInSqlite : public testing::Test {
protected:
    // With one connection: settings that a test makes on it stay.
    void open() { database_.emplace(frame::DatabaseOptions{"sqlite:" + file_, 1, longEnough}); }
    // Parameters and an account.
    void fill() {
        open();
        migrate();
        frame::setFtpParameters(somePara());
        frame::addFtpAccount(someAccount());
    }

    support::Folder folder_;
    const std::string file_ = folder_.file("nec.db");
    std::optional<frame::Database> database_;
};

TEST_F(FtpInSqlite, IsReadWhileAnotherWritesAndNotWrittenMeanwhile) {
    fill();
    execute("PRAGMA busy_timeout = 0");
    soci::session other(soci::sqlite3, "db=" + file_);
    other << "BEGIN EXCLUSIVE";
    EXPECT_EQ(readPara().code, 0);
    EXPECT_THAT(accountNames(), testing::ElementsAre("account"));
    expectUnwritable(TESUcommon::ftpNoDatabase, "database is locked");
    other << "ROLLBACK";
    frame::setFtpParameters(somePara());
}

// Who reads keeps the log from being emptied: what was set is set all the same.
TEST_F(FtpInSqlite, IsSetWhileAnotherReadsAndThePasswordInTheLogIsTold) {
    fill();
    execute("PRAGMA busy_timeout = 0");
    soci::session other(soci::sqlite3, "db=" + file_);
    int rows = 0;
    other << "BEGIN";
    other << "SELECT count(*) FROM ftp_accounts", soci::into(rows);
    const frame::LogCapture log;
    TESUcommon::FTPPara para = somePara();
    para.password = "in the log for now";
    frame::setFtpParameters(para);
    EXPECT_THAT(logged::lines(log), testing::ElementsAre(testing::HasSubstr("log could not be emptied")));
    EXPECT_NE(support::contentOf(file_ + "-wal").find(para.password), std::string::npos);
    other << "COMMIT";
    EXPECT_EQ(frame::removeFtpAccounts("account"), 1U);
    EXPECT_EQ(std::filesystem::file_size(file_ + "-wal"), 0U);
    EXPECT_EQ(readPara().para.password, para.password);
}

TEST_F(FtpInSqlite, FileThatCannotBeReachedForAWhileIsReadAfterwards) {
    fill();
    std::filesystem::rename(file_, file_ + ".away");
    std::filesystem::create_symlink(file_, file_);  // a loop
    for (int i = 0; i < 3; ++i) expectParaUnreadable(TESUcommon::ftpNoDatabase, "Too many levels of symbolic links");
    std::filesystem::remove(file_);
    std::filesystem::rename(file_ + ".away", file_);
    EXPECT_EQ(readPara().code, 0);
}

TEST_F(FtpInSqlite, FileThatOthersMayReadIsRefused) {
    fill();
    database_.reset();
    ASSERT_EQ(chmod(file_.c_str(), 0644), 0);
    open();
    expectUnreadable(TESUcommon::ftpNoDatabase, file_ + ": group or others may use the file; expected mode 0600");
    expectUnwritable(TESUcommon::ftpNoDatabase, "expected mode 0600");
}

TEST_F(FtpInSqlite, FileThatIsNoDatabaseIsRefused) {
    folder_.write("nec.db", std::string(100'000, 'x'));
    ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
    open();
    expectUnreadable(TESUcommon::ftpNoDatabase, "not a database");
    expectUnwritable(TESUcommon::ftpNoDatabase, "not a database");
}

// Any octets may stand in the file: reading then gives something or an error.
TEST_F(FtpInSqlite, CorruptFileIsReadOrRefused) {
    fill();
    database_.reset();
    const std::string whole = support::contentOf(file_);
    for (std::size_t at = 16; at < whole.size(); at += at < 200 ? 1 : 61) {
        std::string corrupt = whole;
        corrupt.replace(at, 1, 1, static_cast<char>(~corrupt[at]));
        folder_.write("nec.db", corrupt);
        open();
        TESUcommon::FTPPara para;
        std::list<FTPAccountInfo> all;
        const frame::LogCapture log;
        TESUcommon::FTPConfigure::instance()->getFtpPara(para);
        FTPAccountIF::GetAllFTPAccountInfo(all, false);
        for (const std::string& line : logged::lines(log))
            EXPECT_THAT(line, testing::Not(testing::HasSubstr("s3cret")));
        database_.reset();
    }
}

TEST_F(FtpInSqlite, FileThatIsCutOffIsRefused) {
    fill();
    database_.reset();
    std::filesystem::resize_file(file_, std::filesystem::file_size(file_) / 2);
    open();
    expectUnreadable(TESUcommon::ftpNoDatabase, "malformed");
    expectUnwritable(TESUcommon::ftpNoDatabase, "malformed");
}

TEST_F(FtpInSqlite, PointerStaysUsableAfterTheProcess) {
    fill();
    auto* configure = TESUcommon::FTPConfigure::instance();
    ASSERT_NE(configure, nullptr);
    database_.reset();
    EXPECT_EQ(TESUcommon::FTPConfigure::instance(), nullptr);
    const frame::LogCapture log;
    TESUcommon::FTPPara para = somePara();
    EXPECT_EQ(configure->getFtpPara(para), TESUcommon::ftpNoDatabase);
    EXPECT_EQ(valuesOf(para), valuesOf(somePara()));
    open();
    EXPECT_EQ(TESUcommon::FTPConfigure::instance(), configure);
    EXPECT_EQ(configure->getFtpPara(para), 0);
}

TEST(FtpWithoutDatabase, ThereIsNoConfiguration) {
    const auto expectNothing = [] {
        EXPECT_EQ(TESUcommon::FTPConfigure::instance(), nullptr);
        const frame::LogCapture log;
        std::list<FTPAccountInfo> accounts{someAccount()};
        EXPECT_EQ(FTPAccountIF::GetAllFTPAccountInfo(accounts, false), TESUcommon::ftpNoDatabase);
        EXPECT_TRUE(accounts.empty());
        EXPECT_THAT(log.records(), testing::IsEmpty());
    };
    expectNothing();
    expectUnwritable(TESUcommon::ftpNoDatabase, "there is no database: no process");
    const frame::Database none{{}};
    expectNothing();
    expectUnwritable(TESUcommon::ftpNoDatabase, "no database is configured");
}

}  // namespace

}  // namespace ftp_test
