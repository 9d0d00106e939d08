// Any text as the management centre's address table: it is refused with its line, or what was read reads the same
// again.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "address_table.h"

namespace {

std::string field(const std::string& address) {
    return address.empty() ? "-" : address;
}

std::string written(const peers::AddressTable& table) {
    std::string text;
    for (const NEC::NatInfo& row : table)
        text += row.beginIP + " " + row.endIP + " " + field(row.nmsIP) + " " + field(row.natIP) + "\n";
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const std::string text =
            written(peers::parseAddressTable({reinterpret_cast<const char*>(data), size}, "table"));
        if (written(peers::parseAddressTable(text, "again")) != text) std::abort();
    } catch (const peers::TableError& error) {
        if (std::string_view(error.what()).rfind("table:", 0) != 0) std::abort();
    }
    return 0;
}
