#include "bus/nats/asking.h"

#include <utility>

#include "bus/address.h"

namespace frame::nats {

namespace {

// How long the server may take to pass on what needs no answer.
constexpr std::chrono::seconds patience{5};

}  // namespace

RequestCode Asking::ask(Outgoing question, const CProcID& to, Clock::time_point deadline, Payload& answer) {
    return waiting_.with({}, [&](const std::shared_ptr<PendingRequest>& pending) {
        const Inbox::Entry entry(station_.inbox(), [&](Message message) { take(std::move(message), to, *pending); });
        question.reply = entry.subject();
        return station_.sendNow(question) ? pending->wait(deadline, answer) : RequestCode::down;
    });
}

void Asking::take(Message message, const CProcID& from, PendingRequest& pending) {
    if (natsMsg_IsNoResponders(message.get())) return pending.finish(RequestCode::noProcess);
    auto answer = station_.receive(std::move(message));
    if (!answer) return;
    if (!reaches(from, answer->sender))
        return station_.complain(answer->subject,
                                 "an answer of " + toText(answer->sender) + " in place of " + toText(from));
    if (answer->result() == resultOk) return pending.finish(RequestCode::ok, std::move(answer->record));
    if (answer->result() == resultNone) return pending.finish(RequestCode::noProcess);
    station_.complain(answer->subject, "an answer without result, from " + toText(answer->sender));
}

// The server handles what comes over one connection in its order. So behind the message goes one to the own inbox: when
// that is back, there is no news that nobody took the first.
RequestCode Asking::tell(Outgoing message) {
    return waiting_.with({}, [&](const std::shared_ptr<PendingRequest>& pending) {
        const Inbox::Entry entry(station_.inbox(), [&](const Message& first) {
            pending->finish(natsMsg_IsNoResponders(first.get()) ? RequestCode::noProcess : RequestCode::ok);
        });
        message.reply = entry.subject();
        Outgoing echo;
        echo.subject = entry.subject();
        if (!station_.send(message) || !station_.sendNow(echo)) return RequestCode::down;
        Payload nothing;
        const RequestCode code = pending->wait(Clock::now() + patience, nothing);
        return code == RequestCode::timedOut ? RequestCode::down : code;
    });
}

RequestCode Asking::find(const std::string& who, std::uint16_t type, Clock::time_point deadline, CProcID& found) {
    Outgoing question;
    question.subject = who;
    Payload answer;
    const RequestCode code = ask(std::move(question), {type, 0}, deadline, answer);
    if (code != RequestCode::ok) return code;
    const auto address = readAddress(answer.view());
    if (!address) return RequestCode::noProcess;
    found = *address;
    return RequestCode::ok;
}

}  // namespace frame::nats
