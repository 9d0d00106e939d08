#include "ftpagent/directory.h"

#include <ace/Process.h>
#include <ace/Thread_Mutex.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>

#include "ftpagent/held.h"
#include "platform/log.h"

namespace NEC {

namespace {

// The raw wait status of the child, once it has ended.
int statusOf(pid_t child) {
    int status = -1;  // stays when the program lets the system reap its children: nothing is known then
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

}  // namespace

CDirectoryMgr* CDirectoryMgr::instance() {
    static std::atomic<CDirectoryMgr*> single{nullptr};
    static ACE_Thread_Mutex creating;
    if (single.load() == nullptr) {
        const Held held(creating, &ACE_Thread_Mutex::acquire);
        if (single.load() == nullptr) single.store(new CDirectoryMgr);
    }
    return single.load();
}

void CDirectoryMgr::CDDir(const std::string& path) {
    if (IsDirBuffered()) {
        FrameUtil::Trace("[CDirectoryMgr::CDDir] The path is exist in buffer, path = %s", path.c_str());
        return;
    }
    if (const int ret = CDAction(path); ret != 0)
        FrameUtil::Trace("[CDirectoryMgr::CDDir] cd directory failure, ret = %d, path = %s", ret, path.c_str());
    else
        AddDir(path);
}

int CDirectoryMgr::CDAction(const std::string& path) {
    constexpr std::size_t slack = 10;
    const std::string command = "cd " + path;
    FrameUtil::Trace("[CDirectoryMgr::CDAction] strCmd = %s", command.c_str());
    ACE_Process_Options options(true, command.size() + slack);
    options.command_line("%s", command.c_str());
    ACE_Process process;
    const pid_t child = process.spawn(options);
    if (child == -1) {
        FrameUtil::Trace("[CDirectoryMgr::CDAction] %s failed,  errcode=%d", command.c_str(), errno);
        return -1;
    }
    if (const int status = statusOf(child); status != 0) {
        FrameUtil::Trace("[CDirectoryMgr::CDAction] %s failed, status = %d", command.c_str(), status);
        return -1;
    }
    return 0;
}

void CDirectoryMgr::AddDir(const std::string& path) {
    const Held<ACE_RW_Mutex> held(lock_, &ACE_RW_Mutex::acquire_write);
    if (vecDirs.empty())
        vecDirs.push_back(path);
    else
        FrameUtil::Trace("[CDirectoryMgr::AddDir] Directory is exist, path = %s", path.c_str());
}

bool CDirectoryMgr::IsDirBuffered() {
    const Held<ACE_RW_Mutex> held(lock_, &ACE_RW_Mutex::acquire_read);
    return !vecDirs.empty();
}

}  // namespace NEC
