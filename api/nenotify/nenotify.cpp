#include "nec/nenotify.h"

#include <memory>

#include "nec/records.h"
#include "nenotify/internal.h"
#include "platform/event.h"
#include "platform/log.h"
#include "platform/reliable.h"
#include "platform/task.h"

namespace NEC {

namespace {

using asn_frame::AsnDevIDListOfNEMgr;
using asn_frame::AsnFrameProcID;

constexpr unsigned long neCreatedEvent = 0x217006;
constexpr unsigned long neTransferredEvent = 0x217007;
constexpr unsigned long neDeletedEvent = 0x217008;
constexpr unsigned long neTransferMessage = 0xB0762A;

// NEs of processes with larger handles are announced as those of any process of the type.
constexpr int largestCreatedHandle = 10000;

CProcID ownProcess() {
    return {static_cast<std::uint16_t>(TesuGetProcId() & 0xFFFF),
            static_cast<std::uint16_t>(TesuGetProcHandle() & 0xFFFF)};
}

void fill(AsnFrameProcID& address, const CProcID& proc) {
    address.procType = proc.procType;
    address.procHandle = proc.procHandle;
}

void limitHandle(AsnFrameProcID& address) {
    if (address.procHandle > largestCreatedHandle) address.procHandle = 0;
}

void fill(AsnDevIDListOfNEMgr& record, const CProcID& src, const CProcID& snk) {
    fill(record.SnkProcID(), snk);
    fill(*record.srcProcID, src);
}

void append(AsnDevIDListOfNEMgr& record, unsigned long neId) {
    record.devIDList.Append(AsnInt(static_cast<std::int32_t>(static_cast<std::uint32_t>(neId))));
}

void append(AsnDevIDListOfNEMgr& record, const std::vector<unsigned long>& neIds) {
    for (const unsigned long neId : neIds) append(record, neId);
}

void raise(TEEventMgrEx& events, unsigned long event, const AsnDevIDListOfNEMgr& record) {
    events.RaiseEvent(event, 0, new TEAsnEventParam(record));
}

void raise(unsigned long event, const AsnDevIDListOfNEMgr& record) {
    if (TEEventMgrEx* events = TEEventMgrEx::Instance()) raise(*events, event, record);
}

void send(NSTE_util::ReliableEventProxy* reliable, const AsnDevIDListOfNEMgr& record) {
    if (reliable->Send(neTransferMessage, record) != 0) {
        FrameUtil::Trace("NSTE_util::ReliableEventProxy::Instance()->Send fail");
    }
}

// Both or neither: receivers of the message rely on the event having been raised before.
void raiseAndSend(const AsnDevIDListOfNEMgr& record) {
    TEEventMgrEx* events = TEEventMgrEx::Instance();
    if (events == nullptr) return;
    NSTE_util::ReliableEventProxy* reliable = NSTE_util::ReliableEventProxy::Instance();
    if (reliable == nullptr) return;
    raise(*events, neTransferredEvent, record);
    send(reliable, record);
}

}  // namespace

void NotifyNECreated(unsigned long neId) {
    NotifyNECreated(neId, ownProcess());
}

void NotifyNECreated(unsigned long neId, const CProcID& proc) {
    AsnDevIDListOfNEMgr record;
    fill(record, proc, proc);
    limitHandle(*record.srcProcID);
    limitHandle(*record.snkProcID);
    append(record, neId);
    raise(neCreatedEvent, record);
}

void NotifyNEDelete(unsigned long neId) {
    AsnDevIDListOfNEMgr record;
    fill(record, ownProcess(), ownProcess());
    append(record, neId);
    raise(neDeletedEvent, record);
}

void NotifyNETransfer(unsigned long neId, const CProcID& dest) {
    AsnDevIDListOfNEMgr record;
    fill(record, ownProcess(), dest);
    append(record, neId);
    raiseAndSend(record);
}

void NotifyNETransfer(const std::vector<unsigned long>& neIds, const CProcID& dest) {
    if (neIds.empty()) return;
    AsnDevIDListOfNEMgr record;
    fill(record, ownProcess(), dest);
    append(record, neIds);
    raiseAndSend(record);
}

void NotifyNETransfer(const std::vector<unsigned long>& neIds, const CProcID& src, const CProcID& snk) {
    if (neIds.empty()) return;
    AsnDevIDListOfNEMgr record;
    fill(record, src, snk);
    append(record, neIds);
    raise(neCreatedEvent, record);
}

void NotifyNETransfer(unsigned long neId, const CProcID& src, const CProcID& snk) {
    AsnDevIDListOfNEMgr record;
    fill(record, src, snk);
    append(record, neId);
    auto param = std::make_unique<TEAsnEventParam>(record);
    if (TEEventMgrEx* events = TEEventMgrEx::Instance()) events->RaiseEvent(neTransferredEvent, 0, param.release());
    send(NSTE_util::ReliableEventProxy::Instance(), record);
}

}  // namespace NEC
