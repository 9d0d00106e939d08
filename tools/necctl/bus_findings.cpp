#include "bus_findings.h"

#include <json/json.h>

#include <algorithm>
#include <iostream>

namespace necctl {
namespace {

const char* toText(Verdict verdict) {
    switch (verdict) {
        case Verdict::ok:
            return "ok";
        case Verdict::wrong:
            return "wrong";
        case Verdict::cannotTell:
            return "cannot tell";
    }
    return "";
}

std::string lineOf(const Finding& finding) {
    constexpr std::size_t width = 13;
    std::string line = toText(finding.verdict);
    line.append(width - line.size(), ' ').append(finding.about).append(": ").append(finding.found);
    if (!finding.expected.empty()) line.append("; expected ").append(finding.expected);
    return escaped(line) + '\n';
}

}  // namespace

std::size_t Findings::wrongOnes() const {
    return static_cast<std::size_t>(
        std::count_if(all_.begin(), all_.end(), [](const Finding& each) { return each.verdict == Verdict::wrong; }));
}

void Findings::write(bool json) const {
    Json::Value array(Json::arrayValue);
    for (const Finding& each : all_) {
        if (!json) std::cout << lineOf(each);
        Json::Value& entry = array.append({});
        entry["verdict"] = toText(each.verdict);
        entry["about"] = each.about;
        entry["found"] = each.found;
        if (!each.expected.empty()) entry["expected"] = each.expected;
    }
    if (json) std::cout << array << '\n';
}

}  // namespace necctl
