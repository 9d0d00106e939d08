// The task framework: the own process, task managers (each one thread with a queue, tasks and timers), tasks, and the
// command messages that the tasks of all processes send each other.
//
// A process has the task managers that its configuration names, numbered 0 to 255. A task belongs to one of them, and
// all its virtual operations run on that manager's thread, one at a time. One tick of a timer is 100 milliseconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bus.h"
#include "platform/export.h"

// The own process type, handle and desk; 0 before a process is made and after it is gone. From any thread.
FRAME_API unsigned int TesuGetProcId();
FRAME_API unsigned int TesuGetProcHandle();
FRAME_API unsigned int TesuGetDeskId();

// A command message: a header of 50 octets, in little-endian, and behind it the payload, which the memory of a message
// holds as well (see TesuCmdMSG). docs/interfaces/command-message.md describes every field.
struct FRAME_API CmdMSG {
    std::uint8_t version = 0;  // 0: cmdVersion
    std::uint8_t reserved1[3] = {};
    std::uint32_t reserved4 = 0;
    std::uint16_t srcDesk = 0;  // 8: where the message comes from
    std::uint16_t dstDesk = 0;  // 10: where it goes; 0 means any
    std::uint16_t srcHandle = 0;
    std::uint16_t dstHandle = 0;  // 14: 0 means any process of the type
    std::uint16_t srcType = 0;
    std::uint16_t dstType = 0;
    std::uint32_t command = 0;  // 20
    std::uint8_t kind = 0;      // 24: cmdRequest or cmdAnswer
    std::uint8_t reserved25[13] = {};
    std::uint16_t requestId = 0;  // 38: an answer carries that of its request
    std::uint16_t reserved40 = 0;
    std::uint8_t reserved42[2] = {};
    std::uint32_t length = 0;     // 44: octets of the payload, and 2
    std::uint8_t srcManager = 0;  // 48: the task manager that it comes from
    std::uint8_t dstManager = 0;  // 49: the one that it goes to
    char payload[2] = {};         // 50: its first octets

    // The payload, by `length`; empty when that is below 2.
    std::string_view payloadView() const { return {payload, length < 2 ? 0 : length - 2}; }

    // `new (octets) TesuCmdMSG`: memory for the larger of `size` and `octets`; null when there is none. (With a
    // std::size_t for `octets`, the operator delete would be the one for constructors that throw, which C++ forbids.)
    static void* operator new(std::size_t size, unsigned long long octets) noexcept;
    // Gives back the memory of a message, whatever it is; `size` is that of the class.
    static void operator delete(void* message, std::size_t size) noexcept;
};
static_assert(sizeof(CmdMSG) == 52, "a header of 50 octets, padded to a multiple of 4");

// A message that is made here, with memory for header and payload together.
struct FRAME_API TesuCmdMSG : CmdMSG {};

using TECmdMsg = CmdMSG;
using TesuErrorCode = int;

inline constexpr std::size_t cmdHeaderOctets = 50;
inline constexpr std::uint8_t cmdVersion = 10;
inline constexpr std::uint8_t cmdRequest = 6;
inline constexpr std::uint8_t cmdAnswer = 7;
// The state in which a task's manager deletes it.
inline constexpr int taskRetired = 3;

class TesuTask;

namespace frame {
class TaskManager;
class TaskManagers;
struct TaskState;
template <class Impl>
class Door;
}  // namespace frame

// A task manager of a process. Those of TesuAppMgr stay valid until the program ends; once the process is gone,
// operations on them do nothing and say so. All may be called from any thread.
class FRAME_API TesuTaskMgr {
public:
    // An identifier for requests of `task`, which was made for this manager: 1 to 65535, in turn, never one that is in
    // use; 0 when none is free or the manager is gone. It is free again when the task is deleted.
    unsigned long AllocReqID(TesuTask* task);
    // Takes over `task`, and calls its InitTaskCmdReqProcess on the manager's thread; its timers begin. When the
    // manager is gone, or the task was made for another one, deletes it at once and returns false.
    bool TMInitInsertTask(TesuTask* task);
    // Requests to this manager go to `task`, which was inserted before, until it is retired; before, and afterwards,
    // they are dropped with a line in the log. Null: to none from now on.
    void TMSetCmdTask(TesuTask* task);
    unsigned char number() const { return number_; }

private:
    friend class TesuTask;
    friend class frame::TaskManagers;
    constexpr TesuTaskMgr(unsigned char number, frame::Door<frame::TaskManager>& door)
        : number_(number), door_(&door) {}

    unsigned char number_;
    frame::Door<frame::TaskManager>* door_;
};

// The process's task managers. From any thread.
class FRAME_API TesuAppMgr {
public:
    // Never null: without a process it finds no manager.
    static TesuAppMgr* Instance();
    // The task manager with this number; null when the process has none, or there is no process.
    TesuTaskMgr* FindTaskMgrByID(unsigned char number);
};

// A task. Made by anybody with `new`, then inserted into its manager, which deletes it once its state is 3. All
// operations that are not virtual may be called from any thread, as long as the task is not retired, also when the
// manager is gone. An exception that leaves a virtual one is logged and ends only that call.
//
// Tasks that are left when their process goes are deleted, but for those that are a TesuTask and nothing more: such a
// task does nothing of itself, so whoever made it is still about to use it, and retires it.
class FRAME_API TesuTask {
public:
    // `manager`: where it is to be inserted; not null. `name`: for logs; copied.
    TesuTask(TesuTaskMgr* manager, const char* name);
    virtual ~TesuTask();
    TesuTask(const TesuTask&) = delete;
    TesuTask& operator=(const TesuTask&) = delete;

    // Called once, when the manager begins with the task. `message` is null.
    virtual void InitTaskCmdReqProcess(CmdMSG* message);
    // A request to the manager has come, for the task that TMSetCmdTask named. The message belongs to the manager.
    virtual void TesuTaskCmdRecv(CmdMSG* message);
    // An answer to a request of this task has come that nobody waits for, too late for example: `error` is 0. The
    // message belongs to the manager.
    virtual void TesuTaskCmdResp(TesuErrorCode error, CmdMSG* message);
    // A timer of the task has expired. Expiries that nobody had time for are not made up.
    virtual void TesuTaskTimeOut(long timer);

    // A timer that expires every `ticks` (0 counts as 1) from when the task is inserted, or from now on. Returns its
    // identifier, 1 or more, which no timer of the task had before.
    long SetTaskTimeInterval(unsigned int ticks);
    // The timer does not expire any more. Nothing happens when there is none with this identifier.
    void DelTaskTimeInterval(long timer);
    // 3 retires the task: its manager deletes it soon, and nothing of it may be used any more. (When it is not inserted
    // yet, its maker still owns it.) Other states are the task's own.
    void TesuSetTaskState(int state);

    // Fills the header of `message`: version, kind request, the process of this task's manager as the source, that
    // manager as srcManager; zeros elsewhere. The payload is left alone.
    void FillCmdMsgHead(CmdMSG* message) const;
    // Sends `message`, which it takes over, to the process that dstType and dstHandle name, and blocks until the answer
    // with its requestId comes, up to `timeoutSeconds` (less than 1 counts as 1). The requestId is one that AllocReqID
    // gave for this task, and no other send waits with it; length is 2 or more, srcManager this task's manager. Returns
    // 1, and in `answer` the answer, which the caller deletes; or 0 and null: no such process, no answer in time, the
    // bus is down, the process is going down, or the message is not one to send; the log says which. An operation of
    // a task may send, but not to its own manager, whose thread would wait for itself: 0 then.
    int TesuCmdSynSendCBEx(CmdMSG* message, CmdMSG*& answer, int timeoutSeconds);
    // Answers `request` with `payload`: it goes to where the request came from. Returns 0, or a frame::RequestCode.
    int TesuCmdAnswer(const CmdMSG& request, std::string_view payload);

    const std::string& name() const { return name_; }

private:
    friend class frame::TaskManager;
    std::shared_ptr<frame::TaskManager> manager_;  // outlives what makes it work; never null
    std::string name_;
    std::unique_ptr<frame::TaskState> state_;
};

// A task for messages whose payload is no record.
class FRAME_API TesuGnlTask : public TesuTask {
public:
    using TesuTask::TesuTask;
    ~TesuGnlTask() override;
    // Hands the message to HandleNoAsn1Msg.
    void TesuTaskCmdRecv(CmdMSG* message) override;
    void TesuTaskCmdResp(TesuErrorCode error, CmdMSG* message) override;
    void TesuTaskTimeOut(long timer) override;
    virtual void HandleNoAsn1Msg(TECmdMsg* message);
};

// The task that runs on this thread; null outside of one.
FRAME_API TesuTask* TesuGetCurrentTask();

namespace frame {

// Sets what TesuGetProcId, TesuGetProcHandle and TesuGetDeskId tell. Called by the process only.
FRAME_API void setOwnProcess(std::uint16_t type, std::uint16_t handle, std::uint16_t desk);

// The task managers of one process, while it lives. The process's own are those that TesuAppMgr finds; stand-ins that
// are hosted in the same program have others beside them.
class FRAME_API TaskManagers {
public:
    enum class Reach { ofTheProcess, ofAStandIn };

    // `bus` must outlive it. `desk`: that of the process; messages to other desks are dropped. Throws std::logic_error
    // for `ofTheProcess` when this program has such ones already, and when the process receives commands already.
    TaskManagers(BusEngine& bus, std::uint16_t desk, const std::vector<unsigned char>& numbers, Reach reach);
    // Sends that wait give 0; waits for operations of tasks that are running, so not from inside one; and deletes the
    // tasks.
    ~TaskManagers();
    TaskManagers(const TaskManagers&) = delete;
    TaskManagers& operator=(const TaskManagers&) = delete;

    // As TesuAppMgr::FindTaskMgrByID. Of a stand-in: valid while this lives.
    TesuTaskMgr* find(unsigned char number);
    // Sends that wait, and all later ones, give 0: the process is going down, and tasks or others may wait in them.
    void breakOff();

private:
    friend class ::TesuAppMgr;
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
