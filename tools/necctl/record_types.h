// The record types and named lists that necctl knows, and the parts of any record.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nec/records.h"

namespace necctl {

struct RecordType {
    std::string name;  // as in records.asn1
    std::unique_ptr<AsnType> (*make)();
};

// Records first: most of them are lists as well, seen from outside.
const std::vector<RecordType>& recordTypes();
std::vector<std::string> recordTypeNames();
// The type `name`, which is one of recordTypeNames().
const RecordType& recordType(const std::string& name);

// The attributes of a record's class, in encode order.
const std::vector<refl::CAttribInfor>& attributesOf(const AsnSequence& record);
// The object of an attribute; null when it is absent.
const AsnType* fieldOf(const AsnSequence& record, const refl::CAttribInfor& attribute);
// The object of an attribute, made when it is absent.
AsnType& obtainField(AsnSequence& record, const refl::CAttribInfor& attribute);

// Calls `action` with `value` as the list that it is, and returns true; false when it is no list.
template <class Value, class Action>
bool withList(Value& value, const Action& action);

}  // namespace necctl

template <class Value, class Action>
bool necctl::withList(Value& value, const Action& action) {
    const auto tryAs = [&](auto* list) {
        if (list != nullptr) action(*list);
        return list != nullptr;
    };
    const auto tryElement = [&]<class T>(std::type_identity<T>) {
        using List = std::conditional_t<std::is_const_v<Value>, const AsnList<T>, AsnList<T>>;
        return tryAs(dynamic_cast<List*>(&value));
    };
    return tryElement(std::type_identity<AsnInt>()) || tryElement(std::type_identity<AsnOcts>()) ||
           tryElement(std::type_identity<asn_frame::AsnFrameNodeIP>()) || tryElement(std::type_identity<AsnPnpFile>());
}
