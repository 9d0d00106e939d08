// A PostgreSQL server: how it is named, and that it may come and go.
#include "fixture.h"
#include "platform/log.h"

namespace db_test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class PostgresServer : public testing::Test {
protected:
    void open(const std::string& url) { database_.emplace(optionsFor(url, 1)); }

    support::Postgres server_;
    std::optional<frame::Database> database_;
};

TEST_F(PostgresServer, RefusalTellsTheServersReasonAndNoPassword) {
    open(server_.urlWith("'wrong s3cret'"));
    EXPECT_THAT(refusal(), AllOf(HasSubstr("password authentication failed for user \"nec\""),
                                 HasSubstr("postgresql:user=nec dbname=postgres host=/"), Not(HasSubstr("s3cret"))));
}

TEST_F(PostgresServer, UriIsTakenAsWell) {
    open(server_.uri());
    std::string user;
    dao::CSqlSession session;
    session.connection() << "SELECT current_user", soci::into(user);
    EXPECT_EQ(user, "nec");
}

TEST_F(PostgresServer, ConnectionsAreMadeAgainAfterItRestarted) {
    open(server_.url());
    makeTable();
    server_.stop();
    EXPECT_THAT(refusal(), HasSubstr("No such file or directory"));
    server_.start();
    EXPECT_EQ(rows(), 0);
    server_.stop();
    server_.start();
    EXPECT_EQ(rows(), 0);
}

TEST_F(PostgresServer, ConnectionThatBreaksInUseIsThrownAway) {
    open(server_.url());
    makeTable();
    {
        dao::CSqlSession session;
        session.connection().begin();
        session.connection() << "INSERT INTO ne VALUES (1)";
        server_.stop();
        EXPECT_THROW(session.connection() << "INSERT INTO ne VALUES (2)", soci::soci_error);
        server_.start();
    }
    EXPECT_EQ(rows(), 0);
}

TEST_F(PostgresServer, WhatItRemarksGoesToTheLog) {
    open(server_.url());
    dao::CSqlSession session;
    soci::session& connection = session.connection();
    const frame::LogCapture log;
    connection << "DO $$ BEGIN RAISE NOTICE 'remarkable'; END $$";
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records()[0].kind, frame::LogRecord::Kind::trace);
    EXPECT_THAT(log.records()[0].text, HasSubstr("[database] NOTICE:  remarkable"));
}

TEST_F(PostgresServer, GivingBackLeavesNoWarning) {
    open(server_.url());
    const frame::LogCapture log;
    makeTable();
    EXPECT_TRUE(log.records().empty());
}

}  // namespace

}  // namespace db_test
