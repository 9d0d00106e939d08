// The outbox file: how it is made, opened, and recognised. It is an SQLite database in WAL mode.
//
//     meta    one row: outbox_id, 32 hexadecimal digits, random, made with the file
//     outbox  messages that were accepted here and are not acknowledged yet; seq is never used again
//     inbox   identifiers of messages that were handled here, in order of arrival, the newest ones
#pragma once

#include <string>

#include "platform/bus.h"
#include "reliable/sqlite.h"

namespace frame {

// Both throw sqlite::Error, or std::runtime_error that names the file and what to do, for a file that is no outbox,
// damaged, of a newer version, or cannot be used; the file is then as it was.

// Opens `file` to work with; makes it, with mode 0600, when it is missing or empty. The caller holds its lock.
sqlite::Database openOutbox(const std::string& file);
// Opens `file` to look at, also while a process works with it.
sqlite::Database openOutboxToRead(const std::string& file);

// Turns what SQLite says of `file` into a std::runtime_error that names the file and says what to do.
[[noreturn]] void explain(const std::string& file, const sqlite::Error& error);

// A message's identifier: the sender's address, the outbox it was accepted in, its number there.
std::string identifierOf(CProcID sender, const std::string& outboxId, std::int64_t seq);

// An address as one number, as the outbox keeps it.
std::int64_t toNumber(CProcID address);
CProcID toAddress(std::int64_t number);

}  // namespace frame
