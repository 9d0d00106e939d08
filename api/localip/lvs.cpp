#include "localip/lvs.h"

#include <json/json.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "support/location.h"

namespace NEC {

namespace {

constexpr std::uint32_t errorCode = 0x4101F011;
constexpr std::string_view lvsPrefix = "LVS_";

// The line of the call.
long failed(const char* text, int line = __builtin_LINE()) {
    LogProcess::Error(errorCode, text, here("QueryLvsInfo", line));
    return -1;
}

// Json::Reader, though it is deprecated: what it takes for JSON is what application descriptions may be.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool parse(std::istream& stream, Json::Value& root) try {
    return Json::Reader().parse(stream, root, true);
} catch (const std::ios_base::failure&) {  // a folder, for example
    return false;
}
#pragma GCC diagnostic pop

void readProxy(const Json::Value& proxy, const std::string& vip, LvsMap::mapped_type& networks) {
    const std::string mask = proxy["networkmask"].asString();
    const std::string target = proxy["targetnetwork"].asString();
    if (vip.empty() || mask.empty() || target.empty()) return;
    FrameUtil::Trace("[QueryLvsInfo] got vip and mask, vip = %s, mask = %s, target = %s", vip.c_str(), mask.c_str(),
                     target.c_str());
    networks.emplace_back(target, mask);
}

// `front`: an LVS member, which describes one front end.
void readFront(const Json::Value& front, LvsMap& vips) {
    if (!front.isObject() || !front.isMember("vips")) return;
    const Json::Value& list = front["vips"];
    FrameUtil::Trace("[QueryLvsInfo] parse json file [vips], size=%d", static_cast<int>(list.size()));
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        const std::string vip = list[i]["vip"].asString();
        LvsMap::mapped_type& networks = vips[vip];
        const Json::Value& proxies = list[i]["proxy"];
        for (Json::ArrayIndex j = 0; j < proxies.size(); ++j) readProxy(proxies[j], vip, networks);
    }
}

void readProcess(const Json::Value& process, bool& lvsSupported, LvsMap& vips) {
    for (const std::string& name : process.getMemberNames()) {
        FrameUtil::Trace("[QueryLvsInfo] strJsonProMember=%s", name.c_str());
        if (!name.starts_with(lvsPrefix)) {
            FrameUtil::Trace("[QueryLvsInfo] no found LVS in app_version file, not support LVS");
            continue;
        }
        lvsSupported = true;
        readFront(process[name], vips);
    }
}

}  // namespace

long QueryLvsInfo(bool& lvsSupported, LvsMap& vips) {
    lvsSupported = false;
    vips.clear();
    const char* processName = std::getenv("PROCESS_NAME");
    if (processName == nullptr) return failed("[QueryLvsInfo]No found PROCESS_NAME.");
    const char* fileName = std::getenv("APP_CONF_FILE");
    if (fileName == nullptr) return failed("[QueryLvsInfo]No found APP_CONF_FILE.");
    std::ifstream file(fileName);
    if (!file) return failed("[QueryLvsInfo]open file failed app_version.json");
    Json::Value root;
    if (!parse(file, root)) return failed("[QueryLvsInfo]parse file failed app_version.json");
    if (!root.isObject() || !root.isMember("processes")) {
        return failed("[QueryLvsInfo]no key [process] in app_version.json");
    }
    const Json::Value& processes = std::as_const(root)["processes"];
    for (const std::string& name : processes.getMemberNames()) {
        FrameUtil::Trace("[QueryLvsInfo] strJsonProListMember=%s", name.c_str());
        if (name.starts_with(processName)) readProcess(processes[name], lvsSupported, vips);
    }
    return 0;
}

}  // namespace NEC
