// Stopped managers with tasks that others are still to retire.
#pragma once

#include <memory>
#include <mutex>
#include <set>

namespace frame {

class TaskManager;

// Keeps them within reach. From any thread.
class Abandoned {
public:
    void insert(std::shared_ptr<TaskManager> manager) {
        const std::lock_guard lock(mutex_);
        managers_.insert(std::move(manager));
    }
    void erase(const std::shared_ptr<TaskManager>& manager) {
        const std::lock_guard lock(mutex_);
        managers_.erase(manager);
    }

private:
    std::mutex mutex_;
    std::set<std::shared_ptr<TaskManager>> managers_;
};

// The one of this program. Never destroyed: tasks may be retired while the program exits.
inline Abandoned& abandoned() {
    static auto& all = *new Abandoned;
    return all;
}

}  // namespace frame
