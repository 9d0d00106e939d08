// Databases that the tests run over, and sessions of them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "db/soci.h"
#include "platform/db.h"
#include "support/folder.h"
#include "support/postgres.h"

namespace db_test {

inline constexpr std::chrono::minutes longEnough{1};

// A real database, which a test may take down.
class Place {
public:
    virtual ~Place() = default;
    virtual std::string url() const = 0;
    // Part of what errors must call it.
    virtual std::string name() const = 0;
    virtual void takeDown() = 0;
    virtual void bringBack() = 0;
};

class SqlitePlace : public Place {
public:
    SqlitePlace() { std::filesystem::create_directory(folder_.file("there")); }
    std::string url() const override { return "sqlite:" + folder_.file("there/nec data=1.db"); }
    std::string name() const override { return url(); }
    void takeDown() override { std::filesystem::rename(folder_.file("there"), folder_.file("gone")); }
    void bringBack() override { std::filesystem::rename(folder_.file("gone"), folder_.file("there")); }

private:
    support::Folder folder_;
};

class PostgresPlace : public Place {
public:
    std::string url() const override { return server_.url(); }
    std::string name() const override { return "dbname=postgres"; }
    void takeDown() override { server_.stop(); }
    void bringBack() override { server_.start(); }

private:
    support::Postgres server_;
};

inline std::unique_ptr<Place> makePlace(const std::string& kind) {
    if (kind == "sqlite") return std::make_unique<SqlitePlace>();
    return std::make_unique<PostgresPlace>();
}

inline frame::DatabaseOptions optionsFor(const std::string& url, unsigned connections = 4,
                                         std::chrono::milliseconds patience = longEnough) {
    return {url, connections, patience};
}

// Why `session` has no connection.
inline std::string refusalOf(dao::CSqlSession& session) {
    try {
        session.connection();
    } catch (const frame::DatabaseError& error) {
        return error.what();
    }
    ADD_FAILURE() << "the session has a connection";
    return {};
}
inline std::string refusal() {
    dao::CSqlSession session;
    return refusalOf(session);
}

inline void makeTable() {
    dao::CSqlSession session;
    session.connection() << "CREATE TABLE ne (id INTEGER)";
}
inline int rowsSeenBy(soci::session& connection) {
    int rows = -1;
    connection << "SELECT count(*) FROM ne", soci::into(rows);
    return rows;
}
inline int rows() {
    dao::CSqlSession session;
    return rowsSeenBy(session.connection());
}

}  // namespace db_test
