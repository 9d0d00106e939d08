// The start-up notification outside of a task: one that is made for it, on its task manager's thread.
#pragma once

#include "platform/task.h"

namespace NEC {

// Waits for its timer, announces that the NE manager has started, and retires.
class NotifyNEMgrStartTask : public TesuGnlTask {
public:
    explicit NotifyNEMgrStartTask(TesuTaskMgr* manager);
    ~NotifyNEMgrStartTask() override;

    void TesuTaskTimeOut(long timer) override;
};

}  // namespace NEC
