#include "options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "log/escape.h"

namespace necctl {
namespace {

std::string_view variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// See https://no-color.org.
bool coloured() {
    const std::string_view terminal = variable("TERM");
    return variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb" && isatty(STDERR_FILENO) != 0;
}

}  // namespace

void Options::say(const std::string& text) const {
    if (!quiet) std::cerr << "necctl: " << text << '\n';
}

void addSharedOptions(CLI::App& app, Options& options) {
    app.fallthrough();
    app.add_option("--config", options.config, "Configuration file of the process")
        ->type_name("FILE")
        ->capture_default_str();
    app.add_option("--with-peers", options.withPeers,
                   "Host the stand-ins of nec-peers, with their data in FOLDER, for commands that ask other processes")
        ->type_name("FOLDER");
    app.add_flag("--json", options.json, "Write data as JSON");
    app.add_flag("--quiet", options.quiet, "Write no messages but errors");
    app.set_version_flag("--version", "necctl " NECCTL_VERSION, "Write the version and exit");
}

std::string escaped(std::string_view text) {
    std::string line;
    frame::appendEscaped(line, text);
    return line;
}

void sayError(const std::string& text) {
    std::cerr << "necctl: " << (coloured() ? "\033[31merror:\033[0m " : "error: ") << escaped(text) << '\n';
}

}  // namespace necctl
