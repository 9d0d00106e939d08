// necctl config: looking at configuration files.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "input.h"
#include "platform/config.h"

namespace necctl {
namespace {

void writeVerdict(const std::string& file, const std::string& error, const Options& options) {
    if (!options.json) {
        if (error.empty()) std::cout << file << ": ok\n";
        return;
    }
    Json::Value verdict;
    verdict["file"] = file;
    verdict["ok"] = error.empty();
    if (!error.empty()) verdict["error"] = error;
    std::cout << verdict << '\n';
}

void check(const std::string& file, const Options& options) {
    readFile(file);  // whether it can be read at all is another question than whether it is right
    std::string error;
    try {
        frame::readConfig(file);
    } catch (const frame::ConfigError& wrong) {
        error = wrong.what();
    }
    writeVerdict(file, error, options);
    if (!error.empty()) throw Failure(wrongData, error);
}

}  // namespace

void addConfigCommands(CLI::App& app, const Options& options) {
    const auto file = std::make_shared<std::string>();
    CLI::App* group = app.add_subcommand("config", "Configuration files")->require_subcommand(1);
    CLI::App* checking = group->add_subcommand("check", "Say whether a configuration file is right, or what is wrong");
    checking->add_option("FILE", *file, "Configuration file; that of --config when left out");
    checking->callback([file, &options] { check(file->empty() ? options.config : *file, options); });
}

}  // namespace necctl
