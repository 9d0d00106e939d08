// The request identifiers of one manager's tasks.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

class TesuTask;

namespace frame {

// Not for several threads at once.
class Identifiers {
public:
    static constexpr std::uint16_t last = 0xFFFF;

    // The next one, 1 to 65535 and round again, that is not in use; 0 when none is free.
    std::uint16_t allocate(TesuTask& task) {
        if (owners_.size() == last) return 0;
        do {
            latest_ = latest_ == last ? std::uint16_t{1} : static_cast<std::uint16_t>(latest_ + 1);
        } while (owners_.contains(latest_));
        owners_.emplace(latest_, &task);
        return latest_;
    }
    void release(const std::vector<std::uint16_t>& ids) {
        for (const std::uint16_t id : ids) owners_.erase(id);
    }
    // Null when it is not in use.
    TesuTask* owner(std::uint16_t id) const {
        const auto found = owners_.find(id);
        return found == owners_.end() ? nullptr : found->second;
    }

private:
    std::unordered_map<std::uint16_t, TesuTask*> owners_;
    std::uint16_t latest_ = 0;
};

}  // namespace frame
