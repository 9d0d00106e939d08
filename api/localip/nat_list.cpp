#include "localip/nat_list.h"

#include <json/json.h>

#include <cstring>
#include <stdexcept>

#include "support/location.h"

namespace NEC {

namespace {

// These log records stand for the exported function that reads the list.
constexpr const char* function = "GetLocalIpByRemoteIp";

std::string textOf(const Json::Value& element, const char* key) {
    if (!element.isObject()) return {};
    const Json::Value* value = element.find(key, key + std::strlen(key));
    if (value == nullptr) return {};
    return readGuarded(key, [value] { return value->asString(); });
}

NatInfo rowOf(const Json::Value& element) {
    NatInfo row;
    row.beginIP = textOf(element, "beginNEIP");
    row.endIP = textOf(element, "endNEIP");
    row.nmsIP = textOf(element, "nmsip");
    row.natIP = textOf(element, "natip");
    FrameUtil::Trace("[GetLocalIpByRemoteIp][%s, %s, %s, %s]", row.beginIP.c_str(), row.endIP.c_str(),
                     row.nmsIP.c_str(), row.natIP.c_str());
    return row;
}

}  // namespace

std::string readGuarded(const char* key, const std::function<std::string()>& read) {
    try {
        return read();
    } catch (const std::runtime_error& error) {
        LogProcess::Error(0, std::string("json exception:") + error.what() + key, here(function));
    } catch (...) {
        LogProcess::Error(0, std::string("json exception unknow what ") + key, here(function));
    }
    return {};
}

std::vector<NatInfo> natTableOf(const Json::Value& root) {
    std::vector<NatInfo> table;
    if (!root.isObject()) return table;
    for (const Json::Value& element : root["NatInfoList"]) table.push_back(rowOf(element));
    return table;
}

}  // namespace NEC
