#include "bus/nats/station.h"

#include <algorithm>
#include <random>
#include <utility>

#include "bus/nats/message.h"
#include "bus/nats/options.h"

namespace frame::nats {

namespace {

constexpr std::size_t mostPieceOctets = std::size_t{512} << 10U;
// What the headers take at most, of what the server passes on at once.
constexpr std::size_t headerOctets = 1024;
// How long the server may take to say that it has what was sent.
constexpr std::int64_t flushMilliseconds = 5000;
// Pieces of messages that are not whole yet.
constexpr std::size_t mostUnfinishedOctets = 4 * mostRequestOctets;

// How long, in milliseconds, what is to leave at once waits to hear that it has.
constexpr std::int64_t shortPatience = 10;

// Where the numbers of a sender's messages begin, so that those of one that has restarted are others.
std::uint64_t firstMessage() {
    std::random_device random;
    return std::uint64_t{random()} << 32U;
}

}  // namespace

Station::Station(CProcID address, const NatsOptions& options, std::function<void()> lost, std::function<void()> found)
    : address_(address),
      limits_{options.pendingMessages, options.pendingOctets},
      subjects_(options.system),
      ownSubjects_(options.system + '.'),
      pieces_(mostUnfinishedOctets),
      nextMessage_(firstMessage()),
      inbox_(inboxOf(address, options)),
      interests_(limits_),
      link_(address, options, interests_, std::move(lost), std::move(found)) {}

void Station::start() {
    interests_.add(inbox_.everything(), "", [this](Message message) { inbox_.take(std::move(message)); });
    link_.start();
}

std::size_t Station::pieceOctets(natsConnection* connection) {
    const auto most = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection));
    return std::min(mostPieceOctets, most > 2 * headerOctets ? most - headerOctets : headerOctets);
}

bool Station::needsPieces(const Payload& record) const {
    const Connection connection = link_.connection();
    return connection && record.size() > pieceOctets(connection.get());
}

bool Station::send(const Outgoing& message) {
    const Connection connection = link_.connection();
    if (!connection) return false;
    std::string_view octets = message.record.view();
    const std::size_t most = pieceOctets(connection.get());
    if (octets.size() <= most) return sendOne(connection.get(), message, octets, "");
    Piece piece{nextMessage_++, 0, static_cast<std::uint32_t>((octets.size() + most - 1) / most),
                static_cast<std::uint32_t>(octets.size())};
    for (; piece.index < piece.count; ++piece.index) {
        if (!sendOne(connection.get(), message, octets.substr(0, most), writePiece(piece))) return false;
        octets.remove_prefix(std::min(most, octets.size()));
    }
    return true;
}

// Whoever asks for the server's answer sends what is to be sent. That it takes long does not matter.
bool Station::sendNow(const Outgoing& message) {
    if (!send(message)) return false;
    if (const Connection connection = link_.connection()) natsConnection_FlushTimeout(connection.get(), shortPatience);
    return true;
}

bool Station::sendOne(natsConnection* connection, const Outgoing& message, std::string_view octets,
                      const std::string& piece) {
    const Message made = makeMessage(message.subject, message.reply, octets);
    const auto set = [&made](const char* name, const std::string& value) {
        if (!value.empty()) setHeader(made, name, value);
    };
    set(senderHeader, addressText_);
    set(idHeader, message.id);
    set(deadlineHeader, message.deadline);
    set(broadcastHeader, message.broadcast);
    set(resultHeader, message.result);
    set(pieceHeader, piece);
    return natsConnection_PublishMsg(connection, made.get()) == NATS_OK;
}

bool Station::flush() {
    const Connection connection = link_.connection();
    return connection && natsConnection_FlushTimeout(connection.get(), flushMilliseconds) == NATS_OK;
}

void Station::tellAddress(std::string_view reply) {
    Outgoing answer;
    answer.subject = std::string(reply);
    answer.record = Payload(addressText_);
    answer.result = resultOk;
    sendNow(answer);
}

Interests::Key Station::listen(std::string subject, std::string group, std::function<void(Incoming)> handler) {
    return interests_.add(std::move(subject), std::move(group), [this, handler = std::move(handler)](Message message) {
        if (auto incoming = receive(std::move(message))) handler(std::move(*incoming));
    });
}

std::optional<Incoming> Station::receive(Message message) {
    const char* reply = natsMsg_GetReply(message.get());
    Incoming incoming;
    incoming.subject = natsMsg_GetSubject(message.get());
    if (reply != nullptr) incoming.reply = reply;
    const auto refuse = [&](const std::string& what) {
        complain(incoming.subject, what);
        return std::nullopt;
    };
    const std::string_view sender = headerOf(message.get(), senderHeader);
    const auto address = readAddress(sender);
    if (!address) return refuse("sender \"" + shortened(sender) + "\"; expected TYPE.HANDLE");
    // An answer there would be something else: a message of this system, or one to the server itself.
    if (incoming.reply.starts_with(ownSubjects_) || incoming.reply.starts_with('$'))
        return refuse("an answer is wanted at " + shortened(incoming.reply));
    incoming.sender = *address;
    incoming.id = readId(headerOf(message.get(), idHeader));
    incoming.deadline = readDeadline(headerOf(message.get(), deadlineHeader));
    incoming.broadcast = headerOf(message.get(), broadcastHeader);
    incoming.result = headerOf(message.get(), resultHeader);
    auto record = assemble(incoming, headerOf(message.get(), pieceHeader), octetsOf(message.get()));
    if (!record) return std::nullopt;
    incoming.record = std::move(*record);
    incoming.message = std::move(message);
    return incoming;
}

std::optional<Payload> Station::assemble(const Incoming& message, std::string_view text, std::string_view octets) {
    if (text.empty()) return Payload(octets);
    const auto piece = readPiece(text);
    if (!piece) {
        complain(message.subject, "piece \"" + shortened(text) + "\"; expected MESSAGE INDEX COUNT OCTETS");
        return std::nullopt;
    }
    auto taken = pieces_.take(std::string(message.subject), message.sender, *piece, octets);
    if (!taken.error.empty()) complain(message.subject, taken.error + ", from " + toText(message.sender));
    return std::move(taken.whole);
}

void Station::complain(std::string_view subject, const std::string& what) {
    complaints_.write("a message on " + shortened(subject) + " is dropped: " + what);
}

std::optional<Room::Place> Station::admit(const std::shared_ptr<Room>& room, const Incoming& message) {
    auto place = Room::enter(room, message.record.size());
    if (!place) drops_.write("a message on " + shortened(message.subject) + " is dropped: too much waits for its sink");
    return place;
}

NatsStatus Station::status() const {
    NatsStatus status;
    link_.describe(status);
    status.waitingMessages = load_->messages;
    status.waitingOctets = load_->octets;
    status.dropped = drops_.count() + interests_.dropped();
    status.refused = complaints_.count();
    return status;
}

void Station::stopReceiving() {
    interests_.clear();
    executor_.stop();
}

}  // namespace frame::nats
