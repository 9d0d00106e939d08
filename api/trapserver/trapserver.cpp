#include "nec/trapserver.h"

#include <cstdint>

#include "platform/db.h"
#include "platform/http.h"
#include "platform/log.h"
#include "trapserver/dispatcher.h"
#include "trapserver/request_body.h"

namespace NEC {

namespace {

const std::string registPath = "/dam/v1/netrapserver/action/regist";
const std::string deletePath = "/dam/v1/netrapserver/action/delete";

constexpr int timeoutSeconds = 60;
constexpr unsigned long exchangeFailed = 0x41032196;
constexpr std::uint32_t noWriter = 0xFFFFFFFF;

// One of the two requests to the trap-server service: what tells them apart.
struct Operation {
    const char* name;
    const std::string& path;
    const char* bodyGap;  // the blanks between "strReqBody" and the body, in the trace
    const char* noWriterText;
    int noWriterLine;
};

const Operation registration{"TrapServerSendMsgForRegist", registPath, "  ",
                             "TrapServerSendMsgForRegist StreamWriterBuilder.newStreamWriter() null", 456};
const Operation deletion{"TrapServerSendMsgForDelete", deletePath, " ",
                         "TrapServerSendMsgForDelete StreamWriterBuilder.newStreamWriter() is null", 413};

void traceFailure(const char* name, const NETP::SendHttpMsgRspStruct& response) {
    const unsigned long code = NETP::GetRetCodeByHttpRspResult(response.result, exchangeFailed);
    if (code != 0)
        FrameUtil::Trace("[%s] response result %lu", name,
                         static_cast<unsigned long>(static_cast<std::uint32_t>(code)));
    else if (!response.IsSucceedStatusCode())
        FrameUtil::Trace("[%s] response status %lu", name, static_cast<unsigned long>(response.statusCode));
}

// `makeBody` gives the body of a list, or nothing when there is no writer for it.
template <class List, class MakeBody>
void send(const Operation& operation, const List& list, MakeBody makeBody) {
    NETP::SendHttpMsgReqStruct request("POST", operation.name, timeoutSeconds);
    request.url = NETP::GetHttpReqIPAddr() + operation.path;
    FrameUtil::Trace("[%s] require parameters url %s", operation.name, request.url.c_str());
    auto body = makeBody(list, Json::StreamWriterBuilder());
    if (!body) {
        LogProcess::Error(noWriter, operation.noWriterText, {"api", operation.name, operation.noWriterLine});
        return;
    }
    request.body = std::move(*body);
    FrameUtil::Trace("[%s] url strReqBody%s%s", operation.name, operation.bodyGap, request.body.c_str());
    NETP::SendHttpMsgRspStruct response;
    NETP::DirectSendTheHttpMsg(request, response);
    traceFailure(operation.name, response);
}

void TrapServerSendMsgForRegist(std::list<_NEIP2SERVERID>& assignments) {
    send(registration, assignments, registrationBody);
}

void TrapServerSendMsgForDelete(std::list<light_basic_string>& neIPs) {
    send(deletion, neIPs, deletionBody);
}

std::string textOf(const light_basic_string& text) {
    return {text.data(), text.size()};
}

}  // namespace

void CTrapServer::NotifyNECreated(std::list<_NEIP2SERVERID>& lstTrapServer) {
    const OrigFuncTraceGuard guard("api", 395, "NotifyNECreated", "", "");
    const dao::CSqlSession session;
    if (lstTrapServer.empty()) {
        FrameUtil::Trace("[CTrapServer::NotifyNECreated] lstTrapServer size is less than 1");
        return;
    }
    TrapServerSendMsgForRegist(lstTrapServer);
    std::map<std::string, int> serverOfNE;
    for (const _NEIP2SERVERID& assignment : lstTrapServer)
        serverOfNE[textOf(assignment.neIP)] = assignment.trapServerID;
    SendNECreatedToTrapDispatcher(serverOfNE);
}

void CTrapServer::NotifyNECreated(const char* pNEIP, short trapServerID) {
    if (pNEIP == nullptr || *pNEIP == '\0') {
        FrameUtil::Trace("[CTrapServer::NotifyNECreated] pNEIP is NULL, return.");
        return;
    }
    std::list<_NEIP2SERVERID> one{{pNEIP, trapServerID}};
    NotifyNECreated(one);
}

void CTrapServer::NotifyNEDelete(std::list<light_basic_string>& lstNEIP) {
    const OrigFuncTraceGuard guard("api", 476, "NotifyNEDelete", "", "");
    TrapServerSendMsgForDelete(lstNEIP);
    std::list<std::string> neIPs;
    for (const light_basic_string& neIP : lstNEIP) neIPs.push_back(textOf(neIP));
    SendNEDeleteToTrapDispatcher(neIPs);
}

void CTrapServer::NotifyNEDelete(const char* pNEIP) {
    if (pNEIP == nullptr) {
        FrameUtil::Trace("[CTrapServer::NotifyNEDelete] pNEIP is NULL, return.");
        return;
    }
    std::list<light_basic_string> one{pNEIP};
    NotifyNEDelete(one);
}

void CTrapServer::NotifyNETransfer(std::list<_NEIP2SERVERID>& lstTrapServer) {
    std::list<light_basic_string> neIPs;
    for (const _NEIP2SERVERID& assignment : lstTrapServer) neIPs.push_back(assignment.neIP);
    NotifyNEDelete(neIPs);
    NotifyNECreated(lstTrapServer);
}

void CTrapServer::NotifyNETransfer(const char* pNEIP, short trapServerID) {
    if (pNEIP == nullptr) {
        FrameUtil::Trace("[CTrapServer::NotifyNETransfer] pNEIP is NULL, return.");
        return;
    }
    std::list<_NEIP2SERVERID> one{{pNEIP, trapServerID}};
    NotifyNETransfer(one);
}

}  // namespace NEC
