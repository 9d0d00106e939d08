// A process on a bus between programs, to which tests do harm. Its standard error is its log.
//
//     reliable_member send URLS HANDLE OUTBOX ACCEPTED FIRST [COUNT]
//     reliable_member receive URLS TYPE HANDLE OUTBOX EFFECTS
//
// URLS, separated by commas, are those of the servers. A sender, of type 3001, sends the numbers from FIRST on, for
// ever, or COUNT of them, and adds each to the file ACCEPTED once its message was accepted; then it stays. A receiver
// notes the numbers in EFFECTS.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "effects.h"
#include "platform/log.h"
#include "platform/nats.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr std::uint16_t senders = 3001;
// Shorter than in production, so that messages leave the outbox while the test runs.
constexpr std::chrono::seconds hold{30};
// A sender that does nothing else would bury the brokers under what it hands over again.
constexpr int pauseMilliseconds = 5;

std::uint16_t numberOf(const std::string& text) {
    return static_cast<std::uint16_t>(std::stoul(text));
}

std::unique_ptr<frame::NatsEngine> join(const std::string& urls, CProcID address) {
    frame::NatsOptions options;
    options.servers.clear();
    for (std::size_t begin = 0; begin < urls.size();) {
        const std::size_t end = std::min(urls.find(',', begin), urls.size());
        options.servers.push_back(urls.substr(begin, end - begin));
        begin = end + 1;
    }
    frame::openLog({}, address.procType, address.procHandle);
    return frame::connectNats(address, options);
}

frame::ReliableOptions outboxIn(const std::string& file) {
    frame::ReliableOptions options;
    options.file = file;
    options.hold = hold;
    return options;
}

// One write, so that a number is noted whole or not at all.
void note(int file, std::int64_t number) {
    const std::string line = std::to_string(number) + '\n';
    if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("cannot note what was accepted");
}

[[noreturn]] void stay() {
    for (;;) pause();
}

[[noreturn]] void send(const Arguments& arguments) {
    const auto engine = join(arguments[2], {senders, numberOf(arguments[3])});
    const frame::ReliableChannel channel(*engine, outboxIn(arguments[4]));
    const int accepted = open(arguments[5].c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::int64_t first = std::stoll(arguments[6]);
    const std::int64_t end =
        arguments.size() > 7 ? first + std::stoll(arguments[7]) : std::numeric_limits<std::int64_t>::max();
    auto* proxy = NSTE_util::ReliableEventProxy::Instance();
    for (std::int64_t number = first; number < end; ++number) {
        if (const int code = proxy->Send(reliable_test::numberMessage, AsnOcts(std::to_string(number))); code != 0)
            throw std::runtime_error("a message is not accepted, code " + std::to_string(code));
        note(accepted, number);
        poll(nullptr, 0, pauseMilliseconds);
    }
    stay();
}

[[noreturn]] void receive(const Arguments& arguments) {
    reliable_test::Effects effects(arguments[6]);
    const auto engine = join(arguments[2], {numberOf(arguments[3]), numberOf(arguments[4])});
    const frame::ReliableChannel channel(*engine, outboxIn(arguments[5]));
    const auto subscription = NSTE_util::ReliableEventProxy::Instance()->Subscribe(
        reliable_test::numberMessage, [&effects](const auto& event) { return effects.handle(event); });
    stay();
}

}  // namespace

int main(int argc, char** argv) try {
    const Arguments arguments(argv, argv + argc);
    if ((argc == 7 || argc == 8) && arguments[1] == "send") send(arguments);
    if (argc == 7 && arguments[1] == "receive") receive(arguments);
    return 2;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
