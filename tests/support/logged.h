// What a call logged, as texts to compare: "trace TEXT", "info FUNCTION TEXT", "error CODE FUNCTION TEXT".
#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/log.h"

namespace logged {

inline std::string line(const frame::LogRecord& record) {
    using Kind = frame::LogRecord::Kind;
    switch (record.kind) {
        case Kind::trace:
            return "trace " + record.text;
        case Kind::debug:
            return "debug " + record.function + ' ' + record.text;
        case Kind::info:
            return "info " + record.function + ' ' + record.text;
        case Kind::error:
            break;
    }
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "%X", record.code);
    return std::string("error ") + code.data() + ' ' + record.function + ' ' + record.text;
}

inline std::vector<std::string> lines(const frame::LogCapture& log) {
    std::vector<std::string> all;
    for (const frame::LogRecord& record : log.records()) all.push_back(line(record));
    return all;
}

}  // namespace logged
