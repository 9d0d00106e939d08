// A process's claim to its address. Whoever has the same one gets messages that are for the other, so each says so.
#pragma once

#include <string>

#include "bus/nats/station.h"

namespace frame::nats {

inline constexpr const char* addressKind = "at";

class Claim {
public:
    // Listens before `station` is started.
    explicit Claim(Station& station);

    // To be called whenever there is a connection: others with this address hear of this process, and it of them.
    void make() { tell(""); }

private:
    void hear(const Incoming& message);
    void tell(const char* result);

    Station& station_;
    const std::string subject_;
    const std::string token_;  // the own claims come back
    Complaints others_;
};

}  // namespace frame::nats
