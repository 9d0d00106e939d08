#include "task/call.h"

#include <new>
#include <string>

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

CurrentTask::CurrentTask(TesuTask& task) {
    currentTask = &task;
}

CurrentTask::~CurrentTask() {
    currentTask = nullptr;
}

void logThrown(const TesuTask& task, const char* name) {
    LogProcess::Error(taskFailure, "task " + task.name() + ": " + name + " threw " + thrownText(),
                      {__FILE__, __func__, __LINE__});
}

void logOutOfMemory(const char* consequence) noexcept {
    try {
        LogProcess::Error(taskFailure, std::string("out of memory: ") + consequence, {__FILE__, __func__, __LINE__});
    } catch (const std::bad_alloc&) {  // nothing is left to be done
    }
}

}  // namespace frame
