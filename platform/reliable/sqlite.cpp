#include "reliable/sqlite.h"

namespace frame::sqlite {

namespace {

// Readers and an operator's tools may hold the file for a moment.
constexpr int busyMilliseconds = 5000;

[[noreturn]] void fail(sqlite3* database) {
    throw Error(sqlite3_extended_errcode(database), std::string(sqlite3_errmsg(database)) + " (SQLite code " +
                                                        std::to_string(sqlite3_extended_errcode(database)) + ')');
}

int openFlags(Database::Mode mode) {
    return (mode == Database::Mode::readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_NOMUTEX;
}

}  // namespace

Database::Database(const std::string& file, Mode mode) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened, openFlags(mode), nullptr);
    handle_.reset(opened);
    if (opened == nullptr) throw std::bad_alloc();
    if (code != SQLITE_OK) fail(opened);
    sqlite3_busy_timeout(opened, busyMilliseconds);
}

void Database::exec(const char* sql) {
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(handle());
}

std::int64_t Database::number(const char* sql) {
    Statement statement(*this, sql);
    auto rows = statement.rows();
    if (!rows.next()) throw Error(SQLITE_CORRUPT, std::string("no answer to ") + sql);
    return rows.number(0);
}

std::string Database::text(const char* sql) {
    Statement statement(*this, sql);
    auto rows = statement.rows();
    if (!rows.next()) throw Error(SQLITE_CORRUPT, std::string("no answer to ") + sql);
    return std::string(rows.octets(0));
}

Statement::Statement(const Database& database, const char* sql) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(database.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK)
        fail(database.handle());
    handle_.reset(prepared);
}

bool Statement::Rows::next() {
    const int code = sqlite3_step(handle_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) fail(sqlite3_db_handle(handle_));
    return code == SQLITE_ROW;
}

std::string_view Statement::Rows::octets(int column) const {
    const void* octets = sqlite3_column_blob(handle_, column);
    if (octets == nullptr) return {};
    return {static_cast<const char*>(octets), static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
}

void Statement::bind(int index, std::int64_t value) {
    check(sqlite3_bind_int64(handle_.get(), index, value));
}

void Statement::bind(int index, std::string_view text) {
    check(sqlite3_bind_text64(handle_.get(), index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int index, Blob blob) {
    // A null pointer would bind NULL instead of no octets.
    const char* octets = blob.octets.empty() ? "" : blob.octets.data();
    check(sqlite3_bind_blob64(handle_.get(), index, octets, blob.octets.size(), SQLITE_STATIC));
}

void Statement::check(int code) const {
    if (code != SQLITE_OK) fail(sqlite3_db_handle(handle_.get()));
}

WriteTransactions::WriteTransactions(Database& database)
    : database_(database), begin_(database, "BEGIN IMMEDIATE"), commit_(database, "COMMIT") {}

void WriteTransactions::undo() noexcept {
    // Some errors have undone the transaction already. A rollback that fails leaves nothing in the file either.
    if (database_.inTransaction()) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace frame::sqlite
