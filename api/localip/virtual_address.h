// The load balancer's virtual address in place of an address of this host.
#pragma once

#include <string>

namespace NEC {

// How a check says what it finds; who reads logs by machine relies on each letter.
struct LvsTexts {
    const char* without;  // format of two ints: the code of QueryLvsInfo, and how many virtual addresses there are
    const char* same;     // format of three texts, as the next: virtual address, mask, target network
    const char* differs;
};

// Replaces `address` by the virtual address of this process that serves the network of the NE at `remoteIp`, of several
// the last one; leaves it when there is none. A null `remoteIp` is in no network. Throws what QueryLvsInfo and
// IsSameSub throw.
void replaceByVirtualAddress(std::string& address, const std::string* remoteIp, const LvsTexts& texts);

}  // namespace NEC
