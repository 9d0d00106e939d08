// Disks that are full, break, or damage the file while the channel works.
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include "fixture.h"
#include "platform/log.h"
#include "reliable/outbox.h"
#include "support/file_size_limit.h"

namespace {

std::atomic<int> syncs{0};
std::atomic<bool> syncsFail{false};

}  // namespace

// Stands before the system's, so that SQLite calls it.
extern "C" __attribute__((visibility("default"))) int fdatasync(int descriptor) {
    ++syncs;
    if (!syncsFail) return static_cast<int>(syscall(SYS_fdatasync, descriptor));
    errno = EIO;
    return -1;
}

namespace reliable_test {

namespace {

std::atomic<bool> diskIsFull{false};
std::atomic<bool> diskGarbles{false};
std::atomic<bool> somebodyReadGarble{false};

// The write before which the program ends; 0 for none.
int lastWrite = 0;

ssize_t writeOrFull(int descriptor, const void* octets, std::size_t size, off_t offset) {
    if (lastWrite != 0 && --lastWrite == 0) _exit(1);
    if (!diskIsFull) return pwrite(descriptor, octets, size, offset);
    errno = ENOSPC;
    return -1;
}

ssize_t readOrGarble(int descriptor, void* octets, std::size_t size, off_t offset) {
    const ssize_t got = pread(descriptor, octets, size, offset);
    if (!diskGarbles || got <= 0) return got;
    std::fill_n(static_cast<char*>(octets), got, '\x5A');
    somebodyReadGarble = true;
    return got;
}

// While it lives, SQLite calls the two functions above in place of the system's.
class FaultyDisk {
public:
    FaultyDisk() {
        set("pwrite", reinterpret_cast<sqlite3_syscall_ptr>(writeOrFull));
        set("pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(writeOrFull));
        set("pread", reinterpret_cast<sqlite3_syscall_ptr>(readOrGarble));
        set("pread64", reinterpret_cast<sqlite3_syscall_ptr>(readOrGarble));
    }
    ~FaultyDisk() {
        diskIsFull = false;
        diskGarbles = false;
        for (const char* call : {"pwrite", "pwrite64", "pread", "pread64"}) set(call, nullptr);
    }
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

private:
    static void set(const char* call, sqlite3_syscall_ptr function) {
        auto* vfs = sqlite3_vfs_find(nullptr);
        vfs->xSetSystemCall(vfs, call, function);
    }
};

using ReliableFaults = ReliableTest;

// Sends until a message is not accepted, and gives how many were; at most `most`.
int sendUntilRefused(int most, ReliableCode& code) {
    const std::string text(2000, 'x');
    for (int i = 0; i < most; ++i)
        if ((code = send(text)) != ReliableCode::ok) return i;
    return most;
}

TEST_F(ReliableFaults, FullDiskIsToldAndLosesNothing) {
    open();
    ASSERT_EQ(send("first"), ReliableCode::ok);
    ReliableCode code{};
    int accepted = 0;
    {
        const support::FileSizeLimit limit(100'000);
        accepted = sendUntilRefused(1000, code);
        EXPECT_EQ(code, ReliableCode::storage);
        const frame::LogCapture log;
        EXPECT_EQ(send("more"), ReliableCode::storage);
        EXPECT_EQ(log.records().size(), 1U);
    }
    EXPECT_EQ(send("last"), ReliableCode::ok);
    EXPECT_EQ(depth(), static_cast<std::uint64_t>(accepted) + 2);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(static_cast<std::size_t>(accepted) + 2));
    EXPECT_EQ(mailbox.texts().front(), "first");
    EXPECT_EQ(mailbox.texts().back(), "last");
}

TEST_F(ReliableFaults, EveryAcceptedMessageIsSynced) {
    open();
    for (int i = 0; i < 20; ++i) {
        const int before = syncs;
        ASSERT_EQ(send("text"), ReliableCode::ok);
        EXPECT_GT(syncs, before);
    }
}

TEST_F(ReliableFaults, SendersThatComeTogetherShareSyncs) {
    constexpr int each = 50;
    open();
    const int before = syncs;
    std::vector<std::thread> senders;
    senders.reserve(8);
    for (int i = 0; i < 8; ++i)
        senders.emplace_back([] {
            for (int k = 0; k < each; ++k) EXPECT_EQ(send("text"), ReliableCode::ok);
        });
    for (std::thread& sender : senders) sender.join();
    EXPECT_LT(syncs - before, 8 * each);
}

TEST_F(ReliableFaults, MessageThatCannotBeSyncedIsRefused) {
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    syncsFail = true;
    EXPECT_EQ(send("refused"), ReliableCode::storage);
    syncsFail = false;
    EXPECT_EQ(send("two"), ReliableCode::ok);
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_THAT(mailbox.texts(), testing::ElementsAre("one", "two"));
}

TEST_F(ReliableFaults, MessagesRefusedOnAFullDiskDoNotCountForTheLimit) {
    const FaultyDisk disk;
    open(3);
    ASSERT_EQ(send("one"), ReliableCode::ok);
    diskIsFull = true;
    for (int i = 0; i < 10; ++i) EXPECT_EQ(send("refused"), ReliableCode::storage);
    diskIsFull = false;
    EXPECT_EQ(send("two"), ReliableCode::ok);
    EXPECT_EQ(send("three"), ReliableCode::ok);
    EXPECT_EQ(send("four"), ReliableCode::full);
}

TEST_F(ReliableFaults, AllSendersAreToldOfAFullDisk) {
    const FaultyDisk disk;
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    diskIsFull = true;
    std::vector<std::thread> senders;
    senders.reserve(8);
    for (int i = 0; i < 8; ++i)
        senders.emplace_back([] {
            for (int k = 0; k < 20; ++k) {
                const frame::LogCapture log;
                EXPECT_EQ(send("refused"), ReliableCode::storage);
                EXPECT_EQ(log.records().size(), 1U);
            }
        });
    for (auto& sender : senders) sender.join();
    diskIsFull = false;
    EXPECT_EQ(send("two"), ReliableCode::ok);
    EXPECT_EQ(depth(), 2U);
}

TEST_F(ReliableFaults, WhatIsDeliveredWhileTheDiskIsFullIsWrittenLater) {
    const FaultyDisk disk;
    open();
    for (const char* text : {"one", "two", "three"}) ASSERT_EQ(send(text), ReliableCode::ok);
    diskIsFull = true;
    Mailbox mailbox;
    auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(3));
    subscription = {};
    EXPECT_EQ(send("refused"), ReliableCode::storage);
    EXPECT_EQ(depth(), 3U);
    diskIsFull = false;
    EXPECT_EQ(send("four"), ReliableCode::ok);
    close();
    EXPECT_EQ(depth(), 1U);
    open();
    subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(4));
    EXPECT_THAT(mailbox.texts(), testing::ElementsAre("one", "two", "three", "four"));
}

TEST_F(ReliableFaults, SettledOutboxHasWrittenWhatCameBeforeAndAfterTheDiskWasFull) {
    const FaultyDisk disk;
    frame::Outbox outbox({file(), 1000});
    for (const char* text : {"one", "two"}) ASSERT_EQ(outbox.append({someId, self, text}).code, ReliableCode::ok);
    diskIsFull = true;
    outbox.acknowledge(1);
    ASSERT_EQ(outbox.settle().code, ReliableCode::storage);
    outbox.acknowledge(2);
    diskIsFull = false;
    EXPECT_EQ(outbox.settle().code, ReliableCode::ok);
    EXPECT_EQ(outbox.unsettledSince(), std::nullopt);
    EXPECT_EQ(depth(), 0U);
}

TEST_F(ReliableFaults, NewOutboxOnAFullDiskIsRefusedAndMadeLater) {
    const FaultyDisk disk;
    diskIsFull = true;
    EXPECT_THROW(open(), std::runtime_error);
    diskIsFull = false;
    open();
    EXPECT_EQ(send("text"), ReliableCode::ok);
}

// Larger than what SQLite keeps in memory of a file, so that it must read again.
void sendMuch() {
    const std::string large(200'000, 'x');
    for (int i = 0; i < 40; ++i) ASSERT_EQ(send(large), ReliableCode::ok);
}

// Makes the outbox in a process that ends, as if it were killed, before write number `last`; whether it came so far.
bool endsBeforeWrite(int last, const std::string& file) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) {
        lastWrite = last;
        { const frame::Store store(file); }
        _exit(0);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child) throw std::runtime_error("cannot wait");
    return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

TEST_F(ReliableFaults, ProcessThatEndsWhileItMakesTheFileLeavesOneThatCanBeUsed) {
    const FaultyDisk disk;
    int last = 1;
    while (endsBeforeWrite(last, file())) {
        ASSERT_NO_THROW(open()) << last;
        EXPECT_EQ(send("text"), ReliableCode::ok) << last;
        close();
        for (const char* suffix : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(file() + suffix);
        ++last;
    }
    EXPECT_GT(last, 5);
}

TEST_F(ReliableFaults, DamageThatAReaderFindsLosesNothing) {
    const FaultyDisk disk;
    open();
    sendMuch();
    close();
    open();
    diskGarbles = true;
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(eventually([] { return somebodyReadGarble.load(); }));
    diskGarbles = false;
    ASSERT_EQ(send("last"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(41));
    const auto texts = mailbox.texts();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), std::string(200'000, 'x')), 40);
    EXPECT_EQ(texts.back(), "last");
}

TEST_F(ReliableFaults, DamageThatAWriterFindsIsToldAndLosesNothing) {
    const FaultyDisk disk;
    open();
    sendMuch();
    close();
    {
        frame::Outbox outbox({file(), 1000});
        for (std::int64_t seq = 1; seq <= 40; ++seq) outbox.acknowledge(seq);
        diskGarbles = true;
        const auto outcome = outbox.append({someId, self, "refused"});
        EXPECT_EQ(outcome.code, ReliableCode::storage);
        EXPECT_THAT(outcome.reason, testing::HasSubstr("malformed"));
        EXPECT_EQ(outbox.settle().code, ReliableCode::storage);
    }
    diskGarbles = false;
    EXPECT_EQ(depth(), 40U);
}

}  // namespace

}  // namespace reliable_test
