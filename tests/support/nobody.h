// Tests of what lacks permission, also when root runs them.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace support {

// While it lives, the program has the rights of nobody, who owns nothing, if it has those of root. Folders that root
// makes for tests let nobody in only when their mode says so.
class Nobody {
public:
    Nobody() {
        if (root_ && seteuid(65534) != 0) throw std::runtime_error("cannot become nobody");
    }
    ~Nobody() {
        if (root_ && seteuid(0) != 0) std::abort();
    }
    Nobody(const Nobody&) = delete;
    Nobody& operator=(const Nobody&) = delete;

private:
    const bool root_ = geteuid() == 0;
};

}  // namespace support
