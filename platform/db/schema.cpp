#include "db/schema.h"

#include "platform/db.h"

namespace frame {

namespace {

bool hasTable(soci::session& session) {
    std::string table;
    bool there = false;
    soci::statement names = (session.prepare_table_names(), soci::into(table));
    names.execute();
    while (names.fetch()) there = there || table == "nec_schema";
    return there;
}

// Of several that make it at once PostgreSQL refuses all but one, even when told that it may be there.
void makeTable(soci::session& session) try {
    if (!hasTable(session))
        session << "CREATE TABLE IF NOT EXISTS nec_schema (id INTEGER PRIMARY KEY, version INTEGER NOT NULL)";
} catch (const soci::soci_error&) {
    if (!hasTable(session)) throw;
}

// From here on, until the transaction ends, nobody else migrates: SQLite lets one write at a time, PostgreSQL locks the
// row.
int lockedVersion(soci::session& session) {
    session << "INSERT INTO nec_schema (id, version) VALUES (1, 0) ON CONFLICT DO NOTHING";
    session << "UPDATE nec_schema SET version = version";
    int version = 0;
    session << "SELECT version FROM nec_schema", soci::into(version);
    return version;
}

void setVersion(soci::session& session, int version) {
    session << "UPDATE nec_schema SET version = :version", soci::use(version);
}

}  // namespace

int Schema::versionOf(soci::session& session) {
    int version = 0;
    if (hasTable(session)) session << "SELECT version FROM nec_schema", soci::into(version);
    return version;
}

int Schema::migrate(soci::session& session) const {
    makeTable(session);
    int before = -1;
    for (int reached = -1; reached < version();) {
        soci::transaction transaction(session);
        const int found = lockedVersion(session);
        if (found < 0 || found > version())
            throw DatabaseError("the schema of the database has version " + std::to_string(found) +
                                ", that of this program " + std::to_string(version()) + "; expected a newer program");
        if (before == -1) before = found;
        reached = found;
        if (found < version()) {
            for (const std::string& statement : migrations_[static_cast<std::size_t>(found)]) session << statement;
            reached = found + 1;
            setVersion(session, reached);
        }
        transaction.commit();
    }
    return before;
}

const Schema& schema() {
    static const Schema schema(std::vector<Migration>{
        // One row of parameters. Accounts stand in the order of their numbers; their names need not differ.
        {"CREATE TABLE ftp_parameters ("
         " id INTEGER PRIMARY KEY CHECK (id = 1), user_name TEXT NOT NULL, password TEXT NOT NULL,"
         " root_directory TEXT NOT NULL, ftp_port INTEGER NOT NULL CHECK (ftp_port BETWEEN 1 AND 65535),"
         " sftp_port INTEGER NOT NULL CHECK (sftp_port BETWEEN 1 AND 65535))",
         "CREATE TABLE ftp_accounts ("
         " number INTEGER PRIMARY KEY, account_name TEXT NOT NULL, user_name TEXT NOT NULL, password TEXT NOT NULL,"
         " port INTEGER NOT NULL CHECK (port BETWEEN 1 AND 65535), home_directory TEXT NOT NULL, relative_directory "
         "TEXT NOT NULL)"},
    });
    return schema;
}

}  // namespace frame
