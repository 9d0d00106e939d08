// necctl: the library and its platform by hand.
#include <CLI/CLI.hpp>
#include <iostream>
#include <new>

#include "commands.h"
#include "failure.h"

namespace {

constexpr const char* footer =
    "The options of necctl itself may stand before or behind a command.\n"
    "Data goes to standard output, messages to standard error.\n"
    "Exit codes:\n"
    "  0  done; the answer is yes\n"
    "  1  the input is wrong, or the answer is no\n"
    "  2  the command line is wrong\n"
    "  3  a file, the configuration, another process or standard output cannot be used\n";

int run(int argc, char** argv) {
    necctl::Options options;
    CLI::App app("Asks and looks into what NEC server processes do and leave behind.", "necctl");
    app.footer(footer);
    app.require_subcommand(1);
    necctl::addSharedOptions(app, options);
    necctl::addRecordCommands(app, options);
    necctl::addConfigCommands(app, options);
    necctl::addBusCommands(app, options);
    necctl::addReliableCommands(app, options);
    necctl::addLocalIpCommands(app, options);
    necctl::addTrapCommands(app, options);
    necctl::addPnpCommands(app, options);
    necctl::addDbCommands(app, options);
    necctl::addFtpCommands(app, options);
    necctl::addNeCommands(app, options);
    necctl::addListenCommand(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        throw necctl::Failure(necctl::wrongUsage, std::string(error.what()) + "; see necctl --help");
    }
    if (!std::cout.flush()) throw necctl::Failure(necctl::unusable, "standard output cannot be written");
    return necctl::success;
}

}  // namespace

int main(int argc, char** argv) try { return run(argc, argv); } catch (const necctl::Failure& failure) {
    std::cout.flush();
    necctl::sayError(failure.what());
    return failure.code();
} catch (const std::bad_alloc&) {
    necctl::sayError("out of memory");
    return necctl::unusable;
}
