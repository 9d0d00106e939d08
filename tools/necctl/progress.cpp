#include "progress.h"

#include <unistd.h>

#include <iostream>

namespace necctl {

Progress::Progress(std::size_t total, const Options& options, Elsewhere elsewhere)
    : total_(total), options_(options), elsewhere_(elsewhere), terminal_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
    if (shown_ && terminal_) std::cerr << '\n';
}

void Progress::reach(std::size_t done) {
    constexpr std::size_t width = 40;
    const bool seen = terminal_ || elsewhere_ == Elsewhere::lines;
    if (options_.quiet || !seen || (done == total_ && !shown_)) return;
    shown_ = true;
    const std::string count = std::to_string(done) + " of " + std::to_string(total_);
    if (!terminal_) return options_.say(count);
    const std::size_t filled = width * done / total_;
    std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << count << std::flush;
}

}  // namespace necctl
