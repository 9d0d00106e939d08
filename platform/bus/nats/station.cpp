#include "bus/nats/station.h"

#include <algorithm>
#include <random>
#include <utility>

#include "bus/nats/options.h"

namespace frame::nats {

namespace {

// A record that is not larger never travels in pieces.
constexpr std::size_t leastPieceOctets = 1024;
// How long the server may take to say that it has what was sent.
constexpr std::chrono::milliseconds flushPatience{5000};
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
      rooms_(limits_),
      subjects_(options.system),
      ownSubjects_(options.system + '.'),
      pieces_(mostUnfinishedOctets),
      piecesInTurn_(mostUnfinishedOctets),
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
    return std::min(mostPieceOctets, most > headerOctets + leastPieceOctets ? most - headerOctets : leastPieceOctets);
}

bool Station::needsPieces(const Payload& record) const {
    const Connection connection = link_.connection();
    return connection && record.size() > pieceOctets(connection.get());
}

bool Station::send(const Outgoing& message) {
    const Connection connection = link_.connection();
    if (!connection) return false;
    std::string_view octets = message.record;
    if (octets.size() <= leastPieceOctets) return sendOne(connection.get(), message, octets, "");
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

bool Station::sendLight(const std::string& subject, std::string_view record) {
    if (record.size() > leastPieceOctets) {
        Outgoing message;
        message.subject = subject;
        message.record = record;
        return send(message);
    }
    const Connection connection = link_.connection();
    return connection && natsConnection_PublishRequest(connection.get(), subject.c_str(), from_.c_str(), record.data(),
                                                       static_cast<int>(record.size())) == NATS_OK;
}

bool Station::sendNow(const Outgoing& message) {
    const bool sent = send(message);
    if (sent) hurry();
    return sent;
}

// Whoever asks for the server's answer sends what is to be sent. That it takes long does not matter.
void Station::hurry() {
    if (const Connection connection = link_.connection()) natsConnection_FlushTimeout(connection.get(), shortPatience);
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
    return link_.flush(flushPatience);
}

void Station::tellAddress(const Incoming& question) {
    if (question.reply.empty()) return complain(question.subject, "a question without a place for its answer");
    Outgoing answer;
    answer.subject = std::string(question.reply);
    answer.record = addressText_;
    answer.result = resultOk;
    send(answer);
}

Interests::Key Station::listen(const std::string& subject, std::string group, Handler handler) {
    return interests_.add(subject, std::move(group),
                          [this, listener = Listener{subject, std::move(handler), nullptr}](Message message) {
                              handle(listener, std::move(message), pieces_, Pieces::Clock::now());
                          });
}

Interests::Key Station::listenInTurn(const std::string& subject, std::string group, bool own, Handler handler) {
    auto owner = std::make_shared<const Listener>(Listener{subject, std::move(handler), this->room()});
    const Listener& listener = *owner;
    std::shared_ptr<Room> room(std::move(owner), listener.room.get());
    return interests_.add(subject, std::move(group), [this, own, &listener, room = std::move(room)](Message message) {
        if (!own && senderOf(message.get()) == addressText_) return;
        auto place = admit(room, listener.subject, octetsOf(message.get()).size());
        if (!place) return;
        // Light messages have no pieces, whose time counts.
        const auto came = isLight(message.get()) ? Pieces::Clock::time_point() : Pieces::Clock::now();
        executor_.push({*this, listener, std::move(*place), std::move(message), came});
    });
}

void Station::handle(const Listener& listener, Message message, Pieces& pieces, Pieces::Clock::time_point came) {
    if (!cameTo(listener.subject, message.get())) return;
    if (auto incoming = receive(std::move(message), pieces, came)) listener.handler(std::move(*incoming));
}

// The server's store sends what it holds to wherever somebody asks for it, under its own subject, or with a header that
// says from which stream: whoever may ask could say in that way what he may not say himself.
bool Station::cameTo(const std::string& subject, natsMsg* message) {
    const std::string_view named = natsMsg_GetSubject(message);
    if (named == subject && headerOf(message, storedHeader).empty()) return true;
    complain(subject, "it is what the server's store holds as " +
                          shortened(named == subject ? headerOf(message, storedSubjectHeader) : named));
    return false;
}

std::optional<Incoming> Station::receive(Message message, Pieces& pieces, Pieces::Clock::time_point came) {
    const char* reply = natsMsg_GetReply(message.get());
    Incoming incoming;
    incoming.subject = natsMsg_GetSubject(message.get());
    const bool light = isLight(message.get());
    if (reply != nullptr && !light) incoming.reply = reply;
    const std::string_view sender = senderOf(message.get());
    const auto refuse = [&](const std::string& what) {
        complain(incoming.subject, what);
        return std::nullopt;
    };
    const auto address = readAddress(sender);
    if (!address) return refuse("sender \"" + shortened(sender) + "\"; expected TYPE.HANDLE");
    // An answer there would be something else: a message of this system, or one to the server itself.
    if (incoming.reply.starts_with(ownSubjects_) || incoming.reply.starts_with('$'))
        return refuse("an answer is wanted at " + shortened(incoming.reply));
    incoming.sender = *address;
    const std::string_view octets = octetsOf(message.get());
    const std::string_view piece = light ? "" : headerOf(message.get(), pieceHeader);
    auto record = piece.empty() ? std::optional(Payload(octets)) : assemble(incoming, piece, octets, pieces, came);
    if (!record) return std::nullopt;
    incoming.record = std::move(*record);
    incoming.message = std::move(message);
    return incoming;
}

std::optional<Payload> Station::assemble(const Incoming& message, std::string_view text, std::string_view octets,
                                         Pieces& pieces, Pieces::Clock::time_point came) {
    const auto piece = readPiece(text);
    if (!piece) {
        complain(message.subject, "piece \"" + shortened(text) + "\"; expected MESSAGE INDEX COUNT OCTETS");
        return std::nullopt;
    }
    auto taken = pieces.take(std::string(message.subject), message.sender, *piece, octets, came);
    if (!taken.error.empty()) complain(message.subject, taken.error + ", from " + toText(message.sender));
    return std::move(taken.whole);
}

void Station::complain(std::string_view subject, const std::string& what) {
    complaints_.write("a message on " + shortened(subject) + " is dropped: " + what);
}

std::optional<Room::Place> Station::admit(const std::shared_ptr<Room>& room, std::string_view subject,
                                          std::size_t octets) {
    auto place = Room::enter(room, octets);
    if (!place) drops_.write("a message on " + shortened(subject) + " is dropped: too much waits for its sink");
    return place;
}

NatsStatus Station::status() const {
    NatsStatus status;
    link_.describe(status);
    const Limits waiting = rooms_.all();
    status.waitingMessages = waiting.messages;
    status.waitingOctets = waiting.octets;
    status.dropped = drops_.count() + interests_.dropped();
    status.refused = complaints_.count();
    return status;
}

void Station::stopReceiving() {
    interests_.clear();
    executor_.stop();
}

}  // namespace frame::nats
