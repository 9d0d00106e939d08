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

// What stands between brackets: each part on a line of its own, unless all is to stand in one.
class Parts {
public:
    Parts(std::ostream& os, const char* brackets, const std::string& indent, bool oneLine)
        : os_(os), brackets_(brackets), indent_(indent), oneLine_(oneLine) {
        os_ << brackets_[0];
    }
    ~Parts() {
        if (!empty_ && !oneLine_) os_ << '\n' << indent_;
        os_ << brackets_[1];
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    std::ostream& next() {
        if (!empty_) os_ << (oneLine_ ? ", " : ",");
        if (!oneLine_) os_ << "\n  " << indent_;
        empty_ = false;
        return os_;
    }

private:
    std::ostream& os_;
    const char* brackets_;
    const std::string& indent_;
    const bool oneLine_;
    bool empty_ = true;
};

class Writer {
public:
    Writer(std::ostream& os, const JsonForm& form) : os_(os), form_(form) {}

    void write(const AsnType& value, const std::string& indent) {
        if (const auto* number = dynamic_cast<const AsnInt*>(&value)) {
            os_ << std::int32_t{*number};
        } else if (const auto* octets = dynamic_cast<const AsnOcts*>(&value)) {
            write(octets->view());
        } else if (const auto* record = dynamic_cast<const AsnSequence*>(&value)) {
            writeRecord(*record, indent);
        } else {
            withList(value, [&](const auto& list) { writeList(list, indent); });
        }
    }
    void write(std::string_view octets) {
        writeOctets(os_, octets.substr(0, form_.mostOctets));
        if (octets.size() > form_.mostOctets) os_ << "... (" << octets.size() << " octets)";
    }

private:
    void writeRecord(const AsnSequence& record, const std::string& indent) {
        Parts parts(os_, "{}", indent, form_.oneLine);
        for (const refl::CAttribInfor& attribute : attributesOf(record)) {
            const AsnType* field = fieldOf(record, attribute);
            if (field == nullptr) continue;
            parts.next() << '"' << attribute.name << "\": ";
            write(*field, indent + "  ");
        }
    }
    template <class List>
    void writeList(const List& list, const std::string& indent) {
        Parts parts(os_, "[]", indent, form_.oneLine);
        for (const auto* node = list.first; node != nullptr; node = node->next) {
            parts.next();
            write(*node->element, indent + "  ");
        }
    }

    std::ostream& os_;
    const JsonForm& form_;
};

}  // namespace

void writeJson(std::ostream& os, const AsnType& record, const JsonForm& form) {
    Writer(os, form).write(record, "");
}

void writeJson(std::ostream& os, std::string_view octets, const JsonForm& form) {
    Writer(os, form).write(octets);
}

}  // namespace necctl
