// The reliable channel as the process sees it: its door, and what stands behind it.
#include "platform/reliable.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "bus/door.h"
#include "bus/received.h"
#include "platform/asn1.h"
#include "platform/log.h"
#include "reliable/forwarder.h"
#include "reliable/outbox.h"
#include "reliable/receiver.h"

namespace frame {

namespace {

constexpr std::size_t largestRecord = std::size_t{64} * 1024 * 1024;

using Outcome = Outbox::Outcome;

class Service {
public:
    Service(BusEngine& bus, const ReliableOptions& options)
        : self_(bus.address()), outbox_(options), forwarder_(bus, outbox_, options), receiver_(bus, outbox_) {}

    Outcome send(unsigned long id, const AsnType& record) {
        const Payload payload = encode(record);
        if (payload.size() > largestRecord)
            return {ReliableCode::tooLarge, std::to_string(payload.size()) +
                                                " octets are more than a message may have, " +
                                                std::to_string(largestRecord)};
        return outbox_.append({id, self_, payload.view()});
    }
    OutboxStatus status() const { return {outbox_.depth(), forwarder_.held()}; }
    Subscription subscribe(unsigned long id, ReliableHandler handler) {
        return receiver_.subscribe(id, std::move(handler));
    }

private:
    const CProcID self_;
    Outbox outbox_;
    Forwarder forwarder_;
    Receiver receiver_;  // ends first, while the forwarder can still be woken by what it handled
};

constinit Door<Service> door;
constinit NSTE_util::ReliableEventProxy proxy;

// An encoding error comes as an exception thrown by pointer.
Outcome send(unsigned long id, const AsnType& record) {
    const auto service = door.pin();
    if (!service) return {ReliableCode::closed, "the process has no reliable channel any more"};
    try {
        return service->send(id, record);
    } catch (const CSM_Exception* error) {
        const std::unique_ptr<const CSM_Exception> owned(error);
        return {ReliableCode::unencodable, error->text()};
    }
}

void logRefusal(unsigned long id, const Outcome& outcome) {
    char number[24];
    std::snprintf(number, sizeof number, "0x%lX", id);
    LogProcess::Error(static_cast<std::uint32_t>(outcome.code),
                      std::string("reliable message ") + number + " was not accepted: " + outcome.reason,
                      {__FILE__, __func__, __LINE__});
}

// Wherever the process goes later, and whatever the name means to SQLite.
ReliableOptions withAbsoluteFile(ReliableOptions options) {
    if (options.file.empty()) throw std::runtime_error("outbox: no file is named");
    options.file = std::filesystem::absolute(options.file).string();
    return options;
}

}  // namespace

bool ReliableEvent::decode(AsnType& into) const {
    return decodeReceived("reliable message", id, sender, record, into);
}

class ReliableChannel::Impl {
public:
    Impl(BusEngine& bus, const ReliableOptions& options) : service_(bus, withAbsoluteFile(options)) {
        if (!door.open(service_)) throw std::logic_error("this program has a process with a reliable channel already");
    }
    ~Impl() { door.close(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    OutboxStatus status() const { return service_.status(); }

private:
    Service service_;
};

ReliableChannel::ReliableChannel(BusEngine& bus, const ReliableOptions& options)
    : impl_(std::make_unique<Impl>(bus, options)) {}

ReliableChannel::~ReliableChannel() = default;

OutboxStatus ReliableChannel::status() const {
    return impl_->status();
}

}  // namespace frame

namespace NSTE_util {

ReliableEventProxy* ReliableEventProxy::Instance() {
    return frame::door.isOpen() ? &frame::proxy : nullptr;
}

int ReliableEventProxy::Send(unsigned long messageId, const AsnType& record) {
    const auto outcome = frame::send(messageId, record);
    if (outcome.code != frame::ReliableCode::ok) frame::logRefusal(messageId, outcome);
    return static_cast<int>(outcome.code);
}

frame::Subscription ReliableEventProxy::Subscribe(unsigned long messageId, frame::ReliableHandler handler) {
    const auto service = frame::door.pin();
    return service ? service->subscribe(messageId, std::move(handler)) : frame::Subscription();
}

}  // namespace NSTE_util
