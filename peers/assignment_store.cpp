#include "assignment_store.h"

#include <fstream>
#include <string_view>

namespace peers {
namespace {

frame::sqlite::Database opened(const std::string& file) {
    if (!std::ofstream(file, std::ios::app)) throw std::runtime_error(file + ": cannot be written");
    try {
        frame::sqlite::Database database(file, frame::sqlite::Database::Mode::readWrite);
        database.exec(
            "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
            "CREATE TABLE IF NOT EXISTS assignment (ne TEXT PRIMARY KEY, server INTEGER NOT NULL) WITHOUT ROWID");
        return database;
    } catch (const frame::sqlite::Error& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

}  // namespace

AssignmentStore::AssignmentStore(const std::string& file)
    : database_(opened(file)),
      transactions_(database_),
      insert_(database_, "INSERT OR REPLACE INTO assignment (ne, server) VALUES (?, ?)"),
      remove_(database_, "DELETE FROM assignment WHERE ne = ?"),
      all_(database_, "SELECT ne, server FROM assignment") {}

void AssignmentStore::assign(const Assignments& assignments) {
    const std::lock_guard lock(mutex_);
    transactions_.run([&] {
        for (const auto& [ne, server] : assignments) insert_.run(std::string_view(ne), std::int64_t{server});
    });
}

void AssignmentStore::remove(const std::vector<std::string>& neIPs) {
    const std::lock_guard lock(mutex_);
    transactions_.run([&] {
        for (const std::string& ne : neIPs) remove_.run(std::string_view(ne));
    });
}

std::map<std::string, int> AssignmentStore::all() {
    const std::lock_guard lock(mutex_);
    std::map<std::string, int> all;
    auto rows = all_.rows();
    while (rows.next()) all.emplace(rows.octets(0), static_cast<int>(rows.number(1)));
    return all;
}

}  // namespace peers
