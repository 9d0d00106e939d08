// Events: raised by one thread, handled by subscribers on the event manager's own thread, in this process (classic
// manager) or in every process (extended manager). Events are lost when their process ends before they are handled
// and when a queue is full; what must not be lost goes through the reliable channel.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "platform/bus.h"
#include "platform/export.h"

// An event's parameter. An event manager owns it from the moment it is raised.
class FRAME_API TEEventParam {
public:
    TEEventParam() = default;
    virtual ~TEEventParam();
    TEEventParam(const TEEventParam&) = delete;
    TEEventParam& operator=(const TEEventParam&) = delete;

    // A parameter mostly lives no longer than one raise operation: its memory comes from slabs, as that of records
    // does.
    static void* operator new(std::size_t size);
    static void operator delete(void* param, std::size_t size) noexcept;
};

// A parameter with a record. The record is encoded here and now, so it may be destroyed at once.
class FRAME_API TEAsnEventParam : public TEEventParam {
public:
    // Throws std::bad_alloc.
    explicit TEAsnEventParam(const AsnType& record);
    ~TEAsnEventParam() override;
    const frame::Payload& record() const { return record_; }
    // Moves the record out.
    frame::Payload takeRecord() { return std::move(record_); }

private:
    frame::Payload record_;
};

namespace frame {

// An event as a subscriber sees it.
class FRAME_API Event {
public:
    unsigned long id = 0;
    CProcID sender;
    Payload record;  // empty for events of the classic manager

    // Decodes the record into `into`. False when it cannot be decoded; that is logged with the sender, `into` then
    // holds what was decoded before the error, and the handler should drop the event.
    bool decode(AsnType& into) const;
};

// Called on the event manager's thread, one event at a time, in the order in which they were raised. May raise
// events, subscribe and end subscriptions. An exception that leaves it is logged and ends only that call.
using EventHandler = std::function<void(const Event&)>;

}  // namespace frame

// What raise operations return.
inline constexpr int teEventRaised = 0;
inline constexpr int teEventClosed = 1;  // the manager was shut down
// The event did not reach every subscriber: this process's queue was full (65,536 events, or 64 MiB of records, wait
// for their handlers), or the bus could not carry it. The others got it. Each burst that a full queue drops is logged
// once.
inline constexpr int teEventOverflow = 2;

// The classic event manager: events without a record, inside this process. All operations may be called from any
// thread.
class FRAME_API TEEventMgr {
public:
    // The process's classic event manager; null when it has none. The pointer stays valid until the program ends; once
    // the process is gone, operations on it do nothing and say so.
    static TEEventMgr* Instance();

    // Raises event `eventId` and returns without waiting for subscribers. Takes ownership of `param` in every case.
    // `reserved` is 0.
    int RaiseEvent(unsigned long eventId, int reserved, TEEventParam* param);
    // `handler` is called for events with `eventId` raised from now on.
    frame::Subscription Subscribe(unsigned long eventId, frame::EventHandler handler);
};

// The extended event manager: events with a record, to this and every other process. All operations may be called
// from any thread.
class FRAME_API TEEventMgrEx {
public:
    // As TEEventMgr::Instance.
    static TEEventMgrEx* Instance();

    // As TEEventMgr::RaiseEvent.
    int RaiseEvent(unsigned long eventId, int reserved, TEAsnEventParam* param);
    frame::Subscription Subscribe(unsigned long eventId, frame::EventHandler handler);
};

namespace frame {

// What makes the event managers' doors open, while it lives. Owned by the process.
class FRAME_API EventManagers {
public:
    struct Options {
        bool classic = true;
        bool extended = true;
    };
    // `bus` must outlive it. Throws std::logic_error when others live in this program.
    EventManagers(BusEngine& bus, Options options);
    // Closes the doors; events not yet handled are dropped; waits for a handler that is running, so not from inside
    // one.
    ~EventManagers();
    EventManagers(const EventManagers&) = delete;
    EventManagers& operator=(const EventManagers&) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
