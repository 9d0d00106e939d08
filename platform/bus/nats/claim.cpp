#include "bus/nats/claim.h"

#include <array>
#include <cstdio>
#include <random>

namespace frame::nats {

namespace {

std::string anyToken() {
    std::random_device random;
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%08x%08x", random(), random());
    return text.data();
}

}  // namespace

Claim::Claim(Station& station)
    : station_(station), subject_(station.subjects().to(addressKind, station.address())), token_(anyToken()) {
    station_.listen(subject_, "", [this](const Incoming& message) { hear(message); });
}

void Claim::hear(const Incoming& message) {
    if (message.record.view() == token_) return;
    others_.write("another process has the address " + toText(station_.address()) +
                  " too: each gets messages that are for the other");
    if (message.result().empty()) tell(resultOk);
}

void Claim::tell(const char* result) {
    Outgoing claim;
    claim.subject = subject_;
    claim.record = token_;
    claim.result = result;
    station_.send(claim);
}

}  // namespace frame::nats
