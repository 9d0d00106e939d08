// necctl db, on SQLite and on PostgreSQL.
#include <sys/stat.h>

#include "db/schema.h"
#include "e2e/necctl_database.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const int version = frame::schema().version();
const std::string schemaVersion = "schema version " + std::to_string(version);
const std::vector<std::string> all{"init", "migrate", "check"};

class NecctlDb : public NecctlDatabase, public testing::WithParamInterface<const char*> {
protected:
    NecctlDb() : NecctlDatabase(GetParam()) {}
};

class NecctlSqlite : public NecctlDatabase {
protected:
    void expectUnusable(const std::string& reason) const {
        for (const std::string& name : all)
            EXPECT_THAT(fail(3, {"db", name}), AllOf(HasSubstr("sqlite:" + sqliteFile()), HasSubstr(reason)));
    }
};

}  // namespace

TEST_P(NecctlDb, SchemaIsMadeOnceAndIsRightThen) {
    EXPECT_THAT(fail(1, {"db", "check"}), HasSubstr("the database has no schema; necctl db init makes it"));
    EXPECT_THAT(fail(1, {"db", "migrate"}), HasSubstr("the database has no schema; necctl db init makes it"));
    EXPECT_EQ(tell({"db", "init"}), schemaVersion + ", made from nothing\n");
    EXPECT_EQ(tell({"db", "init"}), schemaVersion + ", as before\n");
    EXPECT_EQ(tell({"db", "migrate"}), schemaVersion + ", as before\n");
    EXPECT_EQ(tell({"db", "check"}), schemaVersion + ", FTP parameters not set, accounts: 0\n");
}

TEST_P(NecctlDb, SchemaThatWasBegunIsMade) {
    alter("CREATE TABLE nec_schema (id INTEGER PRIMARY KEY, version INTEGER NOT NULL)");
    EXPECT_THAT(fail(1, {"db", "check"}), HasSubstr("no schema"));
    EXPECT_EQ(tell({"db", "init"}), schemaVersion + ", made from nothing\n");
}

TEST_P(NecctlDb, NewerSchemaIsRefusedAndStaysAsItIs) {
    tell({"db", "init"});
    alter("UPDATE nec_schema SET version = 1234");
    for (const std::string& name : all)
        EXPECT_THAT(fail(1, {"db", name}), HasSubstr("the schema of the database has version 1234, that of this "
                                                     "program " +
                                                     std::to_string(version) + "; expected a newer program"));
    EXPECT_THAT(fail(3, {"ftp", "params", "show"}), HasSubstr("version 1234; expected version"));
    EXPECT_EQ(inside([] {
                  dao::CSqlSession session;
                  return frame::Schema::versionOf(session.connection());
              }),
              1234);
}

TEST_P(NecctlDb, ReasonOfTheDatabaseIsToldWithoutTheRow) {
    alter("CREATE TABLE nec_schema (id INTEGER PRIMARY KEY, version INTEGER NOT NULL CHECK (version > 1000))");
    EXPECT_THAT(fail(3, {"db", "init"}), AllOf(testing::ContainsRegex("(CHECK|check) constraint"),
                                               Not(HasSubstr("(1, 0)")), Not(HasSubstr("\\n")), Not(HasSubstr("::"))));
}

TEST_P(NecctlDb, DatabaseThatIsDownIsToldAndWorksWhenItIsBack) {
    tell({"db", "init"});
    place().takeDown();
    for (const std::string& name : all)
        EXPECT_THAT(fail(3, {"db", name}), AllOf(HasSubstr("database "), HasSubstr(place().name())));
    place().bringBack();
    EXPECT_THAT(tell({"db", "check"}), StartsWith(schemaVersion));
}

INSTANTIATE_TEST_SUITE_P(Databases, NecctlDb, testing::Values("sqlite", "postgres"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_F(NecctlSqlite, AnswersAreWrittenAsJson) {
    const support::Outcome without = necctl(command({"db", "check", "--json"}));
    EXPECT_EQ(without.exitStatus, 1);
    EXPECT_THAT(without.out, AllOf(HasSubstr("\"ok\" : false"), HasSubstr("necctl db init")));
    const Json::Value made = tellJson({"db", "init"});
    EXPECT_EQ(made["before"], 0);
    EXPECT_EQ(made["version"], version);
    EXPECT_EQ(tellJson({"db", "migrate"})["before"], version);
    const Json::Value checked = tellJson({"db", "check"});
    EXPECT_TRUE(checked["ok"].asBool());
    EXPECT_EQ(checked["version"], version);
    EXPECT_EQ(checked["expected"], version);
    EXPECT_FALSE(checked["parameters"].asBool());
    EXPECT_EQ(checked["accounts"], 0);
}

TEST_F(NecctlSqlite, FileIsMadeForItsOwnerAlone) {
    tell({"db", "init"});
    struct stat status {};
    ASSERT_EQ(stat(sqliteFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
}

TEST_F(NecctlSqlite, FileThatOthersMayReadIsRefused) {
    tell({"db", "init"});
    ASSERT_EQ(chmod(sqliteFile().c_str(), 0644), 0);
    expectUnusable("group or others may use the file; expected mode 0600");
}

TEST_F(NecctlSqlite, FileThatIsNoDatabaseIsRefused) {
    std::ofstream(sqliteFile()) << std::string(5000, 'x');
    ASSERT_EQ(chmod(sqliteFile().c_str(), 0600), 0);
    expectUnusable("file is not a database");
}

TEST_F(NecctlSqlite, DamageInTheFileIsFound) {
    tell({"db", "init"});
    std::fstream(sqliteFile(), std::ios::in | std::ios::out | std::ios::binary).seekp(4096) << std::string(50, '\xFF');
    EXPECT_THAT(fail(3, {"db", "check"}), HasSubstr("the database is damaged: "));
}

TEST_F(NecctlSqlite, VersionThatIsNoneIsRefused) {
    tell({"db", "init"});
    alter("UPDATE nec_schema SET version = -1");
    for (const std::string& name : all) EXPECT_THAT(fail(1, {"db", name}), HasSubstr("has version -1, "));
}

TEST_F(NecctlSqlite, ProcessWithoutADatabaseIsTold) {
    configure("");
    for (const std::string& name : all)
        EXPECT_EQ(fail(3, {"db", name}), "necctl: error: " + folder.file("nec.toml") +
                                             ": database.url: missing: this process has no database\n");
    configure("[database]\nurl = \"mysql:x\"\n");
    EXPECT_THAT(fail(3, {"db", "check"}), HasSubstr("expected sqlite:FILE or postgresql:PARAMETERS"));
    std::filesystem::remove(folder.file("nec.toml"));
    EXPECT_THAT(fail(3, {"db", "check"}), HasSubstr("nec.toml"));
}
