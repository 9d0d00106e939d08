// Why something does not work: each reason is told once until it works again, also where several take turns.
#pragma once

#include <cstddef>
#include <set>
#include <string>

namespace frame::nats {

class Reasons {
public:
    // Whether it is another one than all before.
    bool add(const std::string& reason) {
        if (reasons_.size() == most) reasons_.clear();
        return reasons_.insert(reason).second;
    }
    void clear() { reasons_.clear(); }

private:
    // Servers put texts of their own into them.
    static constexpr std::size_t most = 100;

    std::set<std::string> reasons_;
};

}  // namespace frame::nats
