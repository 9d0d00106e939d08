#include "bus/nats/hash.h"

#include <xxhash.h>

#include <array>
#include <cstdio>
#include <new>

namespace frame::nats {

void Hash::Giver::operator()(XXH3_state_s* state) const {
    XXH3_freeState(state);
}

Hash::Hash() : state_(XXH3_createState()) {
    if (!state_) throw std::bad_alloc();
    XXH3_128bits_reset(state_.get());
}

void Hash::add(std::string_view octets) {
    XXH3_128bits_update(state_.get(), octets.data(), octets.size());
}

std::string Hash::text() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(state_.get());
    std::array<char, digits + 1> text{};
    std::snprintf(text.data(), text.size(), "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return text.data();
}

}  // namespace frame::nats
