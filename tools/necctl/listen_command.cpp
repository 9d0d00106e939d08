// necctl listen: what passes over the bus, as it passes.
#include <CLI/CLI.hpp>
#include <chrono>
#include <limits>
#include <new>
#include <optional>

#include "commands.h"
#include "failure.h"
#include "line_output.h"
#include "numbers.h"
#include "overheard.h"
#include "platform/config.h"
#include "process.h"
#include "signals.h"
#include "text/ipv4.h"

namespace necctl {
namespace {

using std::chrono::steady_clock;

// How often the state of the connection is looked at.
constexpr std::chrono::seconds glance{1};

struct Given {
    std::vector<std::string> kinds;
    std::vector<std::string> ids;
    std::vector<std::string> nes;
    std::optional<std::uint64_t> count;
    std::optional<std::uint32_t> seconds;
    std::size_t largest = std::size_t{16} << 20U;
};

Filter filterOf(const Given& given) {
    Filter filter;
    for (const std::string& text : given.ids) filter.ids.push_back(numberIn(text, "--id"));
    for (const std::string& text : given.nes) {
        if (frame::isDottedQuad(text))
            filter.neAddresses.push_back(text);
        else
            filter.neIds.push_back(numberIn(text, "--ne"));
    }
    return filter;
}

std::unique_ptr<frame::NatsEngine> connect(const Options& options) try {
    const frame::Config config = frame::readConfig(options.config);
    if (config.busEngine != "nats")
        throw Failure(unusable, options.config + ": bus.engine: \"" + config.busEngine +
                                    "\"; listen hears others only with \"nats\": the embedded bus ends at its program");
    // Without what a process has besides: it would take command messages that are for others of its type.
    return frame::connectNats({config.process.type, config.process.handle}, config.nats);
} catch (const std::runtime_error& error) {
    throw Failure(unusable, error.what());
} catch (const std::invalid_argument& error) {
    throw Failure(unusable, error.what());
}

// Writes what passes the filter, until there is enough.
class Listener {
public:
    Listener(const Given& given, bool json)
        : filter_(filterOf(given)),
          largest_(given.largest),
          left_(given.count.value_or(std::numeric_limits<std::uint64_t>::max())),
          write_(json ? &writeJson : &writeText) {}

    // One message at a time.
    void take(const frame::Overheard& message) try {
        if (left_ == 0) return;
        const Reading reading = read(message, largest_);
        if (!filter_.passes(reading)) return;
        write_(output_.stream(), reading);
        if (output_.stream().flush())
            --left_;
        else
            ++dropped_;
        if (left_ == 0 || (output_.refused() && dropped_ == 1)) peers::EndSignals::raise();
    } catch (const std::bad_alloc&) {
        ++dropped_;
    }
    void hurry() { output_.hurry(); }

    // Once it is not called any more.
    std::uint64_t left() const { return left_; }
    std::uint64_t dropped() const { return dropped_; }
    bool refused() const { return output_.refused(); }

private:
    const Filter filter_;
    const std::size_t largest_;
    std::uint64_t left_;
    void (*const write_)(std::ostream&, const Reading&);
    std::uint64_t dropped_ = 0;
    LineOutput output_{STDOUT_FILENO};
};

// Says when the connection changes: what passes meanwhile is not heard.
class Watch {
public:
    Watch(const frame::NatsEngine& bus, const Options& options) : bus_(bus), options_(options) {}

    void look() {
        const frame::NatsStatus status = bus_.status();
        if (status.lastError != lastError_) sayError("bus: " + status.lastError);
        if (status.state != state_ || status.reconnects != reconnects_)
            options_.say(std::string("the bus is ") + frame::toText(status.state) + again(status));
        lastError_ = status.lastError;
        state_ = status.state;
        reconnects_ = status.reconnects;
    }

private:
    std::string again(const frame::NatsStatus& status) const {
        const bool lost = status.reconnects != reconnects_ || status.state != frame::NatsStatus::State::connected;
        return lost ? "; what passed without a connection was not heard" : "";
    }

    const frame::NatsEngine& bus_;
    const Options& options_;
    frame::NatsStatus::State state_ = frame::NatsStatus::State::connected;
    std::uint64_t reconnects_ = 0;
    std::string lastError_;
};

void waitForEnd(const peers::EndSignals& signals, const Given& given, Watch& watch) {
    using Duration = steady_clock::duration;
    const auto begin = steady_clock::now();
    const Duration most = given.seconds ? Duration(std::chrono::seconds(*given.seconds)) : Duration::max();
    for (Duration gone{}; gone < most; gone = steady_clock::now() - begin) {
        watch.look();
        if (signals.wait(std::min<Duration>(glance, most - gone))) return;
    }
}

frame::OverhearOptions wanted(const Given& given) {
    frame::OverhearOptions wanted;
    if (!given.kinds.empty()) wanted.kinds.clear();
    for (const std::string& name : given.kinds) wanted.kinds.push_back(kindNamed(name));
    wanted.largest = given.largest;
    return wanted;
}

void report(const Given& given, const Listener& listener, std::uint64_t dropped) {
    if (listener.refused()) throw Failure(unusable, "standard output cannot be written");
    if (dropped != 0)
        throw Failure(wrongData, std::to_string(dropped) + " messages were dropped: more came than could be written");
    if (given.count && given.seconds && listener.left() != 0)
        throw Failure(wrongData, std::to_string(*given.count - listener.left()) + " of " +
                                     std::to_string(*given.count) + " messages were heard");
}

void listen(const Given& given, const Options& options) {
    if (!options.withPeers.empty()) throw Failure(wrongUsage, "--with-peers: listen hosts no stand-ins");
    Listener listener(given, options.json);
    silenceLog();
    const peers::EndSignals signals;
    const auto bus = connect(options);
    auto hearing =
        bus->overhear(wanted(given), [&listener](const frame::Overheard& message) { listener.take(message); });
    options.say("listening");
    Watch watch(*bus, options);
    waitForEnd(signals, given, watch);
    listener.hurry();
    hearing = {};
    report(given, listener, bus->status().dropped + listener.dropped());
}

}  // namespace

void addListenCommand(CLI::App& app, const Options& options) {
    CLI::App* command = app.add_subcommand(
        "listen", "Write what passes over the bus, one message a line, until SIGINT or SIGTERM; with bus.engine nats");
    const auto given = std::make_shared<Given>();
    command->add_option("--kind", given->kinds, "Only messages of this kind; may be repeated")
        ->type_name("KIND")
        ->check(CLI::IsMember(kindNames()))
        ->allow_extra_args(false);
    command->add_option("--id", given->ids, "Only messages with this identifier, as in 0x217006; may be repeated")
        ->type_name("N")
        ->allow_extra_args(false);
    command->add_option("--ne", given->nes, "Only messages that tell of this NE, by number or address; may be repeated")
        ->type_name("ID|ADDRESS")
        ->allow_extra_args(false);
    command->add_option("--count", given->count, "End after so many messages")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_option("--seconds", given->seconds, "End after this time; with --count, too few messages are an error")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_option("--largest", given->largest, "Larger records are told of, but neither fetched nor decoded")
        ->type_name("OCTETS")
        ->capture_default_str();
    command->callback([given, &options] { listen(*given, options); });
}

}  // namespace necctl
