// SQLite files.
#include <sys/stat.h>

#include "fixture.h"

namespace db_test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

class SqliteFile : public testing::Test {
protected:
    void connect() const {
        const frame::Database database(optionsFor("sqlite:" + file_));
        dao::CSqlSession session;
        session.connection() << "CREATE TABLE IF NOT EXISTS ne (id INTEGER)";
        modes_ = modes();
    }
    // Of the file and of what stands beside it.
    std::vector<mode_t> modes() const {
        std::vector<mode_t> found;
        for (const char* suffix : {"", "-wal", "-shm"}) {
            struct stat status {};
            EXPECT_EQ(stat((file_ + suffix).c_str(), &status), 0) << suffix;
            found.push_back(status.st_mode);
        }
        return found;
    }
    void expectRefused(const char* reason) const {
        const frame::Database database(optionsFor("sqlite:" + file_));
        EXPECT_THAT(refusal(), AllOf(HasSubstr("sqlite:" + file_ + ": "), HasSubstr(reason)));
    }

    support::Folder folder_;
    std::string file_ = folder_.file("nec.db");
    mutable std::vector<mode_t> modes_;
};

TEST_F(SqliteFile, IsMadeForItsOwnerAloneAndWritesAhead) {
    const mode_t before = umask(0);
    connect();
    umask(before);
    EXPECT_THAT(modes_, testing::Each(S_IFREG | 0600));
}

TEST_F(SqliteFile, IsOpenedAgain) {
    connect();
    connect();
}

TEST_F(SqliteFile, ThatGroupOrOthersMayUseIsRefused) {
    connect();
    for (const mode_t mode : {0640U, 0604U, 0620U, 0602U, 0644U, 0777U}) {
        ASSERT_EQ(chmod(file_.c_str(), mode), 0);
        expectRefused("group or others");
    }
}

TEST_F(SqliteFile, ThatIsNoDatabaseIsRefused) {
    folder_.write("nec.db", std::string(4096, 'x'));
    ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
    expectRefused("not a database");
}

TEST_F(SqliteFile, ThatIsAFolderIsRefused) {
    ASSERT_EQ(mkdir(file_.c_str(), 0700), 0);
    expectRefused("no regular file");
}

TEST_F(SqliteFile, InAFolderThatIsMissingCannotBeMade) {
    file_ = folder_.file("missing/nec.db");
    expectRefused("cannot make the file: No such file or directory");
}

TEST_F(SqliteFile, StaysWhereItIsWhenTheProcessGoesElsewhere) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::path(file_).parent_path());
    {
        const frame::Database database(optionsFor("sqlite:nec.db"));
        std::filesystem::current_path("/");
        makeTable();
    }
    std::filesystem::current_path(before);
    EXPECT_TRUE(std::filesystem::exists(file_));
}

}  // namespace

}  // namespace db_test
