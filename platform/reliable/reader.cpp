#include "reliable/reader.h"

#include "reliable/outbox_file.h"

namespace frame {

namespace {

std::vector<OutboxRow> collect(sqlite::Statement::Rows rows) {
    std::vector<OutboxRow> found;
    while (rows.next())
        found.push_back({rows.number(0), static_cast<unsigned long>(rows.number(1)), toAddress(rows.number(2))});
    return found;
}

}  // namespace

Reader::Reader(const std::string& file) try
    : database_(openOutboxToRead(file)),
      after_(database_, "SELECT seq, message_id, sender FROM outbox WHERE seq > ? ORDER BY seq LIMIT ?"),
      ofMessage_(database_,
                 "SELECT seq, message_id, sender FROM outbox WHERE seq > ? AND seq <= ? AND message_id = ? "
                 "ORDER BY seq LIMIT ?"),
      record_(database_, "SELECT record FROM outbox WHERE seq = ?") {
} catch (const sqlite::Error& error) {
    explain(file, error);
}

std::vector<OutboxRow> Reader::after(std::int64_t seq, std::int64_t most) {
    return collect(after_.rows(seq, most));
}

std::vector<OutboxRow> Reader::ofMessage(unsigned long id, std::int64_t seq, std::int64_t last, std::int64_t most) {
    return collect(ofMessage_.rows(seq, last, static_cast<std::int64_t>(id), most));
}

std::optional<Payload> Reader::record(std::int64_t seq) {
    auto rows = record_.rows(seq);
    if (!rows.next()) return std::nullopt;
    return Payload(rows.octets(0));
}

}  // namespace frame
