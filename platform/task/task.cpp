// Tasks: their operations hand on to what the manager keeps of them.
#include "bus/door.h"
#include "task/manager.h"

TesuTask::TesuTask(TesuTaskMgr* manager, const char* name)
    : name_(name), state_(std::make_unique<frame::TaskState>(*this)) {
    if (const auto live = manager->door_->pin())
        manager_ = live->shared_from_this();
    else
        manager_ = std::make_shared<frame::TaskManager>(manager->number());
}

TesuTask::~TesuTask() {
    manager_->forget(*this);
}

void TesuTask::InitTaskCmdReqProcess(CmdMSG*) {}

void TesuTask::TesuTaskCmdRecv(CmdMSG*) {}

void TesuTask::TesuTaskCmdResp(TesuErrorCode, CmdMSG*) {}

void TesuTask::TesuTaskTimeOut(long) {}

long TesuTask::SetTaskTimeInterval(unsigned int ticks) {
    return manager_->startTimer(*this, ticks);
}

void TesuTask::DelTaskTimeInterval(long timer) {
    manager_->stopTimer(*this, timer);
}

void TesuTask::TesuSetTaskState(int state) {
    const auto manager = manager_;  // may have nobody else to hold on to it
    manager->setState(*this, state);
}

void TesuTask::FillCmdMsgHead(CmdMSG* message) const {
    manager_->fillHead(*message);
}

int TesuTask::TesuCmdSynSendCBEx(CmdMSG* message, CmdMSG*& answer, int timeoutSeconds) {
    answer = nullptr;
    answer = manager_->exchange(*this, frame::MessagePtr(message), timeoutSeconds).release();
    return answer != nullptr ? 1 : 0;
}

int TesuTask::TesuCmdAnswer(const CmdMSG& request, std::string_view payload) {
    return static_cast<int>(manager_->answer(request, payload));
}

TesuGnlTask::~TesuGnlTask() = default;

void TesuGnlTask::TesuTaskCmdRecv(CmdMSG* message) {
    HandleNoAsn1Msg(message);
}

void TesuGnlTask::TesuTaskCmdResp(TesuErrorCode, CmdMSG*) {}

void TesuGnlTask::TesuTaskTimeOut(long) {}

void TesuGnlTask::HandleNoAsn1Msg(TECmdMsg*) {}
