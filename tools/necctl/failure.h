// How necctl ends.
#pragma once

#include <stdexcept>
#include <string>

namespace necctl {

enum ExitCode : int {
    success = 0,
    wrongData = 1,   // the input is wrong, or the answer is no
    wrongUsage = 2,  // the command line is wrong
    unusable = 3,    // a file, the configuration, another process or standard output cannot be used
};

// Ends the command: the text goes to standard error.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace necctl
