#include "trapserver/dispatcher.h"

#include <cstdint>
#include <iostream>
#include <memory>

#include "platform/asn1.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "platform/secure.h"
#include "support/task_manager.h"
#include "trapserver/string_coder.h"

namespace NEC {

namespace {

constexpr std::uint16_t dispatcherType = 0xB185;
constexpr std::uint16_t recordDispatcherType = 0x0BBD;
constexpr unsigned char trapServerDestination = 200;
constexpr unsigned char headedDestination = 100;
constexpr int commandTimeoutSeconds = 10;
constexpr int recordTimeoutSeconds = 60;

// The message with `text`, its terminating zero included, as payload; null when there is no memory.
TesuCmdMSG* messageWith(const std::string& text) {
    const std::size_t octets = text.length() + 1;
    auto* message = new (cmdHeaderOctets + octets) TesuCmdMSG;
    if (message == nullptr) return nullptr;
    char* payload = reinterpret_cast<char*>(message) + cmdHeaderOctets;
    if (const int error = memcpy_s(payload, octets, text.c_str(), octets); error != 0)
        FrameUtil::Trace("memcpy_s failed at line 67 errno: %d", error);
    return message;
}

void address(CmdMSG& message, unsigned int command, unsigned long requestId, unsigned char manager,
             unsigned char destination, std::size_t payloadOctets) {
    message.version = cmdVersion;
    message.reserved4 = 0;
    message.srcDesk = static_cast<std::uint16_t>(TesuGetDeskId());
    message.dstDesk = 0;
    message.srcHandle = static_cast<std::uint16_t>(TesuGetProcHandle());
    message.dstHandle = 0;
    message.srcType = static_cast<std::uint16_t>(TesuGetProcId());
    message.dstType = dispatcherType;
    message.command = command;
    message.kind = cmdRequest;
    message.requestId = static_cast<std::uint16_t>(requestId);
    message.reserved40 = 0;
    message.length = static_cast<std::uint32_t>(payloadOctets + 2);
    message.srcManager = manager;
    message.dstManager = destination;
}

// Sends, and lets go of the answer.
int send(const std::string& text, unsigned int command, unsigned char destination) {
    CmdMSG* rsp = nullptr;
    const int result = SendSyncStringMsgTask(text, command, rsp, destination, commandTimeoutSeconds);
    if (result == 0) delete rsp;
    return result;
}

std::string joined(std::string text, const std::list<std::string>& neIPs) {
    for (const std::string& neIP : neIPs) text.append(",").append(neIP);
    return text;
}

}  // namespace

int SendSyncStringMsgTask(const std::string& text, unsigned int command, CmdMSG*& rsp, unsigned char destination,
                          int timeoutSeconds) {
    constexpr unsigned long requestIds = 0xFFFF;
    const auto [manager, number] = firstTaskMgr();
    if (manager == nullptr) return -1;
    auto owned = std::make_unique<TesuTask>(manager, "SendSyncStringMsgTask");
    const unsigned long requestId = manager->AllocReqID(owned.get()) & requestIds;
    if (requestId == 0) return -1;
    TesuTask* task = owned.release();
    if (!manager->TMInitInsertTask(task)) return -1;
    TesuCmdMSG* message = messageWith(text);
    if (message == nullptr) {
        std::cout << "new TesuCmdMSG err!" << std::endl;
        return -1;
    }
    const RetiredAtEnd retired(task);
    task->FillCmdMsgHead(message);
    address(*message, command, requestId, number, destination, text.length() + 1);
    rsp = nullptr;
    if (task->TesuCmdSynSendCBEx(message, rsp, timeoutSeconds) != 0) return 0;
    delete rsp;
    rsp = nullptr;
    return -1;
}

void SendNECreatedToTrapDispatcher(std::map<std::string, int>& serverOfNE) {
    CCommaEncoder encoder;
    for (const auto& [neIP, server] : serverOfNE) encoder << neIP << server;
    send(encoder.str(), neAssignedCommand, trapServerDestination);
}

void SendNEDeleteToTrapDispatcher(std::list<std::string>& neIPs) {
    CCommaEncoder encoder;
    for (const std::string& neIP : neIPs) encoder << neIP;
    send(encoder.str(), neDeletedCommand, trapServerDestination);
}

int SendNEDeleteWithHeadToTrapDispatcher(std::list<std::string>& neIPs, const std::string& head) {
    return send(joined(head, neIPs), neDeletedCommand, headedDestination);
}

int SendNECreatedWithHeadToTrapDispatcher(std::list<std::string>& neIPs, const std::string& head1,
                                          const std::string& head2, const std::string& head3) {
    return send(joined(head1 + "," + head2 + "," + head3, neIPs), neAssignedCommand, headedDestination);
}

int SendMsgToTrapDispatcher(unsigned long command, AsnType& request) {
    FrameUtil::SMsgTarget target;
    target.procType = recordDispatcherType;
    AsnInt response(0);
    const int result = FrameUtil::SynSendMsg(target, command, request, &response, recordTimeoutSeconds);
    if (result != 0)
        FrameUtil::Trace("[SendMsgToTrapDispatcher] Send message to trap dispatcher failure, iRet = %d", result);
    else
        FrameUtil::TraceInfo("[SendMsgToTrapDispatcher] Send message to trap dispatcher success, ret value is %d",
                             static_cast<int>(response));
    return result;
}

TrapProxy::TrapProxy() = default;

TrapProxy::~TrapProxy() = default;

}  // namespace NEC
