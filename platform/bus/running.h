// What the current thread is inside of: so that ending a subscription inside its own handler does not wait for itself.
#pragma once

#include <cstddef>

namespace frame {

// Marks, while it lives, that this thread runs `what`. Lives on the stack.
class Running {
public:
    explicit Running(const void* what) : what_(what), outer_(innermost_) { innermost_ = this; }
    ~Running() { innermost_ = outer_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // How many times over this thread runs `what`.
    static std::size_t depth(const void* what) {
        std::size_t count = 0;
        for (const Running* running = innermost_; running != nullptr; running = running->outer_)
            if (running->what_ == what) ++count;
        return count;
    }

private:
    const void* what_;
    const Running* outer_;
    // In the initial TLS block, because every published event looks at it.
    static inline constinit thread_local const Running* innermost_ __attribute__((tls_model("initial-exec"))) = nullptr;
};

}  // namespace frame
