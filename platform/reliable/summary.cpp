// What waits in an outbox, for people and tools.
#include "platform/reliable.h"
#include "reliable/outbox_file.h"

namespace frame {

namespace {

OutboxSummary summarise(sqlite::Database& database, std::size_t most) {
    const std::string outboxId = database.text("SELECT outbox_id FROM meta");
    sqlite::Statement all(
        database, "SELECT seq, sender, accepted_at, message_id, length(record) FROM outbox ORDER BY seq LIMIT ?");
    OutboxSummary summary;
    summary.depth = static_cast<std::uint64_t>(database.number("SELECT count(*) FROM outbox"));
    // One row even for none: the oldest is told in any case.
    auto rows = all.rows(static_cast<std::int64_t>(std::max<std::size_t>(most, 1)));
    while (rows.next()) {
        OutboxSummary::Waiting waiting{identifierOf(toAddress(rows.number(1)), outboxId, rows.number(0)),
                                       static_cast<unsigned long>(rows.number(3)), rows.number(2),
                                       static_cast<std::uint64_t>(rows.number(4))};
        if (!summary.oldestIdentifier) {
            summary.oldestIdentifier = waiting.identifier;
            summary.oldestUnixMilliseconds = waiting.unixMilliseconds;
        }
        if (summary.waiting.size() < most) summary.waiting.push_back(std::move(waiting));
    }
    return summary;
}

}  // namespace

OutboxSummary readOutbox(const std::string& file, std::size_t most) {
    try {
        auto database = openOutboxToRead(file);
        database.exec("BEGIN");  // one view of it, whatever its process does meanwhile
        return summarise(database, most);
    } catch (const sqlite::Error& error) {
        explain(file, error);
    }
}

}  // namespace frame
