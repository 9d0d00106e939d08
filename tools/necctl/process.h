// Commands that act as a process of the management system.
#pragma once

#include <memory>

#include "host.h"
#include "options.h"
#include "platform/process.h"

namespace necctl {

// The process that --config describes, as far as a command needs it beside the one that may be running: without its
// log, its outbox and its event managers; and the stand-ins, where --with-peers asks for them.
class OwnProcess {
public:
    // Throws Failure. `pnpDone` is for the hosted PnP client.
    explicit OwnProcess(const Options& options, peers::PnpClient::Done pnpDone = {});

    frame::BusEngine& bus() const { return process_->bus(); }
    // Whether its bus ends at this program.
    bool alone() const { return process_->localBus() != nullptr; }

private:
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<peers::Host> peers_;  // goes first: it may stand on the process's bus
};

// Nothing is logged from now on: commands say themselves what is wrong.
void silenceLog();

}  // namespace necctl
