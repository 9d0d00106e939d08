#include "task/call.h"

#include "bus/thrown.h"
#include "platform/log.h"

namespace {

constinit thread_local const frame::TaskManager* managerOfThread = nullptr;
constinit thread_local TesuTask* currentTask = nullptr;

}  // namespace

TesuTask* TesuGetCurrentTask() {
    return currentTask;
}

namespace frame {

void setManagerOfThread(const TaskManager& manager) {
    managerOfThread = &manager;
}

bool isThreadOf(const TaskManager& manager) {
    return managerOfThread == &manager;
}

void callTask(TesuTask& task, const char* name, const std::function<void()>& operation) {
    currentTask = &task;
    try {
        operation();
    } catch (...) {
        LogProcess::Error(taskFailure, "task " + task.name() + ": " + name + " threw " + thrownText(),
                          {__FILE__, __func__, __LINE__});
    }
    currentTask = nullptr;
}

}  // namespace frame
