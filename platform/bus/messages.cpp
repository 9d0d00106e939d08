// Synchronous messages: a record goes out, a record comes back.
#include <memory>
#include <stdexcept>

#include "bus/door.h"
#include "bus/received.h"
#include "platform/asn1.h"
#include "platform/bus.h"
#include "platform/log.h"

namespace {

constinit frame::Door<frame::BusEngine> door;

// The request's octets; nothing when it cannot be encoded, which is logged.
std::optional<frame::Payload> encoded(unsigned long id, const AsnType& request) {
    try {
        return frame::encode(request);
    } catch (const CSM_Exception* error) {
        const std::unique_ptr<const CSM_Exception> owned(error);
        LogProcess::Error(static_cast<std::uint32_t>(error->code()),
                          "request " + frame::idText(id) + ": " + error->text(), {__FILE__, __func__, __LINE__});
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

}  // namespace

int FrameUtil::SynSendMsg(const SMsgTarget& target, unsigned long messageId, const AsnType& request, AsnType* response,
                          int timeoutSeconds) {
    using frame::RequestCode;
    const auto bus = door.pin();
    if (!bus) return static_cast<int>(RequestCode::down);
    auto record = encoded(messageId, request);
    if (!record) return static_cast<int>(RequestCode::unencodable);
    return static_cast<int>(send(*bus, {target.procType, target.procHandle},
                                 {messageId, bus->address(), std::move(*record)}, response, timeoutSeconds));
}

namespace frame {

bool RequestMessage::decode(AsnType& into) const {
    return decodeReceived("request", id, sender, record, into);
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
