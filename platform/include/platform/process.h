// What a server's `main` makes first: the process, with all that its configuration asks for.
#pragma once

#include <memory>
#include <string>

#include "platform/bus.h"
#include "platform/config.h"
#include "platform/export.h"

namespace frame {

// Opens the log and connects to the bus; makes synchronous messages, HTTP, the database and the task managers work, and
// opens the doors (`Instance()`) of the event managers and the reliable channel. When destroyed it breaks off requests,
// HTTP exchanges and command sends that wait, and then takes all down again, in reverse order. One at a time in a
// program, any number one after another.
class FRAME_API Process {
public:
    // From options in code. Throws std::logic_error when another process lives, std::invalid_argument for options out
    // of range, and std::runtime_error, which names the file, for a log or outbox that cannot be used.
    explicit Process(const Config& config);
    // From a configuration file. Throws what readConfig throws as well.
    explicit Process(const std::string& configFile);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    const Config& config() const;
    // This process's place on the bus.
    BusEngine& bus();
    // The embedded bus, for hosting further processes in this program; null with another engine.
    LocalBus* localBus();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
