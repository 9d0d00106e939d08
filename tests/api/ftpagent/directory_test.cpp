// The directory manager, with and without a program "cd" on PATH.
#include "ftpagent/directory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <latch>
#include <thread>

#include "ftpagent/held.h"
#include "support/environment.h"
#include "support/folder.h"
#include "support/logged.h"
#include "support/mailbox.h"

namespace {

using NEC::CDirectoryMgr;
using testing::ElementsAre;

// A program "cd" as others have it: it ends with 0 when the directory can be entered. It writes down its arguments.
const std::string realCd = "#!/bin/sh\nfor argument; do echo \"<$argument>\"; done >>\"$CD_SEEN\"\ncd \"$@\"\n";

using Lines = std::vector<std::string>;
constexpr int threadCount = 8;

// A named pipe of empty lines, open at both ends: who else opens it need not wait. Started programs do not inherit it.
class Pipe {
public:
    explicit Pipe(const std::string& name) {
        if (mkfifo(name.c_str(), 0600) == -1) throw std::runtime_error("cannot make " + name);
        handle_ = open(name.c_str(), O_RDWR | O_CLOEXEC);
        if (handle_ == -1) throw std::runtime_error("cannot open " + name);
    }
    ~Pipe() { close(handle_); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    // False when so many lines do not come in time.
    [[nodiscard]] bool receives(int lines) const {
        for (int i = 0; i < lines; ++i) {
            constexpr int timeout = 30'000;
            pollfd waiting{handle_, POLLIN, 0};
            char octet = 0;
            if (poll(&waiting, 1, timeout) != 1 || read(handle_, &octet, 1) != 1) return false;
        }
        return true;
    }
    [[nodiscard]] bool sends(int lines) const {
        const std::string text(static_cast<std::size_t>(lines), '\n');
        return write(handle_, text.data(), text.size()) == lines;
    }

private:
    int handle_ = -1;
};

class DirectoryManager : public testing::Test {
protected:
    DirectoryManager() { std::filesystem::create_directory(folder_.file("bin")); }

    void haveCd(const std::string& program = realCd) const {
        ASSERT_EQ(chmod(folder_.write("bin/cd", program).c_str(), 0700), 0);
    }
    // The arguments that "cd" was run with so far.
    std::string seen() const {
        return std::filesystem::exists(folder_.file("seen")) ? support::contentOf(folder_.file("seen")) : "";
    }
    std::string directory(const std::string& name) const {
        std::filesystem::create_directory(folder_.file(name));
        return folder_.file(name);
    }
    // What checking `path` logs.
    Lines check(const std::string& path) {
        const frame::LogCapture log;
        manager_.CDDir(path);
        return logged::lines(log);
    }

    support::Folder folder_;
    support::Variable path_{"PATH", folder_.file("bin")};
    support::Variable seen_{"CD_SEEN", folder_.file("seen")};
    CDirectoryMgr manager_;
};

TEST_F(DirectoryManager, IsOneForTheWholeProgram) {
    EXPECT_EQ(CDirectoryMgr::instance(), CDirectoryMgr::instance());
    EXPECT_NE(CDirectoryMgr::instance(), nullptr);
}

TEST_F(DirectoryManager, PathThatPassesIsRememberedAndNoOtherIsChecked) {
    haveCd();
    const std::string a = directory("a");
    EXPECT_THAT(check(a), ElementsAre("trace [CDirectoryMgr::CDAction] strCmd = cd " + a));
    EXPECT_TRUE(manager_.IsDirBuffered());
    for (const std::string& path : {folder_.file("b"), a})
        EXPECT_THAT(check(path),
                    ElementsAre("trace [CDirectoryMgr::CDDir] The path is exist in buffer, path = " + path));
    EXPECT_EQ(seen(), "<" + a + ">\n");
}

TEST_F(DirectoryManager, PathThatFailsIsNotRememberedAndTheNextIsChecked) {
    haveCd();
    const std::string missing = folder_.file("missing");
    const std::string a = directory("a");
    EXPECT_THAT(check(missing),
                ElementsAre("trace [CDirectoryMgr::CDAction] strCmd = cd " + missing,
                            "trace [CDirectoryMgr::CDAction] cd " + missing + " failed, status = 512",
                            "trace [CDirectoryMgr::CDDir] cd directory failure, ret = -1, path = " + missing));
    EXPECT_FALSE(manager_.IsDirBuffered());
    check(a);
    EXPECT_TRUE(manager_.IsDirBuffered());
    EXPECT_EQ(seen(), "<" + missing + ">\n<" + a + ">\n");
}

TEST_F(DirectoryManager, WithoutAProgramEveryCheckRunsAndFails) {
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(check("/"),
                    ElementsAre("trace [CDirectoryMgr::CDAction] strCmd = cd /",
                                "trace [CDirectoryMgr::CDAction] cd / failed, status = " + std::to_string(ENOENT << 8),
                                "trace [CDirectoryMgr::CDDir] cd directory failure, ret = -1, path = /"));
    EXPECT_FALSE(manager_.IsDirBuffered());
}

TEST_F(DirectoryManager, StatusIsToldAsTheSystemGivesIt) {
    haveCd("#!/bin/sh\nkill -TERM $$\n");
    const frame::LogCapture log;
    EXPECT_EQ(manager_.CDAction("/"), -1);
    EXPECT_EQ(logged::lines(log).back(),
              "trace [CDirectoryMgr::CDAction] cd / failed, status = " + std::to_string(SIGTERM));
}

TEST_F(DirectoryManager, WorkingDirectoryStaysWhatItWas) {
    haveCd();
    const auto before = std::filesystem::current_path();
    EXPECT_EQ(manager_.CDAction(directory("a")), 0);
    EXPECT_EQ(std::filesystem::current_path(), before);
}

TEST_F(DirectoryManager, PathWithBlanksIsSplitAsItIsNotQuoted) {
    haveCd();
    manager_.CDAction("/one two  three");
    EXPECT_EQ(seen(), "</one>\n<two>\n<three>\n");
}

TEST_F(DirectoryManager, NothingInAPathIsRunOrReadAsAFormat) {
    haveCd();
    const std::string touch = folder_.file("touched");
    for (const std::string& path :
         {"/;touch " + touch, "/$(touch " + touch + ")", "/`touch " + touch + "`", "/|touch " + touch,
          "/\ntouch " + touch, "/&&touch " + touch, std::string("%s%n%d%99999s"), std::string("'"), std::string("\""),
          std::string("\"'\"'"), std::string("\\"), std::string("\t\t"), std::string("$HOME"), std::string("*"),
          std::string("-e"), std::string()}) {
        const frame::LogCapture log;
        manager_.CDAction(path);
        EXPECT_EQ(logged::lines(log).front(), "trace [CDirectoryMgr::CDAction] strCmd = cd " + path);
        EXPECT_FALSE(std::filesystem::exists(touch)) << path;
    }
    EXPECT_THAT(seen(), testing::HasSubstr("<%s%n%d%99999s>\n"));
    EXPECT_THAT(seen(), testing::HasSubstr("<$HOME>\n<*>\n<-e>\n"));
}

TEST_F(DirectoryManager, LongPathsAndManyWordsDoNoHarm) {
    EXPECT_EQ(manager_.CDAction(std::string(100'000, 'x')), -1);
    std::string words;
    for (int i = 0; i < 1000; ++i) words += "w ";
    haveCd();
    manager_.CDAction(words);
    EXPECT_EQ(manager_.CDAction(directory("a")), 0);
}

TEST_F(DirectoryManager, ProgramWhoseChildrenTheSystemReapsKnowsNothingAndFails) {
    haveCd();
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const int result = manager_.CDAction(directory("a"));
    std::signal(SIGCHLD, before);
    EXPECT_EQ(result, -1);
}

TEST_F(DirectoryManager, SecondPathThatIsAddedIsOnlyLogged) {
    manager_.AddDir("/a");
    const frame::LogCapture log;
    manager_.AddDir("/b");
    EXPECT_THAT(logged::lines(log), ElementsAre("trace [CDirectoryMgr::AddDir] Directory is exist, path = /b"));
    EXPECT_TRUE(manager_.IsDirBuffered());
}

// What checking `path` on many threads at once logs on each of them. `meanwhile` runs once they are started.
std::vector<Lines> checkAtOnce(
    const std::string& path, const std::function<CDirectoryMgr&()>& manager,
    const std::function<void()>& meanwhile = [] {}) {
    std::vector<Lines> logs(threadCount);
    std::latch start(threadCount);
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (Lines& lines : logs)
        threads.emplace_back([&] {
            const frame::LogCapture log;
            start.arrive_and_wait();
            manager().CDDir(path);
            lines = logged::lines(log);
        });
    meanwhile();
    for (std::thread& thread : threads) thread.join();
    return logs;
}

TEST_F(DirectoryManager, OfThreadsThatCheckAtOnceOneRemembersAndAllOthersOnlyLog) {
    haveCd("#!/bin/sh\necho >\"$CD_STARTED\"\nread line <\"$CD_MAY_END\"\n");
    const Pipe started(folder_.file("started"));
    const Pipe mayEnd(folder_.file("may end"));
    const support::Variable startedName("CD_STARTED", folder_.file("started"));
    const support::Variable mayEndName("CD_MAY_END", folder_.file("may end"));
    const std::vector<Lines> logs = checkAtOnce(
        "/a", [this]() -> CDirectoryMgr& { return manager_; },
        [&] {
            EXPECT_TRUE(started.receives(threadCount));
            EXPECT_FALSE(manager_.IsDirBuffered());
            EXPECT_TRUE(mayEnd.sends(threadCount));
        });
    const std::string command = "trace [CDirectoryMgr::CDAction] strCmd = cd /a";
    const std::string second = "trace [CDirectoryMgr::AddDir] Directory is exist, path = /a";
    EXPECT_EQ(std::count(logs.begin(), logs.end(), Lines{command}), 1);
    EXPECT_EQ(std::count(logs.begin(), logs.end(), Lines{command, second}), threadCount - 1);
    EXPECT_TRUE(manager_.IsDirBuffered());
}

TEST_F(DirectoryManager, ThatOfTheProgramIsOneForThreadsThatFirstCheckAtOnce) {
    haveCd();
    support::Mailbox<CDirectoryMgr*> seenOnes;
    checkAtOnce(directory("a"), [&]() -> CDirectoryMgr& {
        seenOnes.put(CDirectoryMgr::instance());
        return *CDirectoryMgr::instance();
    });
    for (int i = 0; i < threadCount; ++i) EXPECT_EQ(seenOnes.take(), CDirectoryMgr::instance());
    EXPECT_TRUE(CDirectoryMgr::instance()->IsDirBuffered());
}

// A lock whose operations fail.
class RefusingLock {
public:
    int acquire() {
        errno = EAGAIN;
        return result;
    }
    int release() {
        ++released;
        errno = EPERM;
        return -1;
    }
    int result = -1;
    int released = 0;
};

TEST(HeldLock, ThatCannotBeTakenIsNotReleasedAndItsErrorStays) {
    RefusingLock lock;
    { const NEC::Held held(lock, &RefusingLock::acquire); }
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(lock.released, 0);
}

TEST(HeldLock, ThatWasTakenIsReleasedOnceAndAFailureStaysInErrno) {
    RefusingLock lock;
    lock.result = 0;
    { const NEC::Held held(lock, &RefusingLock::acquire); }
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(lock.released, 1);
}

}  // namespace
