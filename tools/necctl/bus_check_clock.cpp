#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "bus/nats/message.h"
#include "bus/nats/streams.h"
#include "bus/nats/subjects.h"
#include "bus_check.h"
#include "bus_store.h"

namespace necctl {
namespace {

// More would show in the order of log lines, and in when certificates are valid.
constexpr double mostSeconds = 2;
constexpr int mostTries = 10;
const std::string about = "clock";

double now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// "2026-07-01T12:00:00.123456789Z"; nothing for anything else.
std::optional<double> readTime(const std::string& text) {
    std::tm parts{};
    double fraction = 0;
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr) return std::nullopt;
    if (*rest == '.') std::sscanf(rest, "%lf", &fraction);
    return static_cast<double>(timegm(&parts)) + fraction;
}

std::string secondsText(double seconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.3f s", seconds);
    return text.data();
}

// When the server stored the newest message there; nothing when it does not say.
std::optional<double> storedAt(const BusClient& client, const std::string& stream, const std::string& subject) {
    const std::string question = "$JS.API.DIRECT.GET." + stream + '.' + subject;
    for (int tries = 0; tries < mostTries; ++tries) {
        const auto answer = client.ask(question);
        if (!answer.message) return std::nullopt;
        const auto time = readTime(std::string(frame::nats::headerOf(answer.message.get(), "Nats-Time-Stamp")));
        if (time) return time;  // or else the server that was asked does not have it yet
    }
    return std::nullopt;
}

}  // namespace

void judgeClock(double difference, double uncertainty, Findings& findings) {
    findings.judge(std::abs(difference) - uncertainty <= mostSeconds, about,
                   secondsText(std::abs(difference)) + (difference < 0 ? " behind" : " ahead of") +
                       " this machine's, give or take " + secondsText(uncertainty),
                   secondsText(mostSeconds) + " or less");
}

// The server stores an empty piece of a broadcast to nobody, and tells when.
void checkClock(const BusClient& client, const std::string& system, Findings& findings) {
    const std::string stream = frame::nats::broadcastStream(system).name;
    const std::string subject = frame::nats::Subjects(system).piece(0, 0, 0);
    const double before = now();
    const auto stored = client.ask(subject);
    const double after = now();
    if (stored.refused) return findings.cannotTell(about, "this user may not store what would tell");
    const auto time = stored.message ? storedAt(client, stream, subject) : std::nullopt;
    if (!time) return findings.cannotTell(about, "stream " + stream + " does not tell");
    judgeClock(*time - (before + after) / 2, (after - before) / 2, findings);
}

}  // namespace necctl
