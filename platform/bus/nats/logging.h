// The engine's records in the log.
#pragma once

#include <string>

#include "platform/log.h"

namespace frame::nats {

inline constexpr std::uint32_t busError = 0xFFFFFFFF;

inline void logError(const std::string& text) {
    LogProcess::Error(busError, "bus: " + text, {__FILE__, "nats", __LINE__});
}

inline void logInfo(const std::string& text) {
    LogProcess::Info("bus: " + text, {__FILE__, "nats", __LINE__});
}

}  // namespace frame::nats
