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
        const auto found = asking_.find(station_.subjects().who(commandKind, to.procType), to.procType,
                                        PendingRequest::deadlineIn(patienceSeconds));
        if (!found) return RequestCode::noProcess;
        target = *found;
    }
    Outgoing outgoing;
    outgoing.subject = station_.subjects().to(commandKind, target);
    outgoing.record = message;
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
    const auto taking = [this, room = station_.room()](Incoming message) { take(room, std::move(message)); };
    return {station_.listen(subjects.to(commandKind, {own.procType, 0}), group, taking),
            station_.listen(subjects.to(commandKind, own), "", taking),
            station_.listen(subjects.who(commandKind, own.procType), group,
                            [this](const Incoming& message) { station_.tellAddress(message.reply); })};
}

void Commands::take(const std::shared_ptr<Room>& room, Incoming message) {
    auto place = station_.admit(room, message);
    if (!place) return;
    station_.executor().push(
        [this, held = std::move(*place), record = std::move(message.record)] { receiver_.take(record); });
}

}  // namespace frame::nats
