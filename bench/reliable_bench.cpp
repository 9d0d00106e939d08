// The reliable channel beside a bare SQLite insert with the same durability, and with itself.
#include <sqlite3.h>

#include <filesystem>
#include <latch>
#include <stdexcept>
#include <thread>

#include "bench.h"
#include "platform/asn1.h"
#include "platform/reliable.h"
#include "support/folder.h"

namespace bench {

namespace {

constexpr unsigned long messageId = 0xB0762A;
constexpr std::size_t recordSize = 100;

// Where the program runs: /tmp may be memory, which syncs for nothing.
std::filesystem::path onDisk() {
    return std::filesystem::current_path();
}

// A channel with a receiver that takes everything.
class Channel {
public:
    explicit Channel(const std::string& file)
        : engine_(bus_.connect({3001, 7})),
          channel_(*engine_, {file}),
          receiver_(NSTE_util::ReliableEventProxy::Instance()->Subscribe(messageId, [](const auto&) { return true; })) {
    }

    static void send(const AsnType& record) {
        if (NSTE_util::ReliableEventProxy::Instance()->Send(messageId, record) != 0)
            throw std::runtime_error("a message was not accepted");
    }

private:
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_;
    frame::ReliableChannel channel_;
    frame::Subscription receiver_;
};

// What a program does that inserts into a table of its own and wants it to survive.
class BareInsert {
public:
    explicit BareInsert(const std::string& file) {
        check(sqlite3_open(file.c_str(), &database_));
        check(sqlite3_exec(database_,
                           "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
                           "CREATE TABLE outbox(seq INTEGER PRIMARY KEY AUTOINCREMENT, message_id INTEGER NOT NULL,"
                           "sender INTEGER NOT NULL, accepted_at INTEGER NOT NULL, record BLOB NOT NULL)",
                           nullptr, nullptr, nullptr));
        begin_ = prepare("BEGIN IMMEDIATE");
        insert_ = prepare("INSERT INTO outbox(message_id, sender, accepted_at, record) VALUES(?, ?, ?, ?)");
        commit_ = prepare("COMMIT");
    }
    ~BareInsert() {
        for (auto* statement : {begin_, insert_, commit_}) sqlite3_finalize(statement);
        sqlite3_close(database_);
    }
    BareInsert(const BareInsert&) = delete;
    BareInsert& operator=(const BareInsert&) = delete;

    void insert(const std::string& record) {
        run(begin_);
        sqlite3_bind_int64(insert_, 1, messageId);
        sqlite3_bind_int64(insert_, 2, 3001);
        sqlite3_bind_int64(insert_, 3, ++time_);
        sqlite3_bind_blob64(insert_, 4, record.data(), record.size(), SQLITE_STATIC);
        run(insert_);
        run(commit_);
    }

private:
    void check(int code) {
        if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_));
    }
    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr));
        return statement;
    }
    void run(sqlite3_stmt* statement) {
        if (sqlite3_step(statement) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database_));
        sqlite3_reset(statement);
    }

    sqlite3* database_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
    sqlite3_stmt* commit_ = nullptr;
    std::int64_t time_ = 1'700'000'000'000;
};

const AsnOcts record{std::string(recordSize, 'x')};

Figures sendBesideInsert(const Run& run) {
    const support::Folder folder(onDisk());
    const Channel channel(folder.file("outbox.db"));
    BareInsert bare(folder.file("bare.db"));
    const std::string octets(recordSize + 2, 'x');  // as many as the record has when it is encoded
    std::vector<double> ours;
    std::vector<double> peer;
    const int turns = run.quick ? 200 : 20000;
    for (int turn = 0; turn < turns; ++turn) {
        auto& times = turn / 100 % 2 == 0 ? ours : peer;
        const double begin = now(Clock::wall);
        if (&times == &ours)
            Channel::send(record);
        else
            bare.insert(octets);
        times.push_back((now(Clock::wall) - begin) * 1e6);
    }
    return {median(ours), median(peer)};
}

double messagesPerSecond(int threads, int messagesEach) {
    std::latch start(threads + 1);
    std::vector<std::thread> senders;
    senders.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i)
        senders.emplace_back([&] {
            start.arrive_and_wait();
            for (int k = 0; k < messagesEach; ++k) Channel::send(record);
        });
    start.arrive_and_wait();
    const double begin = now(Clock::wall);
    for (auto& sender : senders) sender.join();
    return threads * messagesEach / (now(Clock::wall) - begin);
}

Figures eightSendersBesideOne(const Run& run) {
    const support::Folder folder(onDisk());
    const Channel channel(folder.file("outbox.db"));
    const int messagesEach = run.quick ? 5 : 500;
    std::vector<double> eight;
    std::vector<double> one;
    for (int turn = 0; turn < (run.quick ? 1 : 9); ++turn) {
        eight.push_back(messagesPerSecond(8, messagesEach));
        one.push_back(messagesPerSecond(1, messagesEach));
    }
    return {median(eight), median(one)};
}

const bool registered =
    add({"reliable Send beside a bare SQLite insert, us", atMost(1.15), sendBesideInsert}) &&
    add({"reliable Send, 8 threads beside 1, messages a second", atLeast(3), eightSendersBesideOne});

}  // namespace

}  // namespace bench
