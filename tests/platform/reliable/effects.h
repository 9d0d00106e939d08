// A receiver that does its work once, however often a message comes: the effect and the message's identifier are
// stored in one transaction. The work here is to note the number that a message carries.
#pragma once

#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/asn1.h"
#include "platform/reliable.h"
#include "reliable/sqlite.h"

namespace reliable_test {

inline constexpr unsigned long numberMessage = 0xB0762A;

class Effects {
public:
    explicit Effects(const std::string& file) : database_(made(file), frame::sqlite::Database::Mode::readWrite) {
        // A killed process loses nothing that it has written; only the machine's end would need syncs.
        database_.exec(
            "PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF;"
            "CREATE TABLE IF NOT EXISTS effect(place INTEGER PRIMARY KEY AUTOINCREMENT, identifier TEXT UNIQUE,"
            "                                  number INTEGER NOT NULL);"
            "CREATE TABLE IF NOT EXISTS repeat(identifier TEXT NOT NULL)");
    }

    // A handler that is done with a message when its effect is stored.
    bool handle(const frame::ReliableEvent& event) {
        AsnOcts text;
        if (!event.decode(text)) return false;
        std::int64_t number = 0;
        std::from_chars(text.str().data(), text.str().data() + text.str().size(), number);
        frame::sqlite::Statement store(database_, "INSERT OR IGNORE INTO effect(identifier, number) VALUES(?, ?)");
        store.run(std::string_view(event.identifier), number);
        if (sqlite3_changes(database_.handle()) == 0)
            frame::sqlite::Statement(database_, "INSERT INTO repeat VALUES(?)").run(std::string_view(event.identifier));
        return true;
    }

    // The numbers in the order in which they came.
    std::vector<std::int64_t> numbers() {
        frame::sqlite::Statement all(database_, "SELECT number FROM effect ORDER BY place");
        std::vector<std::int64_t> numbers;
        auto rows = all.rows();
        while (rows.next()) numbers.push_back(rows.number(0));
        return numbers;
    }
    // How many messages came again.
    std::int64_t repeats() { return database_.number("SELECT count(*) FROM repeat"); }

private:
    static const std::string& made(const std::string& file) {
        std::ofstream(file, std::ios::app).flush();
        return file;
    }

    frame::sqlite::Database database_;
};

}  // namespace reliable_test
