#include "address_table.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "localip/address.h"
#include "log/escape.h"
#include "text/ipv4.h"
#include "text/read.h"

namespace peers {
namespace {

constexpr std::size_t mostOctets = std::size_t{16} << 20U;

// One line of the table while it is read.
class Line {
public:
    Line(std::string_view text, const std::string& file, std::size_t number)
        : rest_(text.substr(0, text.find('#'))), file_(file), number_(number) {
        if (!rest_.empty() && rest_.back() == '\r') rest_.remove_suffix(1);
    }

    bool atEnd() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
        return rest_.empty();
    }

    // The next field, an IPv4 address; empty for "-" where it may be left out.
    std::string address(const char* name, bool optional) {
        const std::string expected =
            std::string(name) + ", an IPv4 address in dotted-quad form" + (optional ? " or -" : "");
        if (atEnd()) refuse("end of line", expected);
        std::string field(rest_.substr(0, rest_.find_first_of(" \t")));
        rest_.remove_prefix(field.size());
        if (optional && field == "-") return {};
        if (!frame::isDottedQuad(field)) refuse(frame::quoted(field), expected);
        return field;
    }

    [[noreturn]] void refuse(const std::string& found, const std::string& expected) const {
        throw TableError(file_ + ":" + std::to_string(number_) + ": " + found + "; expected " + expected);
    }

    std::string quotedRest() const { return frame::quoted(rest_); }

private:
    std::string_view rest_;
    const std::string& file_;
    std::size_t number_;
};

NEC::NatInfo rowOf(Line& line) {
    NEC::NatInfo row;
    row.beginIP = line.address("the first NE address", false);
    row.endIP = line.address("the last NE address", false);
    if (NEC::hostOrderAddress(row.endIP) < NEC::hostOrderAddress(row.beginIP))
        line.refuse(row.endIP + " behind " + row.beginIP, "a last NE address that is not below the first");
    row.nmsIP = line.address("the NMS address", true);
    if (!line.atEnd()) row.natIP = line.address("the NAT address", true);
    if (!line.atEnd()) line.refuse(line.quotedRest(), "the end of the line");
    return row;
}

TableError cannotRead(const std::string& file) {
    return TableError(file + ": cannot be read: " + std::strerror(errno) + "; expected an address table");
}

}  // namespace

AddressTable parseAddressTable(std::string_view text, const std::string& file) {
    AddressTable table;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        Line line(text.substr(0, end), file, number);
        if (!line.atEnd()) table.push_back(rowOf(line));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return table;
}

std::optional<AddressTable> readAddressTable(const std::string& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
    if (!stream && errno == ENOENT) return std::nullopt;
    if (!stream) throw cannotRead(file);
    const auto text = frame::readUpTo(stream.get(), mostOctets);
    if (!text) throw cannotRead(file);
    if (text->size() > mostOctets) throw TableError(file + ": larger than 16 MiB; expected at most 16 MiB");
    return parseAddressTable(*text, file);
}

}  // namespace peers
