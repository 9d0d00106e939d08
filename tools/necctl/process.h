// Commands that act as a process of the management system.
#pragma once

#include <memory>

#include "host.h"
#include "options.h"
#include "platform/process.h"

namespace necctl {

// What a process has beside its place on the bus.
struct Services {
    bool events = false;    // the event managers
    bool reliable = false;  // the reliable channel, which lets go of what the bus has taken: nobody stays to watch it
    bool tasks = true;      // a task manager, which takes command messages that are for any process of its type
};

// The process that --config describes, as far as a command needs it beside the one that may be running: without its
// log, and without its outbox and its event managers unless asked for; and the stand-ins, where --with-peers asks for
// them.
class OwnProcess {
public:
    // Throws Failure. `pnpDone` is for the hosted PnP client.
    explicit OwnProcess(const Options& options, peers::PnpClient::Done pnpDone = {}, Services services = {});

    const frame::Config& config() const { return process_->config(); }
    frame::BusEngine& bus() const { return process_->bus(); }
    // Whether its bus ends at this program.
    bool alone() const { return process_->localBus() != nullptr; }

private:
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<peers::Host> peers_;  // goes first: it may stand on the process's bus
};

// The outbox that `config`, which stands in `file`, names. Throws Failure when there is none.
std::string requireOutbox(const frame::Config& config, const std::string& file);

// Nothing is logged from now on: commands say themselves what is wrong.
void silenceLog();

}  // namespace necctl
