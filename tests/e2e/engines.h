// The bus engines that whole programs are tried on.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/nats_server.h"

namespace e2e {

// One server for all tests of a program, which leave nothing on it that another one would meet.
inline const support::NatsServer& natsServer() {
    static const support::NatsServer server("", true);
    return server;
}

// What the configuration of a process on `engine` says of that.
inline std::string busOn(const std::string& engine) {
    return engine == "nats" ? "[bus]\nengine = \"nats\"\nservers = [\"" + natsServer().url() + "\"]\n" : "";
}

inline const auto engines = testing::Values("local", "nats");

inline std::string nameOfEngine(const testing::TestParamInfo<const char*>& info) {
    return info.param;
}

}  // namespace e2e
