// Which files an outbox takes and which it refuses, and what it says then.
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fixture.h"
#include "reliable/sqlite.h"
#include "support/nobody.h"
#include "support/run.h"

namespace reliable_test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

class OutboxFile : public ReliableTest {
protected:
    // Why the channel cannot be opened.
    std::string refusal() {
        try {
            open();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }
    void sql(const char* statements) {
        if (!std::filesystem::exists(file())) folder_.write("outbox.db", "");
        frame::sqlite::Database(file(), frame::sqlite::Database::Mode::readWrite).exec(statements);
    }
    mode_t modeOf(const std::string& name) const {
        struct stat status {};
        return stat(name.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }
    // Makes an outbox with messages in it, so many that it has many pages.
    void fill() {
        open();
        for (int i = 0; i < 100; ++i) ASSERT_EQ(send(std::string(1000, 'x')), ReliableCode::ok);
        close();
    }
};

TEST_F(OutboxFile, IsMadeForItsOwnerOnly) {
    const mode_t old = umask(0);
    open();
    EXPECT_EQ(send("text"), ReliableCode::ok);
    umask(old);
    for (const char* suffix : {"", "-wal", "-shm", ".lock"}) EXPECT_EQ(modeOf(file() + suffix), 0600U) << suffix;
}

TEST_F(OutboxFile, EmptyFileBecomesAnOutbox) {
    folder_.write("outbox.db", "");
    open();
    EXPECT_EQ(send("text"), ReliableCode::ok);
}

TEST_F(OutboxFile, RelativeNameStaysTheSameFileWhenTheProgramGoesElsewhere) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::path(file()).parent_path());
    channel_.emplace(bus_, frame::ReliableOptions{":memory:", 10});
    std::filesystem::current_path(before);
    EXPECT_EQ(send("text"), ReliableCode::ok);
    EXPECT_EQ(frame::readOutbox(folder_.file(":memory:"), 0).depth, 1U);
}

TEST_F(OutboxFile, NoNameIsRefused) {
    EXPECT_THROW(frame::ReliableChannel(bus_, {"", 1}), std::runtime_error);
}

TEST_F(OutboxFile, SecondChannelOnItIsRefused) {
    open();
    const auto other = local_.connect({3001, 8});
    try {
        const frame::ReliableChannel second(*other, {file(), 1});
        FAIL() << "not refused";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr(file()), HasSubstr("process " + std::to_string(getpid()))));
    }
    EXPECT_EQ(send("text"), ReliableCode::ok);
}

TEST_F(OutboxFile, SecondProcessOnItIsRefused) {
    open();
    const auto second = support::run({RELIABLE_SENDER, file(), folder_.file("effects.db"), "0"});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.err, AllOf(HasSubstr(file()), HasSubstr("process " + std::to_string(getpid()))));
}

TEST_F(OutboxFile, IsFreeAgainWhenItsProcessIsKilled) {
    support::Child sender({RELIABLE_SENDER, file(), folder_.file("effects.db"), "0"});
    ASSERT_TRUE(sender.waitForOutput("\n"));
    EXPECT_THAT(refusal(), HasSubstr("process " + std::to_string(sender.pid())));
    sender.signal(SIGKILL);
    EXPECT_EQ(sender.wait().signal, SIGKILL);
    EXPECT_EQ(refusal(), "none");
}

TEST_F(OutboxFile, FolderThatIsMissingIsNamed) {
    const auto missing = folder_.file("missing/outbox.db");
    try {
        const frame::ReliableChannel channel(bus_, {missing, 1});
        FAIL() << "not refused";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr(missing), HasSubstr("No such file or directory")));
    }
}

TEST_F(OutboxFile, FolderInItsPlaceIsRefused) {
    std::filesystem::create_directory(file());
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("no regular file")));
}

TEST_F(OutboxFile, FolderThatCannotBeWrittenIsRefused) {
    std::filesystem::permissions(folder_.file(""), std::filesystem::perms(0555));
    const support::Nobody nobody;
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("Permission denied")));
}

TEST_F(OutboxFile, FileThatCannotBeWrittenIsRefused) {
    fill();
    for (const char* suffix : {"", ".lock"})
        std::filesystem::permissions(file() + suffix, std::filesystem::perms(suffix[0] == 0 ? 0444 : 0666));
    std::filesystem::permissions(folder_.file(""), std::filesystem::perms(0777));
    const support::Nobody nobody;
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("cannot be written")));
}

TEST_F(OutboxFile, FileOfAnotherProgramIsRefusedAndLeftAsItIs) {
    sql("CREATE TABLE theirs(x); INSERT INTO theirs VALUES(1)");
    const auto before = support::contentOf(file());
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("another program's")));
    EXPECT_TRUE(support::contentOf(file()) == before);
}

TEST_F(OutboxFile, FileThatIsNoDatabaseIsRefusedAndLeftAsItIs) {
    const std::string text = "not a database, but somebody's text\n";
    folder_.write("outbox.db", text);
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("is no outbox")));
    EXPECT_EQ(support::contentOf(file()), text);
}

TEST_F(OutboxFile, NewerFormatIsRefusedAndLeftAsItIs) {
    fill();
    sql("PRAGMA user_version = 2");
    const auto before = support::contentOf(file());
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("newer version")));
    EXPECT_TRUE(support::contentOf(file()) == before);
}

TEST_F(OutboxFile, MissingTableIsDamage) {
    fill();
    sql("DROP TABLE inbox");
    EXPECT_THAT(refusal(), HasSubstr(file()));
}

TEST_F(OutboxFile, DamagedPageIsRefusedAndLeftAsItIs) {
    fill();
    auto content = support::contentOf(file());
    ASSERT_GT(content.size(), 20U * 4096U);
    content.replace(std::size_t{10} * 4096, 4096, std::string(4096, '\x5A'));
    folder_.write("outbox.db", content);
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("is damaged"), HasSubstr("move it")));
    EXPECT_TRUE(support::contentOf(file()) == content);
}

TEST_F(OutboxFile, CutOffFileIsRefusedAndLeftAsItIs) {
    fill();
    const auto content = support::contentOf(file());
    for (const std::size_t size : {std::size_t{1}, std::size_t{100}, std::size_t{4095}, std::size_t{4096},
                                   std::size_t{8192}, content.size() / 2}) {
        folder_.write("outbox.db", content.substr(0, size));
        EXPECT_THAT(refusal(), HasSubstr(file())) << size;
        EXPECT_TRUE(support::contentOf(file()) == content.substr(0, size)) << size;
    }
}

TEST_F(OutboxFile, EmptyFileBesideAFullLogIsRefused) {
    open();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    const auto log = support::contentOf(file() + "-wal");
    close();
    folder_.write("outbox.db", "");
    folder_.write("outbox.db-wal", log);
    EXPECT_THAT(refusal(), AllOf(HasSubstr(file()), HasSubstr("is damaged")));
    EXPECT_TRUE(support::contentOf(file() + "-wal") == log);
}

TEST_F(OutboxFile, EveryOutboxHasItsOwnIdentity) {
    open();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    const auto first = frame::readOutbox(file(), 1).oldestIdentifier;
    close();
    std::filesystem::remove(file());
    open();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    EXPECT_NE(first, frame::readOutbox(file(), 1).oldestIdentifier);
}

}  // namespace

}  // namespace reliable_test
