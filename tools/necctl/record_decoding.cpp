#include "record_decoding.h"

namespace necctl {
namespace {

std::string explain(const RecordType& type, const frame::DecodeResult& result) {
    return type.name + ": at offset " + std::to_string(result.offset) + ": " + result.text;
}

}  // namespace

Decoded decodeAs(const RecordType& type, std::string_view octets) {
    auto record = type.make();
    const frame::DecodeResult result = frame::decode(octets, *record);
    if (!result.ok) return {{}, nullptr, {}, explain(type, result)};
    return {type.name, std::move(record), type.name, {}};
}

Decoded decodeAsAny(std::string_view octets) {
    Decoded first;
    std::string closest;
    std::size_t closestOffset = 0;
    for (const RecordType& type : recordTypes()) {
        auto record = type.make();
        const frame::DecodeResult result = frame::decode(octets, *record);
        if (result.ok) {
            first.fitting += (first.fitting.empty() ? "" : ", ") + type.name;
            if (!first.record) {
                first.type = type.name;
                first.record = std::move(record);
            }
        } else if (closest.empty() || result.offset > closestOffset) {
            closest = explain(type, result);
            closestOffset = result.offset;
        }
    }
    if (!first.record) first.error = "no record type fits; the closest is " + closest;
    return first;
}

}  // namespace necctl
