#include "platform/payload.h"

#include <atomic>
#include <cstring>
#include <new>

#include "asn1/slab.h"
#include "platform/asn1.h"

namespace frame {

// The count, and behind it in the same memory the octets.
struct Payload::Block {
    std::atomic<std::size_t> holders{1};
    std::size_t size = 0;
    std::size_t capacity = 0;  // of the memory behind
    std::size_t offset = 0;    // of the octets in it
    unsigned char* memory() { return reinterpret_cast<unsigned char*>(this + 1); }
};

Payload::Block* Payload::allocate(std::size_t capacity) {
    auto* block = new (slab::allocate(sizeof(Block) + capacity)) Block;
    block->capacity = capacity;
    return block;
}

Payload::Payload(std::string_view octets) : block_(allocate(octets.size())) {
    block_->size = octets.size();
    if (!octets.empty()) std::memcpy(block_->memory(), octets.data(), octets.size());
}

Payload::Payload(const Payload& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) block_->holders.fetch_add(1, std::memory_order_relaxed);
}

Payload::~Payload() {
    if (block_ == nullptr) return;
    // A sole holder stays one: only holders make holders. It needs no read-modify-write, which would cost as much as
    // the rest of a small record's life.
    if (block_->holders.load(std::memory_order_acquire) != 1 &&
        block_->holders.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    const std::size_t size = sizeof(Block) + block_->capacity;
    block_->~Block();
    slab::release(block_, size);
}

std::string_view Payload::view() const {
    if (block_ == nullptr) return {};
    return {reinterpret_cast<const char*>(block_->memory()) + block_->offset, block_->size};
}

PayloadWriter::PayloadWriter(std::size_t size) : payload_(Payload::allocate(size)) {}

void PayloadWriter::append(std::string_view octets) {
    Payload::Block& block = *payload_.block_;
    if (!octets.empty()) std::memcpy(block.memory() + block.size, octets.data(), octets.size());
    block.size += octets.size();
}

Payload encode(const AsnType& record) {
    AsnBuf first(AsnBuf::Growth::measuring);
    const AsnLen size = record.BEnc(first, 1);
    if (!first.measuring()) return Payload(first.view());
    // Large: written again, straight to where it stays, so that the octets are copied once and held once.
    Payload payload(Payload::allocate(size + AsnBuf::scratch));
    payload.block_->size = size;
    payload.block_->offset = AsnBuf::scratch;
    AsnBuf exact(payload.block_->memory(), size + AsnBuf::scratch);
    record.BEnc(exact, 1);
    return payload;
}

}  // namespace frame
