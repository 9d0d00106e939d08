#include "bus/nats/requests.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "bus/received.h"

namespace frame::nats {

namespace {

// A request that another process waits for the answer of.
class RemoteRequest final : public ReceivedRequest {
public:
    using Clock = PendingRequest::Clock;

    RemoteRequest(Station& station, Incoming message, Room::Place place)
        : ReceivedRequest({*message.id(), message.sender, std::move(message.record)}),
          station_(station),
          reply_(message.reply),
          deadline_(Clock::now() + *message.deadline()),
          place_(std::move(place)) {}

    void finish(RequestCode code, Payload answer) override {
        Outgoing outgoing;
        outgoing.subject = reply_;
        outgoing.record = answer.view();
        outgoing.result = code == RequestCode::ok ? resultOk : resultNone;
        station_.send(outgoing);
    }
    bool expired() const override { return Clock::now() > deadline_; }

private:
    Station& station_;
    const std::string reply_;
    const Clock::time_point deadline_;
    const Room::Place place_;
};

std::string millisecondsUntil(PendingRequest::Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - PendingRequest::Clock::now());
    return std::to_string(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

// The server chooses among the processes of a type without knowing which requests each takes. When the chosen one does
// not take this one, and for a request in pieces, which must all reach the same process, one is looked for first.
RequestCode Requests::request(const CProcID& to, const RequestMessage& message, int timeoutSeconds, Payload& answer) {
    if (message.record.size() > mostRequestOctets) return RequestCode::tooLarge;
    if (!station_.connected()) return RequestCode::down;
    const auto deadline = PendingRequest::deadlineIn(timeoutSeconds);
    const bool any = to.procHandle == 0;
    if (!any || !station_.needsPieces(message.record)) {
        const RequestCode code = ask(to, message, deadline, answer);
        if (!any || code != RequestCode::noProcess) return code;
    }
    CProcID found;
    const std::string who = station_.subjects().who(requestKind, to.procType, message.id);
    const RequestCode code = asking_.find(who, to.procType, deadline, found);
    return code == RequestCode::ok ? ask(found, message, deadline, answer) : code;
}

RequestCode Requests::ask(const CProcID& to, const RequestMessage& message, Clock::time_point deadline,
                          Payload& answer) {
    Outgoing question;
    question.subject = station_.subjects().to(requestKind, to);
    question.record = message.record.view();
    question.id = idText(message.id);
    question.deadline = millisecondsUntil(deadline);
    return asking_.ask(std::move(question), to, deadline, answer);
}

Requests::Served Requests::serve(unsigned long id, RequestSink sink) {
    const std::lock_guard lock(mutex_);
    const auto ticket = server_.add(id, std::move(sink));
    if (served_++ == 0) listen();
    const std::uint16_t type = station_.address().procType;
    return {ticket, station_.listen(station_.subjects().who(requestKind, type, id), Subjects::group(type),
                                    [this](const Incoming& message) { station_.tellAddress(message); })};
}

void Requests::end(const Served& served) {
    served.ticket.end();
    const std::lock_guard lock(mutex_);
    station_.ignore(served.key);
    if (--served_ != 0) return;
    for (const auto key : keys_) station_.ignore(key);
    keys_.clear();
}

void Requests::listen() {
    const CProcID own = station_.address();
    const auto taking = [this](const CProcID& to) {
        return [this, to, room = station_.room()](Incoming message) { take(to, room, std::move(message)); };
    };
    const CProcID any{own.procType, 0};
    keys_ = {station_.listen(station_.subjects().to(requestKind, any), Subjects::group(own.procType), taking(any)),
             station_.listen(station_.subjects().to(requestKind, own), "", taking(own))};
}

void Requests::take(const CProcID& to, const std::shared_ptr<Room>& room, Incoming message) {
    if (!message.id() || !message.deadline() || message.reply.empty())
        return station_.complain(message.subject, "a request without identifier, deadline or place for the answer");
    auto place = station_.admit(room, message.subject, message.record.size());
    if (!place) return;
    const unsigned long id = *message.id();
    const auto request = std::make_shared<RemoteRequest>(station_, std::move(message), std::move(*place));
    if (server_.takes(to, id)) return server_.push(request);
    request->finish(RequestCode::noProcess, {});
}

}  // namespace frame::nats
