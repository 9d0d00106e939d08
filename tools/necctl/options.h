// The options that every command knows, and what commands say to people.
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace necctl {

struct Options {
    std::string config = "nec.toml";
    std::string withPeers;  // the folder of the stand-ins to host; empty: none
    bool json = false;
    bool quiet = false;

    // A message on standard error, unless --quiet.
    void say(const std::string& text) const;
};

// Adds the shared options to `app`; they may also stand behind a command that is added later.
void addSharedOptions(CLI::App& app, Options& options);

// `text` in one line: what others wrote must not steer a terminal.
std::string escaped(std::string_view text);

// What went wrong, in one line on standard error.
void sayError(const std::string& text);

}  // namespace necctl
