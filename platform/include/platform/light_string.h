// The light string: a data pointer and a length. An object may be used by one thread at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/export.h"

namespace FrameUtil {

// Memory from the framework; null when there is none. `Free` takes what `Malloc` gave, or null. From any thread.
FRAME_API void* Malloc(std::size_t size);
FRAME_API void Free(void* memory);

}  // namespace FrameUtil

// Holds any octets, with a NUL behind them. Storage comes from FrameUtil::Malloc, length + 1 octets rounded up to a
// multiple of 4; an empty one owns nothing. Whatever copies octets throws std::bad_alloc, and then changes nothing.
class FRAME_API light_basic_string {
public:
    light_basic_string() noexcept : data_(nothing) {}
    light_basic_string(const char* text);  // null counts as empty
    light_basic_string(std::string_view text);
    light_basic_string(const std::string& text) : light_basic_string(std::string_view(text)) {}
    light_basic_string(const light_basic_string& other) : light_basic_string(other.view()) {}
    light_basic_string(light_basic_string&& other) noexcept : light_basic_string() { swap(other); }
    ~light_basic_string();
    light_basic_string& operator=(const light_basic_string& other);
    light_basic_string& operator=(light_basic_string&& other) noexcept;

    const char* c_str() const noexcept { return data_; }
    const char* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return length_; }
    bool empty() const noexcept { return length_ == 0; }
    void swap(light_basic_string& other) noexcept;

    friend bool operator==(const light_basic_string& a, const light_basic_string& b) { return a.view() == b.view(); }
    friend bool operator!=(const light_basic_string& a, const light_basic_string& b) { return a.view() != b.view(); }
    // By octets, as unsigned numbers; of two of which one begins the other, the shorter one comes first.
    friend bool operator<(const light_basic_string& a, const light_basic_string& b) { return a.view() < b.view(); }

private:
    static char nothing[];  // what all empty ones share
    std::string_view view() const noexcept { return {data_, length_}; }

    char* data_;
    std::size_t length_ = 0;
};
