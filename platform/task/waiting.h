// The synchronous sends of one manager's tasks that wait for their answers.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/bus.h"

namespace frame {

class WaitingSends {
public:
    // Calls `send` and, when that gives ok, blocks until answer() is called with `id`, up to `timeoutSeconds` (less
    // than 1 counts as 1). `answer` is set when the result is ok. `down` once stopped; nothing when another send waits
    // with `id`.
    std::optional<RequestCode> exchange(std::uint16_t id, int timeoutSeconds, const std::function<RequestCode()>& send,
                                        Payload& answer);
    // False when no send waits with `id`, or it has its answer already.
    bool answer(std::uint16_t id, const Payload& answer);
    // All that wait, and all later ones, are `down`.
    void stop();

private:
    // Shared, so that it may be notified without the mutex while its thread wakes up by itself.
    struct Wait {
        std::condition_variable finished;
        std::optional<RequestCode> code;
        Payload answer;
    };

    std::optional<RequestCode> add(std::uint16_t id, const std::shared_ptr<Wait>& wait);
    RequestCode sendGuarded(std::uint16_t id, const std::function<RequestCode()>& send);

    std::mutex mutex_;
    std::unordered_map<std::uint16_t, std::shared_ptr<Wait>> waits_;
    bool stopped_ = false;
};

}  // namespace frame
