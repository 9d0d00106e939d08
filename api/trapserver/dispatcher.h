// What the trap dispatcher is told, as command messages with one comma-joined text, or as a record.
//
// All operations block their caller until the dispatcher has answered or its time is up; what it answers is not looked
// at. They throw std::bad_alloc.
#pragma once

#include <list>
#include <map>
#include <string>

#include "platform/task.h"

class AsnType;

namespace NEC {

inline constexpr unsigned int neAssignedCommand = 0x3ffb9f;  // IP, number, IP, number, ...
inline constexpr unsigned int neDeletedCommand = 0x3ffba0;   // IP, IP, ...

// Sends `text` as a command message to task manager `destination` of the trap dispatcher. Returns 0 and the answer in
// `rsp`, which the caller deletes. Otherwise -1: `rsp` is null when the message was sent, and stays as it was when
// there is no task manager, request identifier or memory for it.
int SendSyncStringMsgTask(const std::string& text, unsigned int command, CmdMSG*& rsp, unsigned char destination,
                          int timeoutSeconds);

void SendNECreatedToTrapDispatcher(std::map<std::string, int>& serverOfNE);
void SendNEDeleteToTrapDispatcher(std::list<std::string>& neIPs);

// The same news with further fields in front of the addresses. Return what SendSyncStringMsgTask does.
int SendNEDeleteWithHeadToTrapDispatcher(std::list<std::string>& neIPs, const std::string& head);
int SendNECreatedWithHeadToTrapDispatcher(std::list<std::string>& neIPs, const std::string& head1,
                                          const std::string& head2, const std::string& head3);

// Sends `request` as message `command` to the dispatcher, and returns what FrameUtil::SynSendMsg does.
int SendMsgToTrapDispatcher(unsigned long command, AsnType& request);

// Stands for the dispatcher where one is to be held.
class TrapProxy {
public:
    TrapProxy();
    virtual ~TrapProxy();
};

}  // namespace NEC
