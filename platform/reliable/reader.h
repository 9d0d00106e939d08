// Reading the outbox beside the one who writes it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "reliable/sqlite.h"

namespace frame {

// A message in the outbox, without its record.
struct OutboxRow {
    std::int64_t seq;
    unsigned long id;
    CProcID sender;
};

// Used by one thread at a time. No operation holds a read transaction when it returns, for that would keep the
// write-ahead log from being used again from its beginning. All throw sqlite::Error.
class Reader {
public:
    // Throws std::runtime_error, which names the file.
    explicit Reader(const std::string& file);

    // At most `most` rows with numbers above `seq`, in their order.
    std::vector<OutboxRow> after(std::int64_t seq, std::int64_t most);
    // Of those, the ones with numbers up to `last` that carry message identifier `id`.
    std::vector<OutboxRow> ofMessage(unsigned long id, std::int64_t seq, std::int64_t last, std::int64_t most);
    // The record in row `seq`; empty when there is no such row.
    std::optional<Payload> record(std::int64_t seq);

private:
    sqlite::Database database_;
    sqlite::Statement after_;
    sqlite::Statement ofMessage_;
    sqlite::Statement record_;
};

}  // namespace frame
