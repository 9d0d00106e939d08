// The light string and its memory.
#include "platform/light_string.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

std::size_t storageFor(std::size_t length) {
    return (length + 1 + 3) / 4 * 4;
}

}  // namespace

void* FrameUtil::Malloc(std::size_t size) {
    return std::malloc(size);
}

void FrameUtil::Free(void* memory) {
    std::free(memory);
}

char light_basic_string::nothing[4] = {};

light_basic_string::light_basic_string(const char* text)
    : light_basic_string(text != nullptr ? std::string_view(text) : std::string_view()) {}

light_basic_string::light_basic_string(std::string_view text) : light_basic_string() {
    if (text.empty()) return;
    void* const storage = FrameUtil::Malloc(storageFor(text.size()));
    if (storage == nullptr) throw std::bad_alloc();
    data_ = static_cast<char*>(storage);
    length_ = text.size();
    std::memcpy(data_, text.data(), length_);
    data_[length_] = '\0';
}

light_basic_string::~light_basic_string() {
    if (data_ != nothing) FrameUtil::Free(data_);
}

light_basic_string& light_basic_string::operator=(const light_basic_string& other) {
    if (this != &other) *this = light_basic_string(other);
    return *this;
}

light_basic_string& light_basic_string::operator=(light_basic_string&& other) noexcept {
    light_basic_string taken(std::move(other));
    swap(taken);
    return *this;
}

void light_basic_string::swap(light_basic_string& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(length_, other.length_);
}
