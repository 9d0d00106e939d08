// The commands, one group a file. Each adds its group to `app`; what it does runs when the command line is parsed, and
// throws Failure when it comes to nothing. `options` must outlive `app`.
#pragma once

#include "options.h"

namespace necctl {

void addRecordCommands(CLI::App& app, const Options& options);
void addConfigCommands(CLI::App& app, const Options& options);
void addBusCommands(CLI::App& app, const Options& options);
void addReliableCommands(CLI::App& app, const Options& options);
void addLocalIpCommands(CLI::App& app, const Options& options);
void addTrapCommands(CLI::App& app, const Options& options);
void addPnpCommands(CLI::App& app, const Options& options);
void addDbCommands(CLI::App& app, const Options& options);
void addFtpCommands(CLI::App& app, const Options& options);
// A part of it, added to its group.
void addFtpServiceCommand(CLI::App& ftp, const Options& options);
// The groups ne and mgr.
void addNeCommands(CLI::App& app, const Options& options);
void addListenCommand(CLI::App& app, const Options& options);

}  // namespace necctl
