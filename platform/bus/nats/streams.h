// How the streams of a system are to be, and the consumers on them: for those who make them, and for those who look
// whether somebody else made them right.
#pragma once

#include <json/forwards.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace frame::nats {

// A process that has a message, and says nothing of it for so long, is taken for dead: another one gets it.
inline constexpr std::chrono::seconds takenForDead{10};

// Streams stand in files, keep what they are given up to a limit, and allow direct gets.
struct StreamSettings {
    std::string name;
    std::vector<std::string> subjects;
    bool refusesWhenFull;  // or else what is old goes
    std::int64_t octets;   // that it may hold; -1: as many as the server has room for
    std::chrono::nanoseconds stay;
    std::chrono::nanoseconds repeatsKnown;  // 0: it need not know any
    int replicas;                           // where the server belongs to a cluster, which then must have as many
};

// Of a server that belongs to no cluster.
inline constexpr int alone = 1;

// Of reliable messages, "SYSTEM-rm", and of the pieces of large broadcasts, "SYSTEM-bc".
StreamSettings reliableStream(const std::string& system);
StreamSettings broadcastStream(const std::string& system);

// A consumer of reliable messages, durable, fetched from, and with explicit acknowledgements. One message at a time is
// on its way: what is behind one that was refused waits, and so it does when a process ends with it.
struct ConsumerSettings {
    std::string name;
    std::string subject;
    std::chrono::nanoseconds patience = takenForDead;
};

// "t3002-0xB0762A".
std::string consumerName(std::uint16_t type, unsigned long id);
// The one of a message identifier that the processes of a type share.
ConsumerSettings reliableConsumer(const std::string& system, std::uint16_t type, unsigned long id);

// As the server's interface has it.
Json::Value configurationOf(const StreamSettings& settings, int replicas);
Json::Value configurationOf(const ConsumerSettings& settings);

// In what way a stream or a consumer is not as it is to be, a text each: "max_age: 60 s; expected 604800 s or more".
// `configuration`: as the server told it.
std::vector<std::string> deviations(const StreamSettings& expected, int replicas, const Json::Value& configuration);
std::vector<std::string> deviations(const ConsumerSettings& expected, const Json::Value& configuration);

}  // namespace frame::nats
