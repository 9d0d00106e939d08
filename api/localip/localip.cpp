#include "nec/localip.h"

#include <json/json.h>

#include <cstdint>
#include <vector>

#include "localip/nat_list.h"
#include "localip/subnet.h"
#include "platform/http.h"
#include "platform/sysconfig.h"
#include "platform/text.h"
#include "support/location.h"

namespace NEC {

namespace {

constexpr std::uint32_t noSouthAddress = 0xFFFFFFFF;
constexpr unsigned long exchangeFailed = 0x41032196;
constexpr long badAnswer = 0xB00001A;
constexpr int timeoutSeconds = 60;

// Fetches the NAT list; returns 0 and the list in `root`, or the code of what failed.
long fetchNatList(Json::Value& root) {
    static const std::string path = "/rest/mc/v1/getnatinfolist";
    NETP::SendHttpMsgReqStruct request("GET", "getnatinfolist", timeoutSeconds);
    request.url = ns_tesusdk_wrap::GetIRBaseURL() + path;
    FrameUtil::Trace("[GetLocalIpByRemoteIp] require parameters url %s", request.url.c_str());
    NETP::SendHttpMsgRspStruct response;
    NETP::DirectSendTheHttpMsg(request, response);
    const unsigned long code = NETP::GetRetCodeByHttpRspResult(response.result, exchangeFailed);
    if (code != 0) {
        FrameUtil::Trace("[GetLocalIpByRemoteIp]QCMD_SEND_HTTPMSG failed %d, rsp %s", static_cast<int>(code),
                         response.body.c_str());
        return static_cast<long>(code);
    }
    FrameUtil::Trace("[GetLocalIpByRemoteIp]strRspBody rsp %s", response.body.c_str());
    if (!response.IsSucceedStatusCode() || JsonUtils::ParseToJson(root, response.body) != 0) {
        FrameUtil::Trace("[GetLocalIpByRemoteIp]Parse buffer to json_object failed, lStatusCode:%d, rsp %s",
                         static_cast<int>(response.statusCode), response.body.c_str());
        return badAnswer;
    }
    return 0;
}

}  // namespace

long GetLocalIpByRemoteIp(const std::string& remoteIp, std::string& localIp) {
    const std::string southIps = TESUcommonWrap::SysConfigure().getLocalSouthIP();
    if (southIps.empty()) {
        LogProcess::Error(noSouthAddress, "getLocalSouthIP failed!", here("GetLocalIpByRemoteIp"));
        localIp.clear();
        return -1;
    }
    Json::Value root;
    if (const long code = fetchNatList(root)) return code;
    GetIntersectIp(localIp, remoteIp, split(southIps, ";"), natTableOf(root));
    FrameUtil::Trace("[GetLocalIpByRemoteIp] get localip is: %s for RemoteIP:%s", localIp.c_str(), remoteIp.c_str());
    return 0;
}

}  // namespace NEC
