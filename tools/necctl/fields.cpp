#include "fields.h"

#include <algorithm>

#include "options.h"

namespace necctl {

std::string linesOf(const Fields& fields) {
    std::size_t width = 0;
    for (const auto& [name, value] : fields) width = std::max(width, name.size());
    std::string lines;
    for (const auto& [name, value] : fields)
        lines += name + std::string(width - name.size() + 2, ' ') + (value.empty() ? "-" : escaped(value)) + '\n';
    return lines;
}

}  // namespace necctl
