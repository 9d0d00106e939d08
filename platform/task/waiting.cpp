#include "task/waiting.h"

#include <algorithm>
#include <chrono>

namespace frame {

std::optional<RequestCode> WaitingSends::exchange(std::uint16_t id, int timeoutSeconds,
                                                  const std::function<RequestCode()>& send, Payload& answer) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(std::max(timeoutSeconds, 1));
    const auto wait = std::make_shared<Wait>();
    if (const auto added = add(id, wait); added != RequestCode::ok) return added;
    const RequestCode sent = sendGuarded(id, send);
    std::unique_lock lock(mutex_);
    if (sent == RequestCode::ok && !wait->finished.wait_until(lock, until, [&] { return wait->code.has_value(); }))
        wait->code = RequestCode::timedOut;
    waits_.erase(id);
    if (sent != RequestCode::ok) return sent;
    if (wait->code == RequestCode::ok) answer = std::move(wait->answer);
    return wait->code;
}

std::optional<RequestCode> WaitingSends::add(std::uint16_t id, const std::shared_ptr<Wait>& wait) {
    const std::lock_guard lock(mutex_);
    if (stopped_) return RequestCode::down;
    if (!waits_.try_emplace(id, wait).second) return std::nullopt;
    return RequestCode::ok;
}

// Nothing is left behind when `send` throws.
RequestCode WaitingSends::sendGuarded(std::uint16_t id, const std::function<RequestCode()>& send) {
    try {
        return send();
    } catch (...) {
        const std::lock_guard lock(mutex_);
        waits_.erase(id);
        throw;
    }
}

bool WaitingSends::answer(std::uint16_t id, const Payload& answer) {
    std::shared_ptr<Wait> wait;
    {
        const std::lock_guard lock(mutex_);
        const auto found = waits_.find(id);
        if (found == waits_.end() || found->second->code) return false;
        wait = found->second;
        wait->code = RequestCode::ok;
        wait->answer = answer;
    }
    wait->finished.notify_one();
    return true;
}

void WaitingSends::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    for (const auto& [id, wait] : waits_) {
        if (!wait->code) wait->code = RequestCode::down;
        wait->finished.notify_one();
    }
}

}  // namespace frame
