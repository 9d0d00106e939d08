// What connections to a NATS server take of the memory of their process, and of the server's.
#include <fstream>
#include <vector>

#include "bench.h"
#include "nats_sides.h"
#include "support/nats_server.h"

namespace bench {

namespace {

constexpr unsigned long someId = 0x217006;
constexpr std::uint16_t processes = 50;

// How much memory of its own, in KiB, a process has.
double memoryOf(const std::string& pid) {
    std::ifstream status("/proc/" + pid + "/status");
    for (std::string word; status >> word;)
        if (double kibibytes = 0; word == "RssAnon:" && status >> kibibytes) return kibibytes;
    throw std::runtime_error("no memory of process " + pid);
}

double ownMemory() {
    return memoryOf("self");
}

double memoryOf(const support::NatsServer& server) {
    return memoryOf(std::to_string(server.pid()));
}

// A process that takes events, requests and command messages.
class Engine {
public:
    Engine(const std::string& url, std::uint16_t handle) : engine_(connectEngine(url, {3001, handle})) {}

private:
    std::unique_ptr<frame::NatsEngine> engine_;
    frame::Subscription events_ = engine_->subscribeEvent(someId, [](const frame::EventMessage&) {});
    frame::Subscription requests_ = engine_->serveRequests(
        someId, [](const frame::RequestMessage& request) { return std::optional(request.record); });
    frame::Subscription commands_ = engine_->receiveCommands([](const frame::Payload&) {});
};

// A connection of the bare client with as many kinds of messages.
class Bare {
public:
    Bare(const std::string& url, std::uint16_t handle) : connection_(bare::connect(url)) {
        for (const char* kind : {"ev.", "rq.", "cm."})
            subscriptions_.push_back(
                bare::subscribe(connection_.get(), (kind + std::to_string(handle)).c_str(), &Bare::take, nullptr));
    }

private:
    static void take(natsConnection*, natsSubscription*, natsMsg* message, void*) { natsMsg_Destroy(message); }

    bare::Connection connection_;
    std::vector<bare::Subscription> subscriptions_;
};

// KiB that each of many takes more, here and at the server.
struct Memory {
    double here = 0;
    double there = 0;
};
template <class Side>
Memory memoryOfEach(const Run& run) {
    const support::NatsServer server;
    const std::uint16_t count = run.quick ? 2 : processes;
    std::vector<std::unique_ptr<Side>> sides;
    sides.push_back(std::make_unique<Side>(server.url(), 1));  // what is made once is there after the first
    const Memory before{ownMemory(), memoryOf(server)};
    for (std::uint16_t i = 0; i < count; ++i)
        sides.push_back(std::make_unique<Side>(server.url(), static_cast<std::uint16_t>(i + 2)));
    return {(ownMemory() - before.here) / count, (memoryOf(server) - before.there) / count};
}

Figures ofAProcess(const Run& run) {
    return {memoryOfEach<Engine>(run).here, memoryOfEach<Bare>(run).here};
}

Figures ofTheServer(const Run& run) {
    return {memoryOfEach<Engine>(run).there, memoryOfEach<Bare>(run).there};
}

const bool registered =
    add({"memory that a process has for its place on NATS, KiB; peer: a bare connection", informsOfTime(),
         ofAProcess}) &&
    add({"memory that a NATS server has for each process, KiB; peer: a bare connection", informsOfTime(), ofTheServer});

}  // namespace

}  // namespace bench
