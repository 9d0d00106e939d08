// The directory manager where no child process can be started: a program of its own, as its fork always fails.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>

#include "ftpagent/directory.h"
#include "support/logged.h"

// The one that ACE calls: what a program exports comes before what libraries do.
extern "C" [[gnu::visibility("default")]] pid_t fork() noexcept {
    errno = EAGAIN;
    return -1;
}

namespace {

using NEC::CDirectoryMgr;
using testing::ElementsAre;

TEST(DirectoryManagerWithoutChildren, CommandThatCannotBeStartedIsReportedWithItsError) {
    CDirectoryMgr manager;
    const frame::LogCapture log;
    EXPECT_EQ(manager.CDAction("/a b"), -1);
    EXPECT_THAT(logged::lines(log),
                ElementsAre("trace [CDirectoryMgr::CDAction] strCmd = cd /a b",
                            "trace [CDirectoryMgr::CDAction] cd /a b failed,  errcode=" + std::to_string(EAGAIN)));
}

TEST(DirectoryManagerWithoutChildren, PathIsNotRememberedAndTheNextIsTried) {
    CDirectoryMgr manager;
    for (const std::string path : {"/a", "/b"}) {
        const frame::LogCapture log;
        manager.CDDir(path);
        EXPECT_THAT(
            logged::lines(log),
            ElementsAre("trace [CDirectoryMgr::CDAction] strCmd = cd " + path,
                        "trace [CDirectoryMgr::CDAction] cd " + path + " failed,  errcode=" + std::to_string(EAGAIN),
                        "trace [CDirectoryMgr::CDDir] cd directory failure, ret = -1, path = " + path));
        EXPECT_FALSE(manager.IsDirBuffered());
    }
}

}  // namespace
