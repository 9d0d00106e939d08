// Announcing what happened to network elements (NEs): created, deleted, handed to another process.
//
// Every call but NotifyNEMgrSvrStartup builds one asn_frame::AsnDevIDListOfNEMgr on the caller's stack, raises it as an
// event of the extended event manager and returns without waiting for receivers. `neId` is carried as its low 32 bits,
// read as a signed number. Nothing is returned: a process without an event manager raises nothing, and a failed
// reliable message leaves a line in the trace log. Throws std::bad_alloc only. All calls may be made from any thread.
#pragma once

#include <vector>

#include "nec/export.h"
#include "platform/bus.h"

namespace NEC {

// Event 0x217006 from and to the own process, or from and to `proc`. A handle above 10000 is carried as 0.
NEC_API void NotifyNECreated(unsigned long neId);
NEC_API void NotifyNECreated(unsigned long neId, const CProcID& proc);

// Event 0x217008 from and to the own process.
NEC_API void NotifyNEDelete(unsigned long neId);

// Event 0x217007 from the own process to `dest`, then reliable message 0xB0762A with the same record. Blocks until the
// message is on disk. Without an event manager or without a reliable channel neither is sent. An empty `neIds` does
// nothing.
NEC_API void NotifyNETransfer(unsigned long neId, const CProcID& dest);
NEC_API void NotifyNETransfer(const std::vector<unsigned long>& neIds, const CProcID& dest);

// Event 0x217006 (NE created: not the transfer event) from `src` to `snk`; no reliable message. An empty `neIds` does
// nothing.
NEC_API void NotifyNETransfer(const std::vector<unsigned long>& neIds, const CProcID& src, const CProcID& snk);

// The NE manager server that calls it has started: event 0x217005 of both event managers, of the extended one with an
// asn_frame::AsnFrameProcID of the own process. Inside a task of the task framework it is raised before the call
// returns; outside, one timer tick (100 ms) later, on the thread of the process's first task manager. Without a task
// manager, or without one of the event managers, nothing happens.
NEC_API void NotifyNEMgrSvrStartup();

}  // namespace NEC
