// SQLite: a file that its owner alone may read.
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>

#include "db/backend.h"
#include "db/sqlite_memory.h"
#include "platform/log.h"

namespace frame {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Makes the file if need be, and checks it. It is never opened here: closing it would give up the locks that other
// connections of this process have on it.
void prepare(const std::string& file) {
    if (mknod(file.c_str(), S_IFREG | S_IRUSR | S_IWUSR, 0) != 0 && errno != EEXIST) fail("cannot make the file");
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) fail("cannot look at the file");
    if (!S_ISREG(status.st_mode)) throw std::runtime_error("it is no regular file");
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error("group or others may use the file; expected mode 0600");
}

// Readers do not wait for a writer then.
void writeAhead(soci::session& session) {
    std::string mode;
    session << "PRAGMA journal_mode = WAL", soci::into(mode);
    if (mode != "wal") throw std::runtime_error("no write-ahead log is possible there");
}

class Sqlite : public Backend {
public:
    explicit Sqlite(const std::string& file) : file_(std::filesystem::absolute(file).string()) {}

    std::string name() const override { return "sqlite:" + file_; }

    std::unique_ptr<soci::session> connect() const override {
        // One at a time: of two that begin to write ahead at once, one would fail.
        const std::lock_guard lock(connecting_);
        prepare(file_);
        // Others who write are waited for: 5 seconds.
        auto session = std::make_unique<soci::session>(soci::sqlite3, "timeout=5 db=\"" + file_ + '"');
        writeAhead(*session);
        // What was read goes out of memory at once: it may be a password.
        *session << "PRAGMA cache_size = 0";
        return session;
    }

    // As long as there is a file at its place.
    bool works(soci::session&) const noexcept override {
        std::error_code ignored;
        return std::filesystem::exists(file_, ignored);
    }

    bool inTransaction(soci::session& session) const override {
        const auto* backend = static_cast<soci::sqlite3_session_backend*>(session.get_backend());
        return sqlite_api::sqlite3_get_autocommit(backend->conn_) == 0;
    }

private:
    const std::string file_;
    mutable std::mutex connecting_;
};

}  // namespace

std::unique_ptr<Backend> makeSqlite(const std::string& file) {
    if (file.empty()) throw std::invalid_argument("database: no file behind \"sqlite:\"");
    // SOCI takes its parameters as one text, in which this ends the file's name.
    if (file.find('"') != std::string::npos)
        throw std::invalid_argument("database: a quotation mark in the name of the SQLite file");
    if (!wipeSqliteMemory())
        LogProcess::Error(0, "this program used SQLite before: passwords may stay in memory that SQLite gave back",
                          {__FILE__, "makeSqlite", __LINE__});
    return std::make_unique<Sqlite>(file);
}

}  // namespace frame
