// Bringing a database's schema up to date, over each database.
#include "db/schema.h"

#include <latch>
#include <thread>

#include "fixture.h"

namespace db_test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

// Each step leaves a row that tells that it was done.
const frame::Migration first{"CREATE TABLE steps (step INTEGER)", "INSERT INTO steps VALUES (1)"};
const frame::Migration second{"INSERT INTO steps VALUES (2)", "ALTER TABLE steps ADD COLUMN remark TEXT"};
const frame::Migration third{"UPDATE steps SET remark = 'seen'", "INSERT INTO steps VALUES (3, 'new')"};
const frame::Migration failing{"INSERT INTO steps VALUES (2)", "CREATE TABLE half (id INTEGER)",
                               "INSERT INTO nowhere VALUES (1)"};

class DatabaseSchema : public testing::TestWithParam<std::string> {
protected:
    static int migrate(std::vector<frame::Migration> migrations) {
        dao::CSqlSession session;
        return frame::Schema(std::move(migrations)).migrate(session.connection());
    }
    static int version() {
        dao::CSqlSession session;
        return frame::Schema::versionOf(session.connection());
    }
    static int number(const std::string& query) {
        dao::CSqlSession session;
        int found = -1;
        session.connection() << query, soci::into(found);
        return found;
    }
    static void execute(const std::string& statement) {
        dao::CSqlSession session;
        session.connection() << statement;
    }

    const std::unique_ptr<Place> place_ = makePlace(GetParam());
    const frame::Database database_{optionsFor(place_->url())};
};

TEST_P(DatabaseSchema, EmptyDatabaseGetsEveryStep) {
    EXPECT_EQ(version(), 0);
    EXPECT_EQ(migrate({first, second, third}), 0);
    EXPECT_EQ(version(), 3);
    EXPECT_EQ(number("SELECT sum(step) FROM steps"), 6);
    EXPECT_EQ(number("SELECT count(*) FROM steps WHERE remark = 'seen'"), 2);
}

TEST_P(DatabaseSchema, EachVersionIsReachedFromTheOneBefore) {
    EXPECT_EQ(migrate({}), 0);
    EXPECT_EQ(version(), 0);
    EXPECT_EQ(migrate({first}), 0);
    EXPECT_EQ(version(), 1);
    EXPECT_EQ(migrate({first, second}), 1);
    EXPECT_EQ(version(), 2);
    EXPECT_EQ(migrate({first, second, third}), 2);
    EXPECT_EQ(migrate({first, second, third}), 3);
    EXPECT_EQ(version(), 3);
    EXPECT_EQ(number("SELECT count(*) FROM steps"), 3);
}

TEST_P(DatabaseSchema, StepThatFailsLeavesTheVersionBeforeItWhole) {
    EXPECT_THROW(migrate({first, failing, third}), soci::soci_error);
    EXPECT_EQ(version(), 1);
    EXPECT_EQ(number("SELECT sum(step) FROM steps"), 1);
    EXPECT_THROW(execute("INSERT INTO half VALUES (1)"), soci::soci_error);
    EXPECT_EQ(migrate({first, second, third}), 1);
    EXPECT_EQ(number("SELECT sum(step) FROM steps"), 6);
}

TEST_P(DatabaseSchema, VersionThatTheProgramDoesNotKnowIsRefusedAndLeft) {
    migrate({first});
    for (const int unknown : {2, -1, 2147483647}) {
        execute("UPDATE nec_schema SET version = " + std::to_string(unknown));
        try {
            migrate({first});
            ADD_FAILURE() << unknown;
        } catch (const frame::DatabaseError& error) {
            EXPECT_THAT(error.what(), AllOf(HasSubstr("version " + std::to_string(unknown) + ","),
                                            HasSubstr("that of this program 1; expected a newer program")));
        }
        EXPECT_EQ(version(), unknown);
        EXPECT_EQ(number("SELECT sum(step) FROM steps"), 1);
    }
}

TEST_P(DatabaseSchema, SeveralAtOnceDoEachStepOnce) {
    constexpr int threads = 4;
    std::latch together(threads);
    std::vector<std::thread> migrating;
    migrating.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        migrating.emplace_back([&] {
            dao::CSqlSession session;
            soci::session& connection = session.connection();
            together.arrive_and_wait();
            EXPECT_NO_THROW(frame::Schema({first, second, third}).migrate(connection));
        });
    }
    for (std::thread& thread : migrating) thread.join();
    EXPECT_EQ(version(), 3);
    EXPECT_EQ(number("SELECT count(*) FROM steps"), 3);
    EXPECT_EQ(number("SELECT sum(step) FROM steps"), 6);
}

TEST_P(DatabaseSchema, ProgramsOwnIsMadeAndTakesRows) {
    EXPECT_EQ(migrate({}), 0);
    {
        dao::CSqlSession session;
        EXPECT_EQ(frame::schema().migrate(session.connection()), 0);
        EXPECT_EQ(frame::schema().migrate(session.connection()), frame::schema().version());
    }
    EXPECT_EQ(version(), frame::schema().version());
    EXPECT_EQ(number("SELECT count(*) FROM ftp_parameters"), 0);
    EXPECT_EQ(number("SELECT count(*) FROM ftp_accounts"), 0);
}

INSTANTIATE_TEST_SUITE_P(Each, DatabaseSchema, testing::Values("sqlite", "postgresql"),
                         [](const auto& kind) { return kind.param; });

}  // namespace

}  // namespace db_test
