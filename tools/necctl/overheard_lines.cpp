// One line for each message: nothing that others wrote stands in it as it came.
#include <json/json.h>

#include <iomanip>
#include <ostream>

#include "bus/received.h"
#include "hex.h"
#include "options.h"
#include "overheard.h"
#include "platform/task.h"
#include "record_json.h"
#include "time_text.h"

namespace necctl {
namespace {

using frame::Overheard;
using Kind = Overheard::Kind;

// Of one OCTET STRING, for people.
constexpr std::size_t mostShown = 60;
constexpr JsonForm forPeople{true, mostShown};
constexpr JsonForm forPrograms{true};

std::string timeOf(const Overheard& message) {
    const auto since = message.when.time_since_epoch();
    return timeText(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

std::string kindText(const Reading::Command& command) {
    if (command.kind == cmdRequest) return "request";
    if (command.kind == cmdAnswer) return "answer";
    return "kind " + std::to_string(command.kind);
}

std::string receiverText(const Overheard& message) {
    if (message.kind == Kind::command) return frame::toText(message.to);
    return message.kind == Kind::broadcast ? std::to_string(message.target) : "";
}

void writeHead(std::ostream& os, const Reading& reading) {
    const Overheard& message = reading.message;
    os << timeOf(message) << "  " << std::left << std::setw(9) << toText(message.kind) << "  "
       << (reading.id ? frame::idText(*reading.id) : "-") << "  from "
       << (message.sender ? frame::toText(*message.sender) : "-");
    if (const std::string receiver = receiverText(message); !receiver.empty()) os << " to " << receiver;
    if (!message.identifier.empty()) os << "  " << message.identifier;
    if (*reading.name != '\0') os << "  " << reading.name;
}

// The members of one JSON object.
class Members {
public:
    explicit Members(std::ostream& os) : os_(os) { os_ << '{'; }
    ~Members() { os_ << "}\n"; }
    Members(const Members&) = delete;
    Members& operator=(const Members&) = delete;

    std::ostream& next(const char* name) {
        os_ << (std::exchange(first_, false) ? "\"" : ", \"") << name << "\": ";
        return os_;
    }
    void text(const char* name, const std::string& value) {
        next(name) << Json::valueToQuotedString(escaped(value).c_str());
    }
    template <class Number>
    void number(const char* name, Number value) {
        next(name) << std::uint64_t{value};
    }

private:
    std::ostream& os_;
    bool first_ = true;
};

void writeMessage(Members& members, const Reading& reading) {
    const Overheard& message = reading.message;
    members.text("time", timeOf(message));
    members.text("kind", toText(message.kind));
    members.text("subject", message.subject);
    if (reading.id) members.number("id", *reading.id);
    if (*reading.name != '\0') members.text("name", reading.name);
    if (message.sender) members.text("sender", frame::toText(*message.sender));
    if (message.kind == Kind::command) members.text("receiver", receiverText(message));
    if (message.kind == Kind::broadcast) members.number("target", message.target);
    if (!message.identifier.empty()) members.text("identifier", message.identifier);
    members.number("octets", message.octets);
}

void writeCommand(Members& members, const Reading::Command& command) {
    members.text("call", kindText(command));
    members.number("request", command.requestId);
    members.number("manager", command.manager);
    writeJson(members.next("payload"), command.payload, forPrograms);
}

}  // namespace

void writeText(std::ostream& os, const Reading& reading) {
    const Overheard& message = reading.message;
    writeHead(os, reading);
    if (!reading.error.empty()) {
        os << "  " << message.octets << " octets, not decoded: " << escaped(reading.error);
        if (!message.fault.empty()) os << "; on " << escaped(message.subject);
        if (message.record.size() != 0) os << ": " << hexOf(message.record.view().substr(0, mostShown));
        if (message.record.size() > mostShown) os << "...";
    } else if (reading.command) {
        os << "  " << kindText(*reading.command) << ' ' << reading.command->requestId << " to manager "
           << unsigned{reading.command->manager} << "  ";
        writeJson(os, reading.command->payload, forPeople);
    } else {
        os << "  " << reading.record.type << (reading.guessed ? "? " : " ");
        writeJson(os, *reading.record.record, forPeople);
    }
    os << '\n';
}

void writeJson(std::ostream& os, const Reading& reading) {
    Members members(os);
    writeMessage(members, reading);
    if (!reading.error.empty()) {
        members.text("error", reading.error);
        members.next("hex") << '"' << hexOf(reading.message.record.view()) << '"';
    } else if (reading.command) {
        writeCommand(members, *reading.command);
    } else {
        members.text("type", reading.record.type);
        if (reading.guessed) members.next("guessed") << "true";
        writeJson(members.next("record"), *reading.record.record, forPrograms);
    }
}

}  // namespace necctl
