#include "pnp_package.h"

#include "hex.h"
#include "log/escape.h"
#include "options.h"

namespace necctl {

Json::Value jsonOf(std::string_view octets) {
    if (frame::isUtf8(octets)) return std::string(octets);
    Json::Value json;
    json["hex"] = hexOf(octets);
    return json;
}

Json::Value jsonOf(const peers::PnpPackage& package) {
    Json::Value json;
    json["sender"] = frame::toText(package.sender);
    json["written"] = json["refused"] = Json::arrayValue;
    for (const std::string& name : package.written) json["written"].append(jsonOf(name));
    for (const peers::PnpRefusal& refusal : package.refused) {
        Json::Value entry;
        entry["name"] = jsonOf(refusal.name);
        entry["reason"] = refusal.reason;
        json["refused"].append(entry);
    }
    return json;
}

std::string textOf(const peers::PnpRefusal& refusal) {
    return refusal.name + ": " + refusal.reason;
}

std::string textOf(const peers::PnpPackage& package) {
    std::string text = "package from " + frame::toText(package.sender) + ", " + std::to_string(package.written.size()) +
                       " written, " + std::to_string(package.refused.size()) + " refused\n";
    for (const std::string& name : package.written) text += "  written  " + escaped(name) + '\n';
    for (const peers::PnpRefusal& refusal : package.refused) text += "  refused  " + escaped(textOf(refusal)) + '\n';
    return text;
}

}  // namespace necctl
