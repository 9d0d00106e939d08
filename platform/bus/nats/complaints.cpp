#include "bus/nats/complaints.h"

#include <algorithm>
#include <utility>

#include "bus/nats/logging.h"

namespace frame::nats {

bool Complaints::allowed(std::uint64_t& leftOut) {
    const std::lock_guard lock(mutex_);
    ++count_;
    const auto now = Clock::now();
    lines_ = std::min(burst, lines_ + std::chrono::duration<double>(now - std::exchange(filled_, now)).count());
    if (lines_ < 1) {
        ++leftOut_;
        return false;
    }
    lines_ -= 1;
    leftOut = std::exchange(leftOut_, 0);
    return true;
}

void Complaints::write(const std::string& text) {
    std::uint64_t leftOut = 0;
    if (!allowed(leftOut)) return;
    logError(leftOut == 0 ? text : text + " (" + std::to_string(leftOut) + " more like this were not logged)");
}

std::uint64_t Complaints::count() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

}  // namespace frame::nats
