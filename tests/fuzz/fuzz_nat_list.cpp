// Bodies of NAT lists: what is JSON gives rows, and those can be matched with an address like any others.
#include <json/json.h>

#include <cstdint>

#include "api/localip/plain.h"
#include "localip/nat_list.h"
#include "localip/nms_lookup.h"
#include "platform/log.h"
#include "platform/text.h"
#include "require.h"
#include "support/record_codec.h"

namespace {

void silenceLog() {
    [[maybe_unused]] static const bool done = [] {
        frame::LogOptions silent;
        silent.level = frame::LogLevel::off;
        silent.trace = false;
        frame::openLog(silent, 1, 1);
        return true;
    }();
}

void match(const std::vector<NEC::NatInfo>& table, const std::string& remoteIp) {
    asn_frame::AsnFrameGetNodeIPResponse found;
    asn_frame::AsnFrameGetNodeIPResponse expected;
    NEC::GetOneLocalIpRspFromIpTable(table, remoteIp, found);
    plain::matchTable(table, remoteIp, expected, nullptr);
    require(support::encoded(found) == support::encoded(expected), "the table match differs from the plain one");
    std::string localIp;
    NEC::GetNmsIPOrNATIP(localIp, "192.168.1.5", found.nodeIPList);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    silenceLog();
    const frame::LogCapture log;  // so that texts are made
    Json::Value root;
    if (JsonUtils::ParseToJson(root, std::string(reinterpret_cast<const char*>(data), size)) != 0) return 0;
    const std::vector<NEC::NatInfo> table = NEC::natTableOf(root);
    match(table, "10.0.0.9");
    for (const NEC::NatInfo& row : table) match({row}, row.endIP);
    return 0;
}
