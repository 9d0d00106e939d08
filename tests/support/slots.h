// Tables of virtual operations: calling by slot is how programs that were compiled elsewhere call.
#pragma once

#include <cstddef>
#include <cstring>

namespace support {

// What stands in slot `slot` of an object's table of virtual operations.
template <class Operation>
Operation* slotOf(const void* object, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    Operation* operation = nullptr;
    std::memcpy(&operation, table + slot, sizeof operation);
    return operation;
}

}  // namespace support
