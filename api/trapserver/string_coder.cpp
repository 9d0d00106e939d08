#include "trapserver/string_coder.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace NEC {

namespace {

constexpr char separator = ',';

}  // namespace

CStringCoderImpl::~CStringCoderImpl() = default;

std::string CStringCoderImpl::str() const {
    return text_.substr(read_);
}

int CStringCoderImpl::count() const {
    if (read_ == text_.size()) return 0;
    const auto unread = std::next(text_.begin(), static_cast<std::ptrdiff_t>(read_));
    return static_cast<int>(std::count(unread, text_.end(), separator) + 1);
}

void CStringCoderImpl::append(const std::string& field) {
    const std::size_t needed = text_.size() + 1 + field.size();
    // All of the room first: without it the text stays as it was. Twice as much each time, so that no octet is moved
    // more than a few times.
    if (needed > text_.capacity()) text_.reserve(std::max(needed, 2 * text_.capacity()));
    if (!text_.empty()) text_ += separator;
    text_ += field;
}

void CStringCoderImpl::extract(std::string& field) {
    const std::size_t end = text_.find(separator, read_);
    if (end != std::string::npos) {
        field.assign(text_, read_, end - read_);
        read_ = end + 1;
    } else {
        field.assign(text_, read_);
        read_ = text_.size();
    }
}

std::string CStringCoder::str() const {
    return impl_ != nullptr ? impl_->str() : std::string();
}

int CStringCoder::count() const {
    return impl_ != nullptr ? impl_->count() : 0;
}

CStringCoder::~CStringCoder() = default;

CCommaEncoder::CCommaEncoder() {
    impl_ = new CStringCoderImpl;
}

CCommaEncoder::~CCommaEncoder() {
    delete impl_;
}

CCommaEncoder& CCommaEncoder::operator<<(const std::string& field) {
    if (impl_ != nullptr) impl_->append(field);
    return *this;
}

CCommaEncoder& CCommaEncoder::operator<<(int field) {
    char digits[16];  // "-2147483648" has 11
    const auto end = std::to_chars(std::begin(digits), std::end(digits), field).ptr;
    return *this << std::string(std::begin(digits), end);
}

CCommaDecoder::CCommaDecoder(const std::string& text) {
    impl_ = new CStringCoderImpl(text);
}

CCommaDecoder::~CCommaDecoder() {
    delete impl_;
}

CCommaDecoder& CCommaDecoder::operator>>(std::string& field) {
    if (impl_ != nullptr) impl_->extract(field);
    return *this;
}

CCommaDecoder& CCommaDecoder::operator>>(int& field) {
    std::string text;
    *this >> text;
    field = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
    return *this;
}

}  // namespace NEC
