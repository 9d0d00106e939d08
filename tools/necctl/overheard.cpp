#include "overheard.h"

#include <algorithm>
#include <array>

#include "task/message.h"

namespace necctl {
namespace {

using frame::Overheard;
using Kind = Overheard::Kind;

constexpr std::array<std::pair<Kind, const char*>, 4> names{
    {{Kind::event, "event"}, {Kind::reliable, "reliable"}, {Kind::command, "command"}, {Kind::broadcast, "broadcast"}}};

// What is known to be sent with an identifier. Without `type` it has no record.
struct Known {
    Kind kind;
    unsigned long id;
    const char* name;
    const char* type;
};
constexpr std::array<Known, 9> known{{
    {Kind::event, 0x217005, "NE manager started", "AsnFrameProcID"},
    {Kind::event, 0x217006, "NE created", "AsnDevIDListOfNEMgr"},
    {Kind::event, 0x217007, "NE transferred", "AsnDevIDListOfNEMgr"},
    {Kind::event, 0x217008, "NE deleted", "AsnDevIDListOfNEMgr"},
    {Kind::reliable, 0xB0762A, "NE transferred", "AsnDevIDListOfNEMgr"},
    {Kind::command, 0x3FFB9F, "trap servers assigned", nullptr},
    {Kind::command, 0x3FFBA0, "trap servers released", nullptr},
    {Kind::command, 0x3FFBA1, "trap servers listed", nullptr},
    {Kind::broadcast, 0x3FFBA7, "plug-and-play files", "AsnClientGetPnpRsp"},
}};

// Types are tried one after another up to this size only.
constexpr std::size_t mostGuessed = std::size_t{1} << 20U;

const Known* knownAs(Kind kind, std::optional<unsigned long> id) {
    const auto* found =
        std::find_if(known.begin(), known.end(), [&](const Known& each) { return each.kind == kind && id == each.id; });
    return found == known.end() ? nullptr : found;
}

Reading::Command commandIn(const CmdMSG& header, std::string_view octets) {
    std::string_view payload = octets.substr(cmdHeaderOctets);
    if (payload.ends_with('\0')) payload.remove_suffix(1);
    return {header.kind, header.requestId, header.dstManager, payload};
}

void readCommand(Reading& reading) {
    const std::string_view octets = reading.message.record.view();
    if (octets.size() < cmdHeaderOctets) {
        reading.error = "expected " + std::to_string(cmdHeaderOctets) + " octets or more";
        return;
    }
    const CmdMSG header = frame::headerOf(octets);
    reading.id = header.command;
    if (header.length + std::uint64_t{cmdHeaderOctets} - 2 == octets.size())
        reading.command = commandIn(header, octets);
    else
        reading.error = "its length field says " + std::to_string(header.length) + "; expected " +
                        std::to_string(octets.size() - cmdHeaderOctets + 2);
}

void readRecord(Reading& reading, const Known* as, std::size_t largest) {
    const std::string_view octets = reading.message.record.view();
    if (octets.size() > largest) {
        reading.error = "it has more than " + std::to_string(largest) + " octets";
    } else if (as == nullptr && octets.size() > mostGuessed) {
        reading.error = "nothing is known of this identifier";
    } else {
        reading.record = as != nullptr ? decodeAs(recordType(as->type), octets) : decodeAsAny(octets);
        reading.guessed = as == nullptr;
        reading.error = reading.record.error;
    }
}

bool hasNe(const AsnType& value, const Filter& filter) {
    if (const auto* number = dynamic_cast<const AsnInt*>(&value)) {
        const auto ne = static_cast<std::uint32_t>(std::int32_t{*number});
        return std::find(filter.neIds.begin(), filter.neIds.end(), ne) != filter.neIds.end();
    }
    const auto* octets = dynamic_cast<const AsnOcts*>(&value);
    return octets != nullptr &&
           std::find(filter.neAddresses.begin(), filter.neAddresses.end(), octets->view()) != filter.neAddresses.end();
}

// Numbers outside of lists are none of NEs.
bool tellsOfNe(const AsnType& value, const Filter& filter) {
    if (dynamic_cast<const AsnOcts*>(&value) != nullptr) return hasNe(value, filter);
    if (const auto* record = dynamic_cast<const AsnSequence*>(&value)) {
        const auto& attributes = attributesOf(*record);
        return std::any_of(attributes.begin(), attributes.end(), [&](const refl::CAttribInfor& attribute) {
            const AsnType* field = fieldOf(*record, attribute);
            return field != nullptr && tellsOfNe(*field, filter);
        });
    }
    bool found = false;
    withList(value, [&](const auto& list) {
        for (const auto* node = list.first; node != nullptr && !found; node = node->next)
            found = hasNe(*node->element, filter) || tellsOfNe(*node->element, filter);
    });
    return found;
}

bool tellsOfNe(std::string_view payload, const Filter& filter) {
    while (!payload.empty()) {
        const std::string_view field = payload.substr(0, payload.find(','));
        if (std::find(filter.neAddresses.begin(), filter.neAddresses.end(), field) != filter.neAddresses.end())
            return true;
        payload.remove_prefix(std::min(field.size() + 1, payload.size()));
    }
    return false;
}

}  // namespace

const char* toText(Kind kind) {
    return std::find_if(names.begin(), names.end(), [kind](const auto& each) { return each.first == kind; })->second;
}

std::vector<std::string> kindNames() {
    std::vector<std::string> all;
    all.reserve(names.size());
    for (const auto& [kind, name] : names) all.emplace_back(name);
    return all;
}

Kind kindNamed(const std::string& name) {
    return std::find_if(names.begin(), names.end(), [&name](const auto& each) { return each.second == name; })->first;
}

Reading read(const Overheard& message, std::size_t largest) {
    Reading reading{message, message.id, "", {}, false, {}, message.fault};
    const bool command = message.kind == Kind::command;
    if (reading.error.empty() && command) readCommand(reading);
    const Known* as = knownAs(message.kind, reading.id);
    if (as != nullptr) reading.name = as->name;
    if (reading.error.empty() && !command) readRecord(reading, as, largest);
    return reading;
}

bool Filter::passes(const Reading& reading) const {
    if (!ids.empty() && (!reading.id || std::find(ids.begin(), ids.end(), *reading.id) == ids.end())) return false;
    if (neIds.empty() && neAddresses.empty()) return true;
    if (reading.command) return tellsOfNe(reading.command->payload, *this);
    return reading.record.record && tellsOfNe(*reading.record.record, *this);
}

}  // namespace necctl
