// The outbox file as the one process that works with it writes it: a transaction at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bus.h"
#include "reliable/file_lock.h"
#include "reliable/sqlite.h"

namespace frame {

// Identifiers kept in the inbox, about.
inline constexpr std::int64_t inboxCapacity = 100'000;

// A message on its way into the outbox.
struct NewRow {
    unsigned long id;
    CProcID sender;
    std::string_view record;
};

// What is known since the last transaction, and may be lost: it only costs repeats.
struct Bookkeeping {
    std::vector<std::int64_t> acknowledged;  // rows that can go
    std::vector<std::string> handled;        // identifiers for the inbox
    std::size_t size() const { return acknowledged.size() + handled.size(); }
    void clear() {
        acknowledged.clear();
        handled.clear();
    }
};

// Used by one thread at a time.
class Store {
public:
    // Throws std::runtime_error as ReliableChannel does.
    explicit Store(const std::string& file);

    const std::string& outboxId() const { return outboxId_; }
    std::uint64_t count();
    // The number of the newest row written, or found in the file; 0 for none.
    std::int64_t newest() const { return newest_; }
    // The identifiers in the inbox, oldest first.
    std::vector<std::string> inbox();

    // Writes all of `rows` and `books` in one transaction: on disk when this returns. Throws sqlite::Error; then
    // nothing was written.
    void write(const std::vector<const NewRow*>& rows, const Bookkeeping& books);

private:
    void keep(const Bookkeeping& books);
    void insertRows(const std::vector<const NewRow*>& rows);

    FileLock lock_;
    sqlite::Database database_;
    sqlite::WriteTransactions transactions_;
    sqlite::Statement insert_;
    sqlite::Statement remove_;
    sqlite::Statement arrive_;
    sqlite::Statement prune_;
    std::string outboxId_;
    std::int64_t newest_;
    std::int64_t arrivals_;  // the number of the newest row of the inbox
};

}  // namespace frame
