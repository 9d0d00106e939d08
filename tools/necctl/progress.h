// How far a long command is, on standard error.
#pragma once

#include <cstddef>

#include "options.h"

namespace necctl {

// A bar on a terminal; elsewhere a line for each step, or nothing where there are too many of them.
class Progress {
public:
    enum class Elsewhere { lines, nothing };

    // Of `total` things. Shows nothing with --quiet, or when all are done in one step.
    Progress(std::size_t total, const Options& options, Elsewhere elsewhere = Elsewhere::lines);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // So many are done now, in all.
    void reach(std::size_t done);

private:
    std::size_t total_;
    const Options& options_;
    Elsewhere elsewhere_;
    bool terminal_;
    bool shown_ = false;
};

}  // namespace necctl
