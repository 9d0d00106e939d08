// Commands that carry a record to every process that listens to a target.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/export.h"
#include "platform/payload.h"

class AsnType;
class TesuTask;

// A command on its way. Made with `new`; whoever made it calls Destroy.
class FRAME_API CAsnCmd {
public:
    CAsnCmd() = default;
    CAsnCmd(const CAsnCmd&) = delete;
    CAsnCmd& operator=(const CAsnCmd&) = delete;

    // Sends it, for `task`; null: for no task. Does not wait for receivers. May be called again, and from any thread.
    virtual int Send(TesuTask* task) = 0;
    // Deletes it.
    void Destroy() { delete this; }

protected:
    virtual ~CAsnCmd();
};

// A command for every process that has subscribed to `target`, the own one included.
class FRAME_API CAsnBcastCmd : public CAsnCmd {
public:
    // The record is encoded here and now, so it may be destroyed at once. Throws std::bad_alloc; a record with a null
    // in a required field is logged.
    CAsnBcastCmd(std::uint32_t command, const AsnType& record, std::uint16_t target);

    // Returns 0 when the bus has taken it, or a frame::RequestCode: `down` without a process or a connection,
    // `tooLarge` for a record of more than frame::mostBroadcastOctets, `unencodable` for one that could not be encoded.
    // Nobody gets it then. `task` is not looked at.
    int Send(TesuTask* task) override;

protected:
    ~CAsnBcastCmd() override;

private:
    std::uint32_t command_;
    std::uint16_t target_;
    std::optional<frame::Payload> record_;
};
