// The schema of the process's database: what is in it, by versions.
#pragma once

#include <string>
#include <vector>

#include "db/soci.h"

namespace frame {

// The statements that bring a database from one version to the next; all of them are done, or none.
using Migration = std::vector<std::string>;

// What the program expects a database to hold: the outcome of `migrations`, the first of which makes version 1 from
// nothing. They are never changed once they were released: what shall be different is another one behind them.
class Schema {
public:
    explicit Schema(std::vector<Migration> migrations) : migrations_(std::move(migrations)) {}

    int version() const { return static_cast<int>(migrations_.size()); }
    // Of the database; 0: it has none.
    static int versionOf(soci::session& session);
    // Brings the database up to date; several may try at once. Returns the version that it had. Throws DatabaseError
    // when that is a newer one, and soci::soci_error; it is as it was then, or at a version between.
    int migrate(soci::session& session) const;

private:
    const std::vector<Migration> migrations_;
};

// That of this program. Its table nec_schema has one row, whose `version` is the database's.
const Schema& schema();

}  // namespace frame
