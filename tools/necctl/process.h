// Commands that act as a process of the management system.
#pragma once

#include <memory>

#include "options.h"
#include "platform/process.h"

namespace necctl {

// The process that --config describes, as far as a command needs it beside the one that may be running: without its
// log, its outbox and its event managers. Throws Failure.
std::unique_ptr<frame::Process> makeProcess(const Options& options);

// Nothing is logged from now on: commands say themselves what is wrong.
void silenceLog();

}  // namespace necctl
