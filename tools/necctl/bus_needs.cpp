#include "bus_needs.h"

#include "bus/nats/claim.h"
#include "bus/nats/options.h"
#include "bus/nats/reporter.h"
#include "bus/nats/streams.h"
#include "bus_commands.h"

namespace necctl {
namespace {

using frame::nats::addressKind;
using frame::nats::commandKind;
using frame::nats::requestKind;
using frame::nats::statusKind;
using frame::nats::Subjects;

// Process types with a role of their own. All others are NE managers.
constexpr std::uint16_t centre = 3001;
constexpr std::uint16_t manager = 3002;
constexpr std::uint16_t pnpClient = 3003;
constexpr std::uint16_t listener = 3004;
constexpr std::uint16_t dispatcher = 3005;
constexpr std::uint16_t commandLine = 3006;
constexpr std::uint16_t commandDispatcher = 45445;

// An identifier that nothing has.
constexpr unsigned long nothing = 0;
constexpr unsigned long anEvent = 0x217006;
const std::string api = "$JS.API.";

class Gathering {
public:
    explicit Gathering(const frame::Config& config)
        : own_(addressOf(config)),
          subjects_(config.nats.system),
          stream_(frame::nats::reliableStream(config.nats.system).name),
          broadcasts_(frame::nats::broadcastStream(config.nats.system).name),
          inbox_(frame::nats::inboxOf(own_, config.nats)) {
        hear({subjects_.to(addressKind, own_), subjects_.everybody(statusKind), subjects_.to(statusKind, own_),
              inbox_ + ".check.check"});
        say({nobody(addressKind, own_.procType)});
        if (!config.nats.user.empty()) say({"_INBOX.operator.check"});
    }

    void takesRequests() {
        hear({any(requestKind), subjects_.to(requestKind, own_), subjects_.who(requestKind, own_.procType, nothing)});
    }
    void takesCommands() {
        hear({any(commandKind), subjects_.to(commandKind, own_), subjects_.who(commandKind, own_.procType)});
    }
    void asks(std::initializer_list<std::uint16_t> types) {
        for (const std::uint16_t type : types) say({nobody(requestKind, type)});
    }
    void commands(std::initializer_list<std::uint16_t> types) {
        for (const std::uint16_t type : types) say({nobody(commandKind, type)});
        say({inbox_ + ".check.check"});  // what comes back from there tells that nobody took the command
    }
    void announces() { say({subjects_.event(nothing)}); }
    void hearsEvents() { hear({subjects_.event(anEvent)}); }
    void broadcasts() { say({subjects_.piece(pnpClient, 0, 0), api + "STREAM.INFO." + broadcasts_}); }
    void hearsBroadcasts() {
        hear({subjects_.announcements(pnpClient), subjects_.pieces(pnpClient)});
        say({api + "DIRECT.GET." + broadcasts_ + '.' + subjects_.piece(pnpClient, 0, 0)});
    }
    void sendsReliably() {
        say({subjects_.reliable(nothing), subjects_.reliablePiece(nothing, "check", 0), api + "STREAM.INFO." + stream_,
             api + "CONSUMER.LIST." + stream_});
    }
    void receivesReliably(unsigned long id) {
        const std::string consumer = stream_ + '.' + frame::nats::consumerName(own_.procType, id);
        say({api + "CONSUMER.INFO." + consumer, api + "CONSUMER.MSG.NEXT." + consumer, "$JS.ACK." + consumer + ".check",
             api + "DIRECT.GET." + stream_ + '.' + subjects_.reliablePiece(nothing, "check", 0)});
    }
    void operates() {
        hear({subjects_.commands(), subjects_.events(), subjects_.reliables(), subjects_.announcements()});
        say({nobody(statusKind, manager), api + "DIRECT.GET." + broadcasts_ + '.' + subjects_.piece(0, 0, 0)});
    }

    Needs needs() && { return std::move(needs_); }

private:
    void hear(std::initializer_list<std::string> subjects) {
        needs_.subscribe.insert(needs_.subscribe.end(), subjects);
    }
    void say(std::initializer_list<std::string> subjects) { needs_.publish.insert(needs_.publish.end(), subjects); }
    std::string any(const char* kind) const { return subjects_.to(kind, {own_.procType, 0}); }
    // No process has the handle 0.
    std::string nobody(const char* kind, std::uint16_t type) const {
        return subjects_.everybody(kind) + '.' + std::to_string(type) + ".h0";
    }

    const CProcID own_;
    const Subjects subjects_;
    const std::string stream_;
    const std::string broadcasts_;
    const std::string inbox_;
    Needs needs_;
};

// What the library's own calls need.
void callerNeeds(Gathering& gathering) {
    gathering.hearsEvents();
    gathering.asks({centre, manager, dispatcher});
    gathering.commands({manager, commandDispatcher});
    gathering.announces();
    gathering.broadcasts();
    gathering.sendsReliably();
}

void managerNeeds(Gathering& gathering) {
    gathering.takesRequests();
    gathering.takesCommands();
    callerNeeds(gathering);
}

void operatorNeeds(Gathering& gathering) {
    gathering.operates();
    callerNeeds(gathering);
}

void needsByType(std::uint16_t type, Gathering& gathering) {
    switch (type) {
        case centre:
            return gathering.takesRequests();
        case pnpClient:
            return gathering.hearsBroadcasts();
        case listener:
            return gathering.hearsEvents();
        case dispatcher:
            gathering.takesRequests();
            return gathering.commands({manager});
        case commandDispatcher:
            gathering.takesCommands();
            return gathering.commands({manager});
        case commandLine:
            return operatorNeeds(gathering);
        default:
            return managerNeeds(gathering);
    }
}

}  // namespace

Needs needsOf(const frame::Config& config) {
    Gathering gathering(config);
    needsByType(config.process.type, gathering);
    for (const Receiver& receiver : deliveredReceivers())
        if (receiver.type == config.process.type) gathering.receivesReliably(receiver.id);
    return std::move(gathering).needs();
}

// None of these does anything without content.
Needs forbiddenTo(const frame::Config& config) {
    const std::string stream = frame::nats::reliableStream(config.nats.system).name;
    return {{api + "STREAM.CREATE." + stream, api + "STREAM.UPDATE." + stream, api + "STREAM.DELETE.necctl-check",
             api + "CONSUMER.CREATE." + stream, api + "CONSUMER.DURABLE.CREATE." + stream + ".check"},
            {"_INBOX.necctl-check.check"}};
}

}  // namespace necctl
