// Tells those who ask how this process is: all are asked at once, or this one.
#pragma once

#include <cstdint>
#include <string>

#include "bus/nats/station.h"
#include "bus/sinks.h"

namespace frame::nats {

inline constexpr const char* statusKind = "st";

class Reporter {
public:
    using Ticket = Sinks<StatusFields>::Ticket;

    // Listens before `station` is started.
    explicit Reporter(Station& station);

    Ticket add(StatusFields fields) { return fields_.add(std::make_unique<StatusFields>(std::move(fields)), this); }

private:
    void answer(const Incoming& question);
    std::string status();

    Station& station_;
    const std::int64_t startedUnixMilliseconds_;
    Sinks<StatusFields> fields_;
};

}  // namespace frame::nats
