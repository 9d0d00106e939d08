#include "reliable/outbox_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace frame {

namespace {

constexpr std::int64_t applicationId = 0x4F757442;
constexpr std::int64_t version = 1;

// One transaction, in the rollback mode of a new database: whenever its making is cut short, a file is empty or whole.
// make() ends it.
constexpr const char* schema = R"(
    BEGIN IMMEDIATE;
    CREATE TABLE meta(outbox_id TEXT NOT NULL);
    CREATE TABLE outbox(seq INTEGER PRIMARY KEY AUTOINCREMENT, message_id INTEGER NOT NULL, sender INTEGER NOT NULL,
                        accepted_at INTEGER NOT NULL, record BLOB NOT NULL);
    CREATE TABLE inbox(arrival INTEGER PRIMARY KEY, identifier TEXT NOT NULL);
    INSERT INTO meta VALUES(lower(hex(randomblob(16))));
)";

void make(sqlite::Database& database) {
    const std::string marks = "PRAGMA application_id = " + std::to_string(applicationId) +
                              "; PRAGMA user_version = " + std::to_string(version) + "; COMMIT";
    database.exec(schema);
    database.exec(marks.c_str());
}

[[noreturn]] void refuse(const std::string& file, const std::string& text) {
    throw std::runtime_error("outbox " + file + ' ' + text);
}

[[noreturn]] void refuseDamaged(const std::string& file, const std::string& what) {
    refuse(file,
           "is damaged (" + what + "): move it and " + file +
               "-wal to another place, from where their messages may be recovered, and start again with a new one");
}

std::uintmax_t sizeOf(const std::string& file) {
    std::error_code none;
    const auto size = std::filesystem::file_size(file, none);
    return none ? 0 : size;
}

void makeMissing(const std::string& file) {
    if (std::filesystem::exists(file)) return;
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) refuse(file, "cannot be made: " + std::generic_category().message(errno));
    close(descriptor);
}

void checkKind(const std::string& file) {
    if (!std::filesystem::is_regular_file(file)) refuse(file, "is no regular file: name another one");
    if (sizeOf(file) == 0 && sizeOf(file + "-wal") != 0) refuseDamaged(file, "it is empty and " + file + "-wal is not");
}

// Looking at a database undoes what a process left that was killed while it made it; only then the size tells. The
// count alone says 0 for the first octets of a database as well.
bool isEmpty(sqlite::Database& database, const std::string& file) {
    return database.number("PRAGMA page_count") == 0 && sizeOf(file) == 0;
}

void recognise(sqlite::Database& database, const std::string& file) {
    if (database.number("PRAGMA application_id") != applicationId)
        refuse(file, "is no outbox but another program's database: name another file");
    const auto found = database.number("PRAGMA user_version");
    if (found > version)
        refuse(file, "was written by a newer version of this program (format " + std::to_string(found) +
                         ", this one knows " + std::to_string(version) + "): run that version, or name another file");
}

void checkWhole(sqlite::Database& database, const std::string& file) {
    const std::string result = database.text("PRAGMA quick_check(1)");
    if (result != "ok") refuseDamaged(file, result);
}

void beDurable(sqlite::Database& database, const std::string& file) {
    if (database.text("PRAGMA journal_mode = WAL") != "wal")
        refuse(file, "cannot have a write-ahead log where it is: name a file on a local disk");
    database.exec("PRAGMA synchronous = FULL");
}

}  // namespace

sqlite::Database openOutbox(const std::string& file) {
    makeMissing(file);
    checkKind(file);
    sqlite::Database database(file, sqlite::Database::Mode::readWrite);
    if (sqlite3_db_readonly(database.handle(), "main") != 0)
        refuse(file, "cannot be written: let this process's user write it, and the folder that it is in");
    if (isEmpty(database, file)) make(database);
    recognise(database, file);
    checkWhole(database, file);
    beDurable(database, file);
    return database;
}

sqlite::Database openOutboxToRead(const std::string& file) {
    if (!std::filesystem::exists(file)) refuse(file, "does not exist");
    checkKind(file);
    sqlite::Database database(file, sqlite::Database::Mode::readOnly);
    recognise(database, file);
    return database;
}

void explain(const std::string& file, const sqlite::Error& error) {
    switch (error.code()) {
        case SQLITE_NOTADB:
            refuse(file, "is no outbox, or damaged at its beginning: name another file, or move it to another place");
        case SQLITE_CORRUPT:
            refuseDamaged(file, error.what());
        default:
            refuse(file, std::string("cannot be used: ") + error.what());
    }
}

std::string identifierOf(CProcID sender, const std::string& outboxId, std::int64_t seq) {
    return std::to_string(sender.procType) + '.' + std::to_string(sender.procHandle) + '-' + outboxId + '-' +
           std::to_string(seq);
}

std::int64_t toNumber(CProcID address) {
    return std::int64_t{address.procType} << 16 | address.procHandle;
}

CProcID toAddress(std::int64_t number) {
    return {static_cast<std::uint16_t>(number >> 16), static_cast<std::uint16_t>(number)};
}

}  // namespace frame
