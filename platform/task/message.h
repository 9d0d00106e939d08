// Command messages as they come from the bus, and as they go there.
#pragma once

#include <bitset>
#include <memory>
#include <string>
#include <string_view>

#include "platform/task.h"

namespace frame {

using MessagePtr = std::unique_ptr<CmdMSG>;

// Whom a process takes command messages for.
struct Recipient {
    std::uint16_t desk = 0;
    std::bitset<256> managers;
};

// The header of `octets`: as much of it as there is; zeros behind.
CmdMSG headerOf(std::string_view octets);

// Octets from the bus, looked at.
struct CheckedMessage {
    CmdMSG header;      // see headerOf
    std::string fault;  // why the message is to be dropped: what it has, and what was expected; empty: it is well
};

CheckedMessage checkMessage(std::string_view octets, const Recipient& recipient);

// A copy of a well message; null when there is no memory.
MessagePtr copyOfMessage(std::string_view octets) noexcept;

// The payload's place in memory for a whole message.
inline char* payloadOf(CmdMSG& message) {
    return reinterpret_cast<char*>(&message) + cmdHeaderOctets;
}

// The octets of `message`, whose length is 2 or more.
std::string_view octetsOf(const CmdMSG& message);

// Logs that a message was dropped, who sent it, and why.
void logDropped(const CmdMSG& header, const std::string& why);

}  // namespace frame
