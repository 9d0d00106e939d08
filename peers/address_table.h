// The management centre's address table, "iptable_ne2nms.cfg": which NMS and NAT addresses serve which NEs.
// docs/interfaces/address-table.md describes the file.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "localip/nms_lookup.h"

namespace peers {

// What is wrong with a table: `what()` is "FILE:LINE: what was found; what was expected" (without LINE where the file
// cannot be read).
class TableError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using AddressTable = std::vector<NEC::NatInfo>;

// The rows of `text`, in their order. `file` names it in errors. Throws TableError.
AddressTable parseAddressTable(std::string_view text, const std::string& file);

// Reads `file`; nothing when there is no such file. Throws TableError when it cannot be read, is larger than 16 MiB, or
// is wrong.
std::optional<AddressTable> readAddressTable(const std::string& file);

}  // namespace peers
