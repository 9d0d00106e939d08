// What nenotify has beside its exported functions.
#pragma once

#include "platform/bus.h"

namespace NEC {

// One NE handed from `src` to `snk`: event 0x217007, if there is an event manager, and reliable message 0xB0762A. The
// process must have a reliable channel.
void NotifyNETransfer(unsigned long neId, const CProcID& src, const CProcID& snk);

}  // namespace NEC
