// The load balancer's virtual address in place of a service's own one.
#pragma once

#include <string>

namespace NEC {

// Where a check stands in the choice of a service, as its log lines tell.
enum class LvsTag { beforeSelection = 0, firstPass = 1, secondPass = 2 };

// Replaces `address` by the virtual address of this process that serves the network of the NE at `neIP`, of several the
// last one; leaves it when there is none. A null `neIP` is in no network. Throws what QueryLvsInfo and IsSameSub throw.
void replaceByVirtualAddress(std::string& address, const char* neIP, LvsTag tag);

}  // namespace NEC
