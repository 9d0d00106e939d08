#include "bus/nats/inbox.h"

#include <sys/random.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace frame::nats {

namespace {

// 128 bits that nobody else knows.
std::string secret() {
    std::array<std::uint64_t, 2> bits{};
    if (getrandom(bits.data(), sizeof bits, 0) != static_cast<ssize_t>(sizeof bits))
        throw std::runtime_error("bus: no random numbers");
    std::array<char, 33> text{};
    std::snprintf(text.data(), text.size(), "%016llx%016llx", static_cast<unsigned long long>(bits[0]),
                  static_cast<unsigned long long>(bits[1]));
    return text.data();
}

}  // namespace

Inbox::Inbox(const std::string& prefix) : prefix_(prefix + '.' + secret() + '.') {}

bool Inbox::take(Message message) {
    const std::lock_guard lock(mutex_);
    const auto found = handlers_.find(natsMsg_GetSubject(message.get()));
    if (found == handlers_.end()) return false;
    found->second(std::move(message));
    return true;
}

Inbox::Entry::Entry(Inbox& inbox, Handler handler) : inbox_(inbox), subject_(inbox.prefix_ + secret()) {
    const std::lock_guard lock(inbox_.mutex_);
    inbox_.handlers_.emplace(subject_, std::move(handler));
}

Inbox::Entry::~Entry() {
    const std::lock_guard lock(inbox_.mutex_);
    inbox_.handlers_.erase(subject_);
}

}  // namespace frame::nats
