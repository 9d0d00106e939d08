// The event managers as the process sees them: parameters, doors, and what opens them.
#include "platform/event.h"

#include <optional>
#include <stdexcept>

#include "asn1/slab.h"
#include "bus/door.h"
#include "bus/received.h"
#include "event/manager.h"

namespace {

using ManagerDoor = frame::Door<frame::EventManager>;

constinit ManagerDoor classicDoor;
constinit ManagerDoor extendedDoor;
constinit TEEventMgr classic;
constinit TEEventMgrEx extended;

int raise(ManagerDoor& door, unsigned long id, frame::Payload record) {
    const auto manager = door.pin();
    return manager ? manager->raise(id, std::move(record)) : teEventClosed;
}

frame::Subscription subscribe(ManagerDoor& door, unsigned long id, frame::EventHandler handler) {
    const auto manager = door.pin();
    return manager ? manager->subscribe(id, std::move(handler)) : frame::Subscription();
}

}  // namespace

TEEventParam::~TEEventParam() = default;

void* TEEventParam::operator new(std::size_t size) {
    return frame::slab::allocate(size);
}

void TEEventParam::operator delete(void* param, std::size_t size) noexcept {
    frame::slab::release(param, size);
}

TEAsnEventParam::TEAsnEventParam(const AsnType& record) : record_(frame::encode(record)) {}

TEAsnEventParam::~TEAsnEventParam() = default;

TEEventMgr* TEEventMgr::Instance() {
    return classicDoor.isOpen() ? &classic : nullptr;
}

int TEEventMgr::RaiseEvent(unsigned long eventId, int, TEEventParam* param) {
    const std::unique_ptr<TEEventParam> owned(param);
    return raise(classicDoor, eventId, {});
}

frame::Subscription TEEventMgr::Subscribe(unsigned long eventId, frame::EventHandler handler) {
    return subscribe(classicDoor, eventId, std::move(handler));
}

TEEventMgrEx* TEEventMgrEx::Instance() {
    return extendedDoor.isOpen() ? &extended : nullptr;
}

int TEEventMgrEx::RaiseEvent(unsigned long eventId, int, TEAsnEventParam* param) {
    const std::unique_ptr<TEAsnEventParam> owned(param);
    return raise(extendedDoor, eventId, owned ? owned->takeRecord() : frame::Payload());
}

frame::Subscription TEEventMgrEx::Subscribe(unsigned long eventId, frame::EventHandler handler) {
    return subscribe(extendedDoor, eventId, std::move(handler));
}

namespace frame {

bool Event::decode(AsnType& into) const {
    return decodeReceived("event", id, sender, record, into);
}

namespace {

// A manager behind its door.
class Service {
public:
    Service(ManagerDoor& door, BusEngine* bus, CProcID self)
        : door_(door), manager_(std::make_shared<EventManager>(bus, self)) {
        if (door_.open(*manager_)) return;
        manager_->stop();
        throw std::logic_error("this program has a process with event managers already");
    }
    ~Service() {
        door_.close();
        manager_->stop();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

private:
    ManagerDoor& door_;
    std::shared_ptr<EventManager> manager_;
};

}  // namespace

class EventManagers::Impl {
public:
    Impl(BusEngine& bus, Options options) {
        if (options.classic) classic_.emplace(classicDoor, nullptr, bus.address());
        if (options.extended) extended_.emplace(extendedDoor, &bus, bus.address());
    }

private:
    std::optional<Service> classic_;
    std::optional<Service> extended_;
};

EventManagers::EventManagers(BusEngine& bus, Options options) : impl_(std::make_unique<Impl>(bus, options)) {}

EventManagers::~EventManagers() = default;

}  // namespace frame
