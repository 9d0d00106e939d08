// Sessions of the databases that the tests run over.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "db/soci.h"
#include "platform/db.h"
#include "support/database.h"

namespace db_test {

inline constexpr std::chrono::minutes longEnough{1};

using support::makePlace;
using support::Place;

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
