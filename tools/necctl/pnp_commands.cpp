// necctl pnp: plug-and-play files, sent to every client, and received as one.
#include <CLI/CLI.hpp>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "pnp_broadcast.h"
#include "pnp_files.h"
#include "pnp_package.h"
#include "process.h"
#include "signals.h"

namespace necctl {
namespace {

struct Broadcast {
    std::vector<std::string> paths;
    bool dryRun = false;
};

struct Receive {
    std::string directory;
    std::size_t count = peers::PnpClient::unlimited;
};

void broadcast(const Broadcast& given, const Options& options) {
    const auto files = pnpFiles(given.paths, options);
    given.dryRun ? tryPnp(files, options) : broadcastPnp(files, options);
}

void write(const peers::PnpPackage& package, const Options& options) {
    static const Json::StreamWriterBuilder inOneLine = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        return builder;
    }();
    std::cout << (options.json ? Json::writeString(inOneLine, jsonOf(package)) + '\n' : textOf(package)) << std::flush;
}

void receive(const Receive& given, const Options& options) try {
    const peers::EndSignals signals;
    const OwnProcess process(options);
    std::size_t taken = 0;  // on the client's thread alone
    const auto take = [&](const peers::PnpPackage& package) {
        write(package, options);
        if (++taken == given.count) peers::EndSignals::raise();
    };
    const peers::PnpClient client(process.bus(), given.directory, take, given.count);
    if (process.alone()) options.say("the embedded bus stays inside this program: others' broadcasts are not heard");
    options.say("listening; files go to " + escaped(given.directory));
    signals.wait();
} catch (const std::runtime_error& error) {
    throw Failure(unusable, error.what());
}

}  // namespace

void addPnpCommands(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("pnp", "Plug-and-play files for clients")->require_subcommand(1);
    CLI::App* sending = group->add_subcommand("broadcast", "Send files to every client, all or none");
    const auto toSend = std::make_shared<Broadcast>();
    sending->add_option("PATH", toSend->paths, pnpFilesHelp)->required()->type_name("FILE|DIRECTORY");
    sending->add_flag("--dry-run", toSend->dryRun,
                      "Send nothing; write what clients would get: names, sizes, and what would abort the broadcast");
    sending->callback([toSend, &options] { broadcast(*toSend, options); });

    CLI::App* receiving =
        group->add_subcommand("receive", "Write the files that are broadcast, as a client, until SIGINT or SIGTERM");
    const auto toReceive = std::make_shared<Receive>();
    receiving->add_option("DIRECTORY", toReceive->directory, "Where they go; nothing is written outside of it")
        ->required();
    receiving->add_option("--count", toReceive->count, "End after so many packages")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    receiving->callback([toReceive, &options] { receive(*toReceive, options); });
}

}  // namespace necctl
