// What the own process sends over its bus: synchronous messages and broadcasts.
#include <memory>
#include <stdexcept>

#include "bus/door.h"
#include "bus/received.h"
#include "platform/asn1.h"
#include "platform/broadcast.h"
#include "platform/bus.h"
#include "platform/log.h"

namespace {

constinit frame::Door<frame::BusEngine> door;

// The record's octets; nothing when it cannot be encoded, which is logged.
std::optional<frame::Payload> encoded(const char* what, unsigned long id, const AsnType& record) {
    try {
        return frame::encode(record);
    } catch (const CSM_Exception* error) {
        const std::unique_ptr<const CSM_Exception> owned(error);
        LogProcess::Error(static_cast<std::uint32_t>(error->code()),
                          std::string(what) + " " + frame::idText(id) + ": " + error->text(),
                          {__FILE__, __func__, __LINE__});
        return std::nullopt;
    }
}

frame::RequestCode send(frame::BusEngine& bus, const CProcID& to, const frame::RequestMessage& message,
                        AsnType* response, int timeoutSeconds) {
    frame::Payload answer;
    const frame::RequestCode code = bus.request(to, message, timeoutSeconds, answer);
    if (code != frame::RequestCode::ok || response == nullptr) return code;
    return frame::decodeReceived("answer to request", message.id, to, answer, *response)
               ? code
               : frame::RequestCode::undecodable;
}

// Those who send broadcasts do not always look at what becomes of them.
void logNotSent(std::uint32_t command, std::uint16_t target, std::size_t octets, frame::RequestCode code) {
    LogProcess::Error(
        static_cast<std::uint32_t>(code),
        "broadcast " + frame::idText(command) + " to " + std::to_string(target) + " is not sent: " +
            (code == frame::RequestCode::tooLarge
                 ? std::to_string(octets) + " octets; at most " + std::to_string(frame::mostBroadcastOctets) + " may be"
                 : "the bus is down, or there is no process"),
        {__FILE__, __func__, __LINE__});
}

}  // namespace

int FrameUtil::SynSendMsg(const SMsgTarget& target, unsigned long messageId, const AsnType& request, AsnType* response,
                          int timeoutSeconds) {
    using frame::RequestCode;
    const auto bus = door.pin();
    if (!bus) return static_cast<int>(RequestCode::down);
    auto record = encoded("request", messageId, request);
    if (!record) return static_cast<int>(RequestCode::unencodable);
    return static_cast<int>(send(*bus, {target.procType, target.procHandle},
                                 {messageId, bus->address(), std::move(*record)}, response, timeoutSeconds));
}

CAsnCmd::~CAsnCmd() = default;

CAsnBcastCmd::CAsnBcastCmd(std::uint32_t command, const AsnType& record, std::uint16_t target)
    : command_(command), target_(target), record_(encoded("broadcast", command, record)) {}

CAsnBcastCmd::~CAsnBcastCmd() = default;

int CAsnBcastCmd::Send(TesuTask*) {
    using frame::RequestCode;
    if (!record_) return static_cast<int>(RequestCode::unencodable);
    const auto bus = door.pin();
    const RequestCode code = bus ? bus->broadcast({command_, target_, bus->address(), *record_}) : RequestCode::down;
    if (code != RequestCode::ok) logNotSent(command_, target_, record_->size(), code);
    return static_cast<int>(code);
}

namespace frame {

bool RequestMessage::decode(AsnType& into) const {
    return decodeReceived("request", id, sender, record, into);
}

bool BroadcastMessage::decode(AsnType& into) const {
    return decodeReceived("broadcast", command, sender, record, into);
}

Messages::Messages(BusEngine& bus) : bus_(bus) {
    if (!door.open(bus_)) throw std::logic_error("this program has a process with a place on the bus already");
}

Messages::~Messages() {
    door.shut();
    breakOff();
    door.wait();
}

void Messages::breakOff() {
    bus_.stopRequests();
}

}  // namespace frame
