// A stand-in of the trap dispatcher: learns by command messages which trap server serves which NE.
#pragma once

#include "assignment_store.h"
#include "platform/bus.h"
#include "platform/task.h"

namespace peers {

// What the text of `message` says: address, number, address, number, ...
AssignmentStore::Assignments assignmentsIn(const CmdMSG& message);

class TrapDispatcher {
public:
    static constexpr CProcID address{0xB185, 1};
    static constexpr unsigned char manager = 200;
    // Answered with what is known: address, number, address, number, ... NEs without an address are left out, as the
    // text could not begin with one. This stand-in's own: no other dispatcher knows it.
    static constexpr unsigned int listCommand = 0x3ffba1;

    // Takes commands on `bus` while it lives. `file`: see AssignmentStore.
    TrapDispatcher(frame::BusEngine& bus, const std::string& file);

private:
    AssignmentStore store_;
    frame::TaskManagers managers_;
};

}  // namespace peers
