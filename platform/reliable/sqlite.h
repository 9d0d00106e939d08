// SQLite with owners for its handles and exceptions for its error codes. An object may be used by one thread at a
// time, and it does not matter by which.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace frame::sqlite {

// What SQLite says is wrong. `code()`: its primary result code, such as SQLITE_FULL.
class Error : public std::runtime_error {
public:
    Error(int code, const std::string& text) : std::runtime_error(text), code_(code & 0xFF) {}
    int code() const { return code_; }

private:
    int code_;
};

// One open database file.
class Database {
public:
    enum class Mode { readWrite, readOnly };
    // The file must exist.
    Database(const std::string& file, Mode mode);

    // Runs statements that have no parameters and whose rows do not matter.
    void exec(const char* sql);
    // The first column of the first row that `sql` gives; it must give one.
    std::int64_t number(const char* sql);
    std::string text(const char* sql);

    std::int64_t lastInsertRowid() const { return sqlite3_last_insert_rowid(handle()); }
    bool inTransaction() const { return sqlite3_get_autocommit(handle()) == 0; }
    sqlite3* handle() const { return handle_.get(); }

private:
    struct Close {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };
    std::unique_ptr<sqlite3, Close> handle_;
};

// A prepared statement. The database must outlive it.
class Statement {
public:
    Statement(const Database& database, const char* sql);

    // The rows of one execution, which ends when this is destroyed: rows left open would hold a read transaction.
    class Rows {
    public:
        explicit Rows(Statement& statement) : handle_(statement.handle_.get()) {}
        ~Rows() { sqlite3_reset(handle_); }
        Rows(const Rows&) = delete;
        Rows& operator=(const Rows&) = delete;

        // Goes to the first row, then to the next one; false when there is none.
        bool next();
        std::int64_t number(int column) const { return sqlite3_column_int64(handle_, column); }
        // A BLOB or TEXT, valid until next().
        std::string_view octets(int column) const;

    private:
        sqlite3_stmt* handle_;
    };

    // Executes with `values` as parameters: std::int64_t, or std::string_view for TEXT, or Blob. What they refer to
    // must outlive the rows.
    template <class... Values>
    Rows rows(const Values&... values) {
        int index = 0;
        (bind(++index, values), ...);
        return Rows(*this);
    }
    template <class... Values>
    void run(const Values&... values) {
        auto result = rows(values...);
        while (result.next()) {
        }
    }

    struct Blob {
        std::string_view octets;
    };

private:
    void bind(int index, std::int64_t value);
    void bind(int index, std::string_view text);
    void bind(int index, Blob blob);
    void check(int code) const;

    struct Finalize {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

// The statements around a transaction that writes.
class WriteTransactions {
public:
    explicit WriteTransactions(Database& database);

    // Runs `work` inside a transaction: all of it is on disk when this returns, nothing of it when this throws.
    template <class Work>
    void run(const Work& work) {
        begin_.run();
        try {
            work();
            commit_.run();
        } catch (...) {
            undo();
            throw;
        }
    }

private:
    void undo() noexcept;

    Database& database_;
    Statement begin_;
    Statement commit_;
};

}  // namespace frame::sqlite
