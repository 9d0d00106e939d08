// Octets in tests: written as hexadecimal digits, and made from records.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/asn1.h"
#include "platform/payload.h"

namespace support {

// The octets that `digits` writes; blanks do not count.
inline std::string octets(std::string_view digits) {
    std::string result;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ') continue;
        pair += digit;
        if (pair.size() == 2) {
            result += static_cast<char>(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    }
    return result;
}

inline std::string hex(std::string_view octets) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (const char octet : octets) {
        result += digits[static_cast<unsigned char>(octet) >> 4];
        result += digits[static_cast<unsigned char>(octet) & 15];
    }
    return result;
}

// The hexadecimal digits of a value's encoding.
inline std::string encodedHex(const AsnType& value) {
    return hex(frame::encode(value).view());
}

// The exception that `action` throws by pointer, or null.
template <class Action>
std::unique_ptr<const CSM_Exception> thrownBy(Action action) {
    try {
        action();
    } catch (const CSM_Exception* error) {
        return std::unique_ptr<const CSM_Exception>(error);
    }
    return nullptr;
}

}  // namespace support
