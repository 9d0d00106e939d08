// Actions on the threads of task managers.
#pragma once

#include <functional>

#include "platform/task.h"

namespace support {

// Does `action` on its manager's thread, when it is inserted, and retires.
class Doing : public TesuGnlTask {
public:
    Doing(TesuTaskMgr* manager, std::function<void()> action)
        : TesuGnlTask(manager, "Doing"), action_(std::move(action)) {}
    void InitTaskCmdReqProcess(CmdMSG*) override {
        action_();
        TesuSetTaskState(taskRetired);
    }

private:
    std::function<void()> action_;
};

// On the process's task manager `number`. When it is done there, tasks that were retired before are deleted.
inline void doOn(unsigned char number, std::function<void()> action) {
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(number);
    manager->TMInitInsertTask(new Doing(manager, std::move(action)));
}

}  // namespace support
