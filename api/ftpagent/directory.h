// Whether the root directory of a file transfer service can be entered: found out once, by running "cd".
#pragma once

#include <ace/RW_Thread_Mutex.h>

#include <string>
#include <vector>

namespace NEC {

// instance() is the one that the agent uses; others are for tests. All operations may be called from any thread, and
// throw std::bad_alloc.
class CDirectoryMgr {
public:
    static CDirectoryMgr* instance();

    CDirectoryMgr() = default;
    CDirectoryMgr(const CDirectoryMgr&) = delete;
    CDirectoryMgr& operator=(const CDirectoryMgr&) = delete;

    // Checks `path`, and remembers it when it passed; does nothing once any path has passed. Blocks while the command
    // runs.
    void CDDir(const std::string& path);
    // Runs the command "cd PATH", found on PATH, in a child process, and waits for it. No shell reads it: the path is
    // split at blanks as ACE_Process does it. 0 when it succeeded, -1 otherwise.
    int CDAction(const std::string& path);
    // Remembers `path`, unless another one is remembered already.
    void AddDir(const std::string& path);
    // Whether any path is remembered.
    bool IsDirBuffered();

private:
    std::vector<std::string> vecDirs;  // one at most
    ACE_RW_Thread_Mutex lock_;         // over vecDirs
};

}  // namespace NEC
