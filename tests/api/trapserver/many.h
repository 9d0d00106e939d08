// Calls with many assignments.
#pragma once

#include <list>
#include <string>

#include "nec/trapserver.h"
#include "platform/process.h"

namespace many {

// `count` addresses, each another one.
inline std::list<NEC::_NEIP2SERVERID> listOf(int count) {
    std::list<NEC::_NEIP2SERVERID> list;
    for (int i = 0; i < count; ++i) {
        const std::string address =
            "10." + std::to_string(i / 65536) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
        list.push_back({address, static_cast<short>(i % 1000)});
    }
    return list;
}

// Their addresses.
inline std::list<light_basic_string> addressesOf(const std::list<NEC::_NEIP2SERVERID>& assignments) {
    std::list<light_basic_string> addresses;
    for (const NEC::_NEIP2SERVERID& assignment : assignments) addresses.push_back(assignment.neIP);
    return addresses;
}

inline frame::Config quietConfig() {
    frame::Config config;
    config.process = {3005, 7, 0};
    config.log.level = frame::LogLevel::off;
    config.log.trace = false;
    return config;
}

}  // namespace many
