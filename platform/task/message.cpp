#include "task/message.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <new>

#include "bus/received.h"
#include "platform/log.h"

// The fields stand in memory as they do on the bus.
static_assert(std::endian::native == std::endian::little);
static_assert(offsetof(CmdMSG, payload) == cmdHeaderOctets);

void CmdMSG::operator delete(void* message, std::size_t) noexcept {
    ::operator delete(message);
}

// Not std::nothrow: programs that replace the allocation functions mostly replace the plain ones only.
void* CmdMSG::operator new(std::size_t size, unsigned long long octets) noexcept {
    try {
        return ::operator new(std::max<std::size_t>(size, octets));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace frame {

namespace {

constexpr std::uint32_t droppedMessage = 0xFFFFFFFF;

// What the length field counts beside the payload: itself but for its first two octets, and the two managers.
constexpr std::size_t lengthBesidePayload = 2;
constexpr std::size_t octetsBesideLength = cmdHeaderOctets - lengthBesidePayload;

std::string hasButExpected(const char* what, std::size_t has, const std::string& expected) {
    return std::string(what) + ' ' + std::to_string(has) + ", expected " + expected;
}

std::string faultOf(const CmdMSG& header, std::size_t size, const Recipient& recipient) {
    if (size < cmdHeaderOctets) return hasButExpected("octets", size, std::to_string(cmdHeaderOctets) + " or more");
    if (header.length != size - octetsBesideLength)
        return hasButExpected("length field", header.length, std::to_string(size - octetsBesideLength));
    if (header.dstDesk != 0 && header.dstDesk != recipient.desk)
        return hasButExpected("destination desk", header.dstDesk,
                              recipient.desk == 0 ? "0" : "0 or " + std::to_string(recipient.desk));
    if (header.kind != cmdRequest && header.kind != cmdAnswer) return hasButExpected("kind", header.kind, "6 or 7");
    if (!recipient.managers[header.dstManager])
        return hasButExpected("destination manager", header.dstManager, "one that the process has");
    return {};
}

}  // namespace

CmdMSG headerOf(std::string_view octets) {
    CmdMSG header;
    octets.copy(reinterpret_cast<char*>(&header), cmdHeaderOctets);
    return header;
}

CheckedMessage checkMessage(std::string_view octets, const Recipient& recipient) {
    CheckedMessage checked{headerOf(octets), {}};
    checked.fault = faultOf(checked.header, octets.size(), recipient);
    return checked;
}

MessagePtr copyOfMessage(std::string_view octets) noexcept {
    MessagePtr message(new (octets.size()) TesuCmdMSG);
    if (message) octets.copy(reinterpret_cast<char*>(message.get()), octets.size());
    return message;
}

std::string_view octetsOf(const CmdMSG& message) {
    return {reinterpret_cast<const char*>(&message), octetsBesideLength + message.length};
}

void logDropped(const CmdMSG& header, const std::string& why) {
    const char* kind = header.kind == cmdRequest ? "request " : header.kind == cmdAnswer ? "answer " : "message ";
    LogProcess::Error(droppedMessage,
                      kind + idText(header.command) + " from " + toText({header.srcType, header.srcHandle}) + " desk " +
                          std::to_string(header.srcDesk) + " manager " + std::to_string(header.srcManager) +
                          " to manager " + std::to_string(header.dstManager) + ", identifier " +
                          std::to_string(header.requestId) + ", dropped: " + why,
                      {__FILE__, __func__, __LINE__});
}

}  // namespace frame
