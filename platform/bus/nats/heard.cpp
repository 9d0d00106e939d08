#include "bus/nats/heard.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "bus/nats/message.h"

namespace frame::nats {

namespace {

using Kind = Overheard::Kind;

// Cuts what stands before the first dot off `text`.
std::string_view cut(std::string_view& text) {
    const std::string_view head = text.substr(0, text.find('.'));
    text.remove_prefix(std::min(head.size() + 1, text.size()));
    return head;
}

// Reads one message. The first fault that it finds is told, and nothing behind it is looked at.
class Reader {
public:
    Reader(Kind kind, natsMsg* message, const Subjects& subjects, Pieces& pieces)
        : from_(message), pieces_(pieces), place_(subjects.behindKind(natsMsg_GetSubject(message))) {
        heard_.message.kind = kind;
        heard_.message.when = std::chrono::system_clock::now();
        heard_.message.subject = natsMsg_GetSubject(message);
    }

    std::optional<Heard> read() {
        if (message().kind == Kind::command && place_.ends_with(".who")) return std::nullopt;
        const std::string_view sender = senderOf(from_);
        message().sender = readAddress(sender);
        if (!message().sender) fault("sender \"" + shortened(sender) + "\"; expected TYPE.HANDLE");
        readKind();
        const bool whole = takeRecord();
        return whole ? std::optional(std::move(heard_)) : std::nullopt;
    }

private:
    Overheard& message() { return heard_.message; }
    void fault(const std::string& what) {
        if (message().fault.empty()) message().fault = what;
    }
    void wrong(const char* header, const char* expected) {
        fault(std::string(header) + " \"" + shortened(headerOf(from_, header)) + "\"; expected " + expected);
    }

    void readKind() {
        switch (message().kind) {
            case Kind::event:
                return readPlaceAsId();
            case Kind::reliable:
                readPlaceAsId();
                return readReliable();
            case Kind::command:
                return readReceiver();
            case Kind::broadcast:
                return readBroadcast();
        }
    }
    void readPlaceAsId() {
        message().id = readId(place_);
        if (!message().id) fault("a subject without identifier");
    }
    void readReliable() {
        message().identifier = headerOf(from_, identifierHeader);
        if (!isIdentifier(message().identifier)) {
            wrong(identifierHeader, "an identifier");
            message().identifier.clear();
        }
        const std::string_view whole = headerOf(from_, wholeHeader);
        heard_.whole = readWhole(whole);
        if (!whole.empty() && !heard_.whole) wrong(wholeHeader, "COUNT OCTETS");
    }
    void readReceiver() {
        const auto type = readPart(cut(place_));
        const auto handle = place_ == "any" ? 0 : place_.starts_with('h') ? readPart(place_.substr(1)) : std::nullopt;
        if (!type || !handle) return fault("a subject without receiver");
        message().to = {*type, *handle};
    }
    void readBroadcast() {
        const auto target = readPart(cut(place_));
        message().id = readId(headerOf(from_, idHeader));
        if (!target) fault("a subject without target");
        if (!message().id || *message().id > std::numeric_limits<std::uint32_t>::max()) {
            wrong(idHeader, "a command of 32 bits");
            message().id.reset();
        }
        const std::string_view announced = headerOf(from_, broadcastHeader);
        heard_.announced = readAnnouncement(announced);
        if (!announced.empty() && !heard_.announced) wrong(broadcastHeader, "MESSAGE COUNT OCTETS HASH");
        message().target = target.value_or(0);
    }

    // False when it is not all there yet.
    bool takeRecord() {
        if (message().fault.empty() && (heard_.announced || heard_.whole)) {
            message().octets = heard_.announced ? heard_.announced->octets : heard_.whole->octets;
            return true;
        }
        heard_.announced.reset();
        heard_.whole.reset();
        const bool whole = assemble();
        message().octets = message().record.size();
        return whole;
    }
    bool assemble() {
        const std::string_view octets = octetsOf(from_);
        const std::string_view text = headerOf(from_, pieceHeader);
        const bool mayBePiece = message().kind == Kind::event || message().kind == Kind::command;
        const auto piece = readPiece(text);
        if (mayBePiece && !text.empty() && !piece) wrong(pieceHeader, "MESSAGE INDEX COUNT OCTETS");
        if (!mayBePiece || !piece || !message().fault.empty()) {
            message().record = Payload(octets);
            return true;
        }
        auto taken = pieces_.take(message().subject, *message().sender, *piece, octets);
        if (!taken.error.empty()) {
            fault(taken.error);
            message().record = Payload(octets);
        } else if (taken.whole) {
            message().record = std::move(*taken.whole);
        }
        return taken.whole || !taken.error.empty();
    }

    natsMsg* const from_;
    Pieces& pieces_;
    std::string_view place_;  // of the subject
    Heard heard_;
};

}  // namespace

std::optional<Heard> hear(Kind kind, natsMsg* message, const Subjects& subjects, Pieces& pieces) {
    return Reader(kind, message, subjects, pieces).read();
}

}  // namespace frame::nats
