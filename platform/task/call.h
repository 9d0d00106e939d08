// What a thread is doing for tasks.
#pragma once

#include <functional>

#include "platform/task.h"

namespace frame {

inline constexpr std::uint32_t taskFailure = 0xFFFFFFFF;

// Marks, for as long as a thread lives, that it is the one of `manager`.
void setManagerOfThread(const TaskManager& manager);
bool isThreadOf(const TaskManager& manager);

// Calls `operation` of `task`, which is the current task meanwhile. What leaves it is logged, with its `name`.
void callTask(TesuTask& task, const char* name, const std::function<void()>& operation);

}  // namespace frame
