// The hash that says whether octets that came in pieces are those that were sent.
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct XXH3_state_s;

namespace frame::nats {

// XXH3 with 128 bits, of octets that come little by little. It finds what went wrong, and not what somebody forged:
// whom the server lets publish pieces it lets announce others too. And it is fast: a cryptographic hash takes more time
// than all else that a process does with a large broadcast.
class Hash {
public:
    static constexpr std::size_t digits = 32;

    // Throws std::bad_alloc.
    Hash();
    void add(std::string_view octets);
    // Of all so far, in hexadecimal digits.
    std::string text() const;

private:
    struct Giver {
        void operator()(XXH3_state_s* state) const;
    };
    std::unique_ptr<XXH3_state_s, Giver> state_;
};

}  // namespace frame::nats
