// nec-peers: working stand-ins of the processes that libnec talks to, for try-outs and integration tests.
#include <CLI/CLI.hpp>
#include <iostream>
#include <optional>

#include "host.h"
#include "platform/process.h"
#include "signals.h"

namespace {

enum ExitCode : int { success = 0, wrongUsage = 2, unusable = 3 };

constexpr const char* footer =
    "Writes a line for each address it answers at, and goes on until it gets SIGINT or SIGTERM.\n"
    "Exit codes:\n"
    "  0  ended by a signal\n"
    "  2  the command line is wrong\n"
    "  3  a file, the configuration or an address cannot be used\n";

struct Options {
    std::string config;
    std::string folder;
    peers::HttpServerOptions http;
};

void addOptions(CLI::App& app, Options& options) {
    app.footer(footer);
    app.add_option("FOLDER", options.folder, "Where the stand-ins have their data")->required()->type_name("FOLDER");
    app.add_option("--config", options.config, "Configuration file: joins the bus of that process")->type_name("FILE");
    app.add_option("--listen", options.http.address, "Address to listen at")->capture_default_str();
    app.add_option("--port", options.http.port, "Port of http; 0: any free one")->capture_default_str();
    CLI::Option* certificate =
        app.add_option("--certificate", options.http.certificateFile, "Certificate for https, PEM")->type_name("FILE");
    CLI::Option* key = app.add_option("--key", options.http.keyFile, "Its key, PEM")->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    app.add_option("--tls-port", options.http.tlsPort, "Port of https; 0: any free one")
        ->capture_default_str()
        ->needs(certificate);
    app.set_version_flag("--version", "nec-peers " NEC_PEERS_VERSION, "Write the version and exit");
}

void answerUntilSignalled(const Options& options) {
    const peers::EndSignals signals;
    std::optional<frame::Process> process;
    if (!options.config.empty()) process.emplace(options.config);
    peers::Host host(options.folder, options.http);
    if (process) host.join(*process);
    std::cout << "answering at " << host.http().url() << '\n';
    if (!host.http().tlsUrl().empty()) std::cout << "answering at " << host.http().tlsUrl() << '\n';
    std::cout << std::flush;
    signals.wait();
}

}  // namespace

int main(int argc, char** argv) try {
    Options options;
    CLI::App app("Working stand-ins of the processes that NEC server processes talk to.", "nec-peers");
    addOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        std::cerr << "nec-peers: error: " << error.what() << "; see nec-peers --help\n";
        return wrongUsage;
    }
    answerUntilSignalled(options);
    return success;
} catch (const std::exception& error) {
    std::cerr << "nec-peers: error: " << error.what() << '\n';
    return unusable;
}
