// Reading JSON that people write: whatever is wrong is told with the place in the record.
#include <json/json.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "failure.h"
#include "hex.h"
#include "record_json.h"
#include "record_types.h"

namespace necctl {
namespace {

constexpr int mostNesting = 32;

std::string oneLine(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += ' ';
        } else if (c != '*' && (c != ' ' || (!result.empty() && result.back() != ' '))) {
            result += c;
        }
    }
    while (!result.empty() && result.back() == ' ') result.pop_back();
    return result;
}

Json::Value parse(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = mostNesting;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors)) return value;
    } catch (const Json::Exception&) {
        errors = "nested more than " + std::to_string(mostNesting) + " deep";
    }
    throw Failure(wrongData, "no JSON: " + oneLine(errors));
}

[[noreturn]] void refuse(const std::string& place, const std::string& found, const std::string& expected) {
    throw Failure(wrongData, (place.empty() ? "the record" : place) + ": " + found + "; expected " + expected);
}

const char* describe(const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue:
            return "null";
        case Json::booleanValue:
            return "true or false";
        case Json::stringValue:
            return "a string";
        case Json::arrayValue:
            return "an array";
        case Json::objectValue:
            return "an object";
        default:
            return "a number";
    }
}

void read(const Json::Value& json, AsnType& value, const std::string& place);

void readNumber(const Json::Value& json, AsnInt& number, const std::string& place) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (!json.isInt() || json.type() == Json::realValue) {
        refuse(place, json.isNumeric() ? json.asString() : describe(json),
               "a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max()));
    }
    number = json.asInt();
}

void readOctets(const Json::Value& json, AsnOcts& octets, const std::string& place) {
    if (json.isString()) {
        octets = json.asString();
        return;
    }
    if (!json.isObject() || json.size() != 1 || !json["hex"].isString()) {
        refuse(place, describe(json), R"(a string, or {"hex": "..."})");
    }
    try {
        octets = octetsFromHex(json["hex"].asString());
    } catch (const Failure& failure) {
        refuse(place, failure.what(), "hexadecimal digits");
    }
}

void refuseUnknownMembers(const Json::Value& json, const AsnSequence& record, const std::string& place) {
    std::string known;
    for (const refl::CAttribInfor& attribute : attributesOf(record))
        known += (known.empty() ? "" : ", ") + attribute.name;
    for (const std::string& name : json.getMemberNames()) {
        const auto& attributes = attributesOf(record);
        const bool isKnown = std::any_of(attributes.begin(), attributes.end(),
                                         [&](const refl::CAttribInfor& attribute) { return attribute.name == name; });
        if (!isKnown) refuse(place, "unknown member " + Json::valueToQuotedString(name.c_str()), "one of: " + known);
    }
}

void readRecord(const Json::Value& json, AsnSequence& record, const std::string& place) {
    if (!json.isObject()) refuse(place, describe(json), "an object");
    refuseUnknownMembers(json, record, place);
    for (const refl::CAttribInfor& attribute : attributesOf(record)) {
        const std::string inside = place.empty() ? attribute.name : place + "." + attribute.name;
        if (json.isMember(attribute.name)) {
            read(json[attribute.name], obtainField(record, attribute), inside);
        } else if (attribute.holding != refl::CGnlTypeInfor::Holding::nullablePointer) {
            refuse(inside, "missing", "a value");
        }
    }
}

void readList(const Json::Value& json, AsnType& value, const std::string& place) {
    if (!json.isArray()) refuse(place, describe(json), "an array");
    withList(value, [&](auto& list) {
        for (Json::ArrayIndex i = 0; i < json.size(); ++i) {
            read(json[i], *list.Append(), place + "[" + std::to_string(i) + "]");
        }
    });
}

void read(const Json::Value& json, AsnType& value, const std::string& place) {
    if (auto* number = dynamic_cast<AsnInt*>(&value)) {
        readNumber(json, *number, place);
    } else if (auto* octets = dynamic_cast<AsnOcts*>(&value)) {
        readOctets(json, *octets, place);
    } else if (auto* record = dynamic_cast<AsnSequence*>(&value)) {
        readRecord(json, *record, place);
    } else {
        readList(json, value, place);
    }
}

}  // namespace

void readJson(const std::string& text, AsnType& record) {
    read(parse(text), record, "");
}

}  // namespace necctl
