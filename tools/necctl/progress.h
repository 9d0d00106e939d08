// How far a long command is, on standard error: a bar on a terminal, a line for each step elsewhere.
#pragma once

#include <cstddef>

#include "options.h"

namespace necctl {

class Progress {
public:
    // Of `total` things. Shows nothing with --quiet, or when all are done in one step.
    Progress(std::size_t total, const Options& options);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // So many are done now, in all.
    void reach(std::size_t done);

private:
    std::size_t total_;
    const Options& options_;
    bool terminal_;
    bool shown_ = false;
};

}  // namespace necctl
