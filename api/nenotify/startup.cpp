#include "nec/nenotify.h"
#include "nec/records.h"
#include "nenotify/startup_task.h"
#include "platform/event.h"
#include "support/task_manager.h"

namespace NEC {

namespace {

constexpr unsigned long neMgrStartedEvent = 0x217005;
constexpr int managerMissing = 1;

int raiseStarted() {
    asn_frame::AsnFrameProcID self;
    self.procType = static_cast<std::int32_t>(TesuGetProcId() & 0xFFFF);
    self.procHandle = static_cast<std::int32_t>(TesuGetProcHandle() & 0xFFFF);
    TEEventMgr* classic = TEEventMgr::Instance();
    if (classic == nullptr) return managerMissing;
    TEEventMgrEx* extended = TEEventMgrEx::Instance();
    if (extended == nullptr) return managerMissing;
    classic->RaiseEvent(neMgrStartedEvent, 0, new TEEventParam);
    return extended->RaiseEvent(neMgrStartedEvent, 0, new TEAsnEventParam(self));
}

}  // namespace

NotifyNEMgrStartTask::NotifyNEMgrStartTask(TesuTaskMgr* manager) : TesuGnlTask(manager, "NotifyNEMgrStartTask") {}

NotifyNEMgrStartTask::~NotifyNEMgrStartTask() = default;

void NotifyNEMgrStartTask::TesuTaskTimeOut(long timer) {
    const RetiredAtEnd retired(this);
    DelTaskTimeInterval(timer);
    raiseStarted();
}

void NotifyNEMgrSvrStartup() {
    if (TesuGetCurrentTask() != nullptr) {
        raiseStarted();
        return;
    }
    TesuTaskMgr* manager = firstTaskMgr().manager;
    if (manager == nullptr) return;
    auto task = std::make_unique<NotifyNEMgrStartTask>(manager);
    task->SetTaskTimeInterval(1);
    manager->AllocReqID(task.get());
    manager->TMInitInsertTask(task.release());
}

}  // namespace NEC
