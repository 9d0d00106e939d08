// Octets that travel: immutable, shared, counted.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/export.h"

class AsnType;

namespace frame {

// A run of octets that never changes once made. Copies share it; any number of threads may hold copies.
class FRAME_API Payload {
public:
    Payload() = default;
    // Copies `octets`. Throws std::bad_alloc.
    explicit Payload(std::string_view octets);
    Payload(const Payload& other) noexcept;
    Payload(Payload&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    Payload& operator=(Payload other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~Payload();

    // Valid while this object, or a copy of it, lives.
    std::string_view view() const;
    std::size_t size() const { return view().size(); }

private:
    friend class PayloadWriter;
    friend FRAME_API Payload encode(const AsnType& record);
    struct Block;
    explicit Payload(Block* block) noexcept : block_(block) {}
    static Block* allocate(std::size_t size);

    Block* block_ = nullptr;
};

// Makes a payload of a known size from octets that come little by little, in memory of just that size.
class FRAME_API PayloadWriter {
public:
    // Throws std::bad_alloc.
    explicit PayloadWriter(std::size_t size);
    // Not more in all than the size.
    void append(std::string_view octets);
    // What was appended. To be called once, and last.
    Payload finish() { return std::move(payload_); }

private:
    Payload payload_;
};

// The BER encoding of `record`, in memory of just its size. Throws std::bad_alloc.
FRAME_API Payload encode(const AsnType& record);

}  // namespace frame
