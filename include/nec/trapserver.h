// Telling the trap-handling services which trap server receives the traps of which NE: the trap-server service, over
// HTTP, and then the trap dispatcher, by a command message.
//
// Every call runs on its caller's thread and blocks: up to 60 seconds for each HTTP request, and up to 10 for each
// command message. Nothing is returned: what fails is logged, and does not keep the rest from being done. Concurrent
// calls are independent. Throws std::bad_alloc, and what jsoncpp throws.
#pragma once

#include <list>

#include "nec/export.h"
#include "platform/light_string.h"

namespace NEC {

// An NE, by its IPv4 address in dotted text, and the number of the trap server that receives its traps.
struct _NEIP2SERVERID {  // NOLINT(bugprone-reserved-identifier): callers know it by this name
    light_basic_string neIP;
    short trapServerID = 0;
};

class CTrapServer {
public:
    // Registers all pairs, in their order, then tells the dispatcher; an NE that is listed twice has its last number
    // there. An empty list sends nothing. The list is not changed.
    NEC_API static void NotifyNECreated(std::list<_NEIP2SERVERID>& lstTrapServer);
    // One pair. A null or empty address sends nothing.
    NEC_API static void NotifyNECreated(const char* pNEIP, short trapServerID);

    // Deletes all NEs, then tells the dispatcher. An empty list is sent as well. The list is not changed.
    NEC_API static void NotifyNEDelete(std::list<light_basic_string>& lstNEIP);
    // One NE. A null address sends nothing.
    NEC_API static void NotifyNEDelete(const char* pNEIP);

    // Deletes all NEs, and then registers all pairs.
    NEC_API static void NotifyNETransfer(std::list<_NEIP2SERVERID>& lstTrapServer);
    // One pair. A null address sends nothing.
    NEC_API static void NotifyNETransfer(const char* pNEIP, short trapServerID);
};

}  // namespace NEC
