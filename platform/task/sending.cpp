// What a task manager sends for its tasks.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "bus/received.h"
#include "platform/log.h"
#include "task/call.h"
#include "task/manager.h"

namespace frame {

namespace {

std::string textOf(RequestCode code, int timeoutSeconds) {
    switch (code) {
        case RequestCode::noProcess:
            return "no process there receives commands";
        case RequestCode::timedOut:
            return "no answer within " + std::to_string(std::max(timeoutSeconds, 1)) + " s";
        case RequestCode::tooLarge:
            return "larger than a message may be";
        default:
            return "the bus is down, or the process is going down";
    }
}

}  // namespace

void TaskManager::fillHead(CmdMSG& message) const {
    CmdMSG head;
    head.version = cmdVersion;
    head.kind = cmdRequest;
    head.srcDesk = desk_;
    head.srcHandle = address_.procHandle;
    head.srcType = address_.procType;
    head.srcManager = number_;
    std::memcpy(static_cast<void*>(&message), &head, cmdHeaderOctets);
}

// Why the message is not one for `task` to send; null when it is.
const char* TaskManager::unfitness(const TesuTask& task, const CmdMSG& message) const {
    if (isThreadOf(*this) && CProcID{message.dstType, message.dstHandle} == address_ && message.dstManager == number_)
        return "the thread of its task manager would wait for itself";
    if (message.length < 2) return "its length field is below 2";
    const std::lock_guard lock(mutex_);
    if (!stopped_ && identifiers_.owner(message.requestId) != &task) return "its identifier is not one of this task";
    return nullptr;
}

MessagePtr TaskManager::exchange(TesuTask& task, MessagePtr message, int timeoutSeconds) {
    const CmdMSG header = *message;
    MessagePtr answer;
    const std::string failure = tryExchange(task, std::move(message), timeoutSeconds, answer);
    if (!failure.empty())
        LogProcess::Error(taskFailure,
                          "task " + task.name() + ": request " + idText(header.command) + " to " +
                              toText({header.dstType, header.dstHandle}) + " manager " +
                              std::to_string(header.dstManager) + ", identifier " + std::to_string(header.requestId) +
                              ", has no answer: " + failure,
                          {__FILE__, __func__, __LINE__});
    return answer;
}

// Gives what failed; empty: nothing, and `answer` is set.
std::string TaskManager::tryExchange(const TesuTask& task, MessagePtr message, int timeoutSeconds, MessagePtr& answer) {
    if (const char* unfit = unfitness(task, *message)) return unfit;
    const CProcID to{message->dstType, message->dstHandle};
    const std::uint16_t id = message->requestId;
    Payload octets(octetsOf(*message));
    message.reset();
    Payload answered;
    // While it waits, nothing of the request is kept here.
    const auto code = waiting_.exchange(
        id, timeoutSeconds, [&] { return send(to, std::exchange(octets, Payload())); }, answered);
    if (!code) return "another send waits with its identifier";
    if (*code != RequestCode::ok) return textOf(*code, timeoutSeconds);
    answer = copyOfMessage(answered.view());
    return answer ? "" : "out of memory for its answer";
}

RequestCode TaskManager::answer(const CmdMSG& request, std::string_view payload) {
    if (payload.size() > mostRequestOctets) return RequestCode::tooLarge;
    const MessagePtr message(new (cmdHeaderOctets + payload.size()) TesuCmdMSG);
    if (!message) throw std::bad_alloc();
    fillHead(*message);
    message->kind = cmdAnswer;
    message->dstDesk = request.srcDesk;
    message->dstHandle = request.srcHandle;
    message->dstType = request.srcType;
    message->dstManager = request.srcManager;
    message->command = request.command;
    message->requestId = request.requestId;
    message->length = static_cast<std::uint32_t>(payload.size() + 2);
    payload.copy(payloadOf(*message), payload.size());
    return send({message->dstType, message->dstHandle}, Payload(octetsOf(*message)));
}

RequestCode TaskManager::send(const CProcID& to, const Payload& message) {
    const auto bus = bus_.pin();
    return bus ? bus->sendCommand(to, message) : RequestCode::down;
}

}  // namespace frame
