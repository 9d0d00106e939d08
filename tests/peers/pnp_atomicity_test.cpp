// A plug-and-play file has its old contents or its new ones, whoever looks, writes beside or is killed; and nothing
// gets out of the folder while it changes under the writer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <thread>

#include "peers/pnp_sandbox.h"
#include "pnp_folder.h"

using peers::PnpFolder;
using pnp::pnpFile;
using pnp::PnpSandbox;
using support::contentOf;

namespace {

constexpr std::size_t size = 1U << 18;

std::string contents(int number) {
    return std::string(size, static_cast<char>('a' + number % 26));
}

bool isWhole(const std::string& contents) {
    return contents.size() == size && contents.find_first_not_of(contents[0]) == std::string::npos;
}

// Writes one file over and over, and a blank to `told` each time, until it is killed.
[[noreturn]] void writeForEver(const std::string& path, int told) {
    PnpFolder folder(path);
    for (int i = 0;; ++i)
        if (folder.write(pnpFile("file", contents(i))) || ::write(told, " ", 1) != 1) _exit(1);
}

// A process that does so.
class Writer {
public:
    explicit Writer(const std::string& path) {
        EXPECT_EQ(pipe(pipe_.data()), 0);
        pid_ = fork();
        if (pid_ != 0) return;
        close(pipe_[0]);
        alarm(60);
        writeForEver(path, pipe_[1]);
    }
    ~Writer() {
        close(pipe_[0]);
        close(pipe_[1]);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool hasWritten(int times) {
        close(std::exchange(pipe_[1], -1));
        for (char blank = 0; times > 0; --times)
            if (read(pipe_[0], &blank, 1) != 1) return false;
        return true;
    }
    void kill() const {
        ::kill(pid_, SIGKILL);
        EXPECT_EQ(waitpid(pid_, nullptr, 0), pid_);
    }

private:
    std::array<int, 2> pipe_{};
    pid_t pid_ = -1;
};

}  // namespace

TEST(PnpAtomicityTest, ReaderSeesOneOfTheContentsWhole) {
    const PnpSandbox sandbox;
    PnpFolder folder(sandbox.inside());
    ASSERT_EQ(folder.write(pnpFile("file", contents(0))), std::nullopt);
    std::atomic<bool> ended = false;
    std::thread reader([&] {
        do EXPECT_TRUE(isWhole(contentOf(sandbox.inside("file"))));
        while (!ended);
    });
    for (int i = 0; i < 100; ++i) EXPECT_EQ(folder.write(pnpFile("file", contents(i))), std::nullopt);
    ended = true;
    reader.join();
}

TEST(PnpAtomicityTest, WritersOfTheSameFileDoNotDisturbEachOther) {
    const PnpSandbox sandbox;
    const auto writeMany = [&sandbox] {
        PnpFolder folder(sandbox.inside());
        for (int i = 0; i < 100; ++i) EXPECT_EQ(folder.write(pnpFile("sub/file", contents(i))), std::nullopt);
    };
    std::array<std::thread, 3> writers{std::thread(writeMany), std::thread(writeMany), std::thread(writeMany)};
    for (std::thread& writer : writers) writer.join();
    EXPECT_TRUE(isWhole(contentOf(sandbox.inside("sub/file"))));
    std::filesystem::remove(sandbox.inside("sub/file"));
    EXPECT_EQ(pnp::listed(sandbox.inside()), "sub\n");
}

TEST(PnpAtomicityTest, FileOfAKilledWriterIsWholeAndWhatItLeftIsRemovedByTheNext) {
    const PnpSandbox sandbox;
    for (int times = 1; times <= 20; ++times) {
        Writer writer(sandbox.inside());
        EXPECT_TRUE(writer.hasWritten(times));
        writer.kill();
        EXPECT_TRUE(isWhole(contentOf(sandbox.inside("file"))));
    }
    EXPECT_EQ(PnpFolder(sandbox.inside()).write(pnpFile("file", "last")), std::nullopt);
    EXPECT_EQ(pnp::listed(sandbox.inside()), "file: last\n");
}

TEST(PnpAtomicityTest, FolderThatTurnsIntoALinkAgainAndAgainLeadsNobodyOut) {
    const PnpSandbox sandbox(pnp::memoryFolder());
    PnpFolder folder(sandbox.inside());
    std::filesystem::create_directory(sandbox.inside("sub"));
    std::filesystem::create_symlink("../outside", sandbox.inside("link"));
    std::atomic<bool> ended = false;
    std::thread swapper([&] {
        do
            EXPECT_EQ(renameat2(AT_FDCWD, sandbox.inside("sub").c_str(), AT_FDCWD, sandbox.inside("link").c_str(),
                                RENAME_EXCHANGE),
                      0);
        while (!ended);
    });
    for (int i = 0; i < 2000; ++i) {
        const std::string name = i % 2 == 0 ? "sub/file" : "sub/new";
        EXPECT_EQ(folder.write(pnpFile(name, "new")).value_or("\"sub\" is in the way: it is no folder"),
                  "\"sub\" is in the way: it is no folder");
    }
    ended = true;
    swapper.join();
    EXPECT_TRUE(sandbox.isIntact());
}
