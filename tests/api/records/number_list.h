// Lists of numbers, from and to plain ones.
#pragma once

#include <initializer_list>
#include <vector>

#include "nec/records.h"

inline asn_frame::AsnDevIDList numbers(std::initializer_list<int> values) {
    asn_frame::AsnDevIDList list;
    for (const int value : values) list.Append(AsnInt(value));
    return list;
}

inline std::vector<int> valuesOf(const AsnList<AsnInt>& list) {
    std::vector<int> values;
    for (const auto* node = list.first; node != nullptr; node = node->next) values.push_back(*node->element);
    return values;
}
