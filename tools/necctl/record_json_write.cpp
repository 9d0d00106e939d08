// Written straight to the stream: a record may be large.
#include <algorithm>
#include <ostream>

#include "hex.h"
#include "record_json.h"
#include "record_types.h"

namespace necctl {
namespace {

bool isPrintable(std::string_view octets) {
    return std::all_of(octets.begin(), octets.end(), [](char octet) { return octet >= ' ' && octet < 0x7F; });
}

void writeText(std::ostream& os, std::string_view text) {
    os << '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') os << '\\';
        os << c;
    }
    os << '"';
}

void writeOctets(std::ostream& os, std::string_view octets) {
    if (isPrintable(octets)) return writeText(os, octets);
    os << "{\"hex\": \"" << hexOf(octets) << "\"}";
}

void write(std::ostream& os, const AsnType& value, const std::string& indent);

// What stands between brackets: each part on a line of its own.
class Parts {
public:
    Parts(std::ostream& os, const char* brackets, const std::string& indent)
        : os_(os), brackets_(brackets), indent_(indent) {
        os_ << brackets_[0];
    }
    ~Parts() {
        if (!empty_) os_ << '\n' << indent_;
        os_ << brackets_[1];
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    std::ostream& next() {
        os_ << (empty_ ? "\n  " : ",\n  ") << indent_;
        empty_ = false;
        return os_;
    }

private:
    std::ostream& os_;
    const char* brackets_;
    const std::string& indent_;
    bool empty_ = true;
};

void writeRecord(std::ostream& os, const AsnSequence& record, const std::string& indent) {
    Parts parts(os, "{}", indent);
    for (const refl::CAttribInfor& attribute : attributesOf(record)) {
        const AsnType* field = fieldOf(record, attribute);
        if (field == nullptr) continue;
        parts.next() << '"' << attribute.name << "\": ";
        write(os, *field, indent + "  ");
    }
}

void write(std::ostream& os, const AsnType& value, const std::string& indent) {
    if (const auto* number = dynamic_cast<const AsnInt*>(&value)) {
        os << std::int32_t{*number};
    } else if (const auto* octets = dynamic_cast<const AsnOcts*>(&value)) {
        writeOctets(os, octets->view());
    } else if (const auto* record = dynamic_cast<const AsnSequence*>(&value)) {
        writeRecord(os, *record, indent);
    } else {
        withList(value, [&](const auto& list) {
            Parts parts(os, "[]", indent);
            for (const auto* node = list.first; node != nullptr; node = node->next) {
                write(parts.next(), *node->element, indent + "  ");
            }
        });
    }
}

}  // namespace

void writeJson(std::ostream& os, const AsnType& record) {
    write(os, record, "");
}

}  // namespace necctl
