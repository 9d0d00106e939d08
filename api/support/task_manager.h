// The task manager that work of libnec runs on, and how tasks of its own go from it.
#pragma once

#include <memory>

#include "platform/task.h"

namespace NEC {

// The first of the process's task managers, by their numbers, and its number; null when it has none.
struct NumberedTaskMgr {
    TesuTaskMgr* manager = nullptr;
    unsigned char number = 0;
};

inline NumberedTaskMgr firstTaskMgr() {
    constexpr unsigned managerCount = 256;
    for (unsigned number = 0; number < managerCount; ++number) {
        const auto id = static_cast<unsigned char>(number);
        if (TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(id)) return {manager, id};
    }
    return {};
}

// Retires an inserted task when it goes.
struct Retire {
    void operator()(TesuTask* task) const { task->TesuSetTaskState(taskRetired); }
};
using RetiredAtEnd = std::unique_ptr<TesuTask, Retire>;

}  // namespace NEC
