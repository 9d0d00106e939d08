#include "reliable/store.h"

#include <chrono>

#include "reliable/outbox_file.h"

namespace frame {

namespace {

// Pruning at every arrival would touch another page of the file each time.
constexpr std::int64_t pruneEvery = 1024;

std::int64_t nowUnixMilliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

Store::Store(const std::string& file) try
    : lock_(file),
      database_(openOutbox(file)),
      transactions_(database_),
      insert_(database_, "INSERT INTO outbox(message_id, sender, accepted_at, record) VALUES(?, ?, ?, ?)"),
      remove_(database_, "DELETE FROM outbox WHERE seq = ?"),
      arrive_(database_, "INSERT INTO inbox(arrival, identifier) VALUES(?, ?)"),
      prune_(database_, "DELETE FROM inbox WHERE arrival <= ?"),
      outboxId_(database_.text("SELECT outbox_id FROM meta")),
      newest_(database_.number("SELECT coalesce(max(seq), 0) FROM outbox")),
      arrivals_(database_.number("SELECT coalesce(max(arrival), 0) FROM inbox")) {
} catch (const sqlite::Error& error) {
    explain(file, error);
}

std::uint64_t Store::count() {
    return static_cast<std::uint64_t>(database_.number("SELECT count(*) FROM outbox"));
}

std::vector<std::string> Store::inbox() {
    sqlite::Statement all(database_, "SELECT identifier FROM inbox ORDER BY arrival");
    std::vector<std::string> identifiers;
    auto rows = all.rows();
    while (rows.next()) identifiers.emplace_back(rows.octets(0));
    return identifiers;
}

void Store::write(const std::vector<const NewRow*>& rows, const Bookkeeping& books) {
    const std::int64_t arrivals = arrivals_;
    try {
        transactions_.run([&] {
            keep(books);
            insertRows(rows);
        });
    } catch (...) {
        arrivals_ = arrivals;
        throw;
    }
    if (!rows.empty()) newest_ = database_.lastInsertRowid();
}

void Store::insertRows(const std::vector<const NewRow*>& rows) {
    const std::int64_t now = nowUnixMilliseconds();
    for (const NewRow* row : rows)
        insert_.run(static_cast<std::int64_t>(row->id), toNumber(row->sender), now,
                    sqlite::Statement::Blob{row->record});
}

void Store::keep(const Bookkeeping& books) {
    for (const std::int64_t seq : books.acknowledged) remove_.run(seq);
    for (const std::string& identifier : books.handled) {
        arrive_.run(++arrivals_, std::string_view(identifier));
        if (arrivals_ % pruneEvery == 0) prune_.run(arrivals_ - inboxCapacity);
    }
}

}  // namespace frame
