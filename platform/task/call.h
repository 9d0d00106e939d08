// What a thread is doing for tasks.
#pragma once

#include <cstdint>

#include "platform/task.h"

namespace frame {

inline constexpr std::uint32_t taskFailure = 0xFFFFFFFF;

// Marks, for as long as a thread lives, that it is the one of `manager`.
void setManagerOfThread(const TaskManager& manager);
bool isThreadOf(const TaskManager& manager);

// Makes `task` the one that runs on this thread, while this lives.
class CurrentTask {
public:
    explicit CurrentTask(TesuTask& task);
    ~CurrentTask();
    CurrentTask(const CurrentTask&) = delete;
    CurrentTask& operator=(const CurrentTask&) = delete;
};

// Logs the exception that has left the operation `name` of `task`; inside its handler.
void logThrown(const TesuTask& task, const char* name);
// Logs what became of it when there was no memory, if there is memory for that.
void logOutOfMemory(const char* consequence) noexcept;

// Calls `operation` of `task`, which is the current task meanwhile. What leaves it is logged, with its `name`.
template <class Operation>
void callTask(TesuTask& task, const char* name, const Operation& operation) {
    const CurrentTask current(task);
    try {
        operation();
    } catch (...) {
        logThrown(task, name);
    }
}

}  // namespace frame
