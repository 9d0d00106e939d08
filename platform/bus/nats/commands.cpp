#include "bus/nats/commands.h"

#include <memory>
#include <utility>

namespace frame::nats {

namespace {

// How long looking for a process may take.
constexpr int patienceSeconds = 5;

}  // namespace

RequestCode Commands::send(const CProcID& to, const Payload& message) {
    if (message.size() > mostRequestOctets) return RequestCode::tooLarge;
    if (!station_.connected()) return RequestCode::down;
    CProcID target = to;
    if (to.procHandle == 0 && station_.needsPieces(message)) {
        // All pieces must reach the same process.
        const RequestCode code = asking_.find(station_.subjects().who(commandKind, to.procType), to.procType,
                                              PendingRequest::deadlineIn(patienceSeconds), target);
        if (code != RequestCode::ok) return code == RequestCode::timedOut ? RequestCode::down : code;
    }
    Outgoing outgoing;
    outgoing.subject = station_.subjects().to(commandKind, target);
    outgoing.record = message.view();
    return asking_.tell(std::move(outgoing));
}

Commands::Received Commands::receive(CommandSink sink) {
    const auto ticket = receiver_.set(std::move(sink));
    return {ticket, listen()};
}

void Commands::end(const Received& received) {
    received.ticket.end();
    for (const auto key : received.keys) station_.ignore(key);
}

std::vector<Interests::Key> Commands::listen() {
    const CProcID own = station_.address();
    const Subjects& subjects = station_.subjects();
    const std::string group = Subjects::group(own.procType);
    const auto taking = [this](const Incoming& message) { receiver_.take(message.record); };
    return {station_.listenInTurn(subjects.to(commandKind, {own.procType, 0}), group, true, taking),
            station_.listenInTurn(subjects.to(commandKind, own), "", true, taking),
            station_.listen(subjects.who(commandKind, own.procType), group,
                            [this](const Incoming& message) { station_.tellAddress(message); })};
}

}  // namespace frame::nats
