// A process that is there to be killed: it sends numbers from FIRST on, for ever, through the outbox file OUTBOX, and
// says each number on standard output once its message was accepted; and it receives them into the file EFFECTS.
//
//     reliable_sender OUTBOX EFFECTS FIRST [URL]
//
// URL: of a NATS server that it is to use.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "effects.h"
#include "platform/nats.h"

namespace {

// One write, so that a number is said whole or not at all.
bool say(std::int64_t number) {
    const std::string line = std::to_string(number) + '\n';
    return write(STDOUT_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

std::unique_ptr<frame::BusEngine> overServer(const char* url) {
    frame::NatsOptions options;
    options.servers = {url};
    return frame::connectNats({3001, 7}, options);
}

int sendFrom(std::int64_t number) {
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    for (;; ++number) {
        if (const int code = proxy->Send(reliable_test::numberMessage, AsnOcts(std::to_string(number))); code != 0)
            return code;
        if (!say(number)) return 0;
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 4 && argc != 5) return 2;
    reliable_test::Effects effects(argv[2]);
    frame::LocalBus bus;
    const auto engine = argc == 4 ? bus.connect({3001, 7}) : overServer(argv[4]);
    const frame::ReliableChannel channel(*engine, {argv[1], 1'000'000});
    const auto subscription = NSTE_util::ReliableEventProxy::Instance()->Subscribe(
        reliable_test::numberMessage, [&effects](const auto& event) { return effects.handle(event); });
    return sendFrom(std::strtoll(argv[3], nullptr, 10));
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
