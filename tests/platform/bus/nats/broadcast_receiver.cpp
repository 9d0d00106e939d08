// A process for tests that receives broadcasts: "broadcast_receiver URL TARGET" writes "ready", and then "got OCTETS"
// for each, until it is ended.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "platform/nats.h"

namespace {

void say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count != 3) return 2;
    frame::NatsOptions options;
    options.servers = {arguments[1]};
    const auto engine = frame::connectNats({3003, 9}, options);
    const auto receiving = engine->subscribeBroadcast(
        static_cast<std::uint16_t>(std::atoi(arguments[2])),
        [](const frame::BroadcastMessage& message) { say("got " + std::to_string(message.record.size())); });
    say("ready");
    pause();
    return 0;
}
