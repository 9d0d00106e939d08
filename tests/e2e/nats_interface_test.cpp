// docs/interfaces/bus.asyncapi.yaml is what the engine does: its subjects, and every message that it sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <map>
#include <regex>
#include <set>

#include "bus/nats/claim.h"
#include "bus/nats/headers.h"
#include "bus/nats/process_status.h"
#include "bus/nats/reporter.h"
#include "bus/nats/subjects.h"
#include "nats_client.h"
#include "platform/nats.h"
#include "support/mailbox.h"
#include "support/nats_server.h"

namespace {

using namespace nats_client;

constexpr CProcID manager{3002, 7};
constexpr CProcID centre{3001, 1};
constexpr unsigned long taken = 0xB0000F;
constexpr unsigned long notTaken = 0xB00010;
constexpr std::uint16_t target = 3003;
constexpr int timeoutSeconds = 30;

class Description {
public:
    const YAML::Node& root() const { return root_; }

    YAML::Node resolved(const YAML::Node& node) const {
        if (!node["$ref"]) return node;
        const auto reference = node["$ref"].as<std::string>();
        YAML::Node place = YAML::Clone(root_);
        std::istringstream path(reference.substr(2));
        for (std::string step; std::getline(path, step, '/');) place.reset(place[step]);
        if (!place) throw std::runtime_error("nothing stands at " + reference);
        return place;
    }

    // The messages that may have come to `subject` with these headers and this payload, by their names.
    std::set<std::string> messagesLike(natsMsg* message) const {
        std::set<std::string> found;
        for (const auto& channel : root_["channels"]) {
            if (!std::regex_match(natsMsg_GetSubject(message), subjectsOf(channel.second))) continue;
            for (const auto& each : channel.second["messages"]) {
                const YAML::Node described = resolved(each.second);
                if (hasHeaders(message, described["headers"]) && hasPayload(message, resolved(described["payload"])))
                    found.insert(each.first.as<std::string>());
            }
        }
        return found;
    }

    bool fits(const std::string& schema, const std::string& text) const {
        return fits(root_["components"]["schemas"][schema], text);
    }

private:
    static bool fits(const YAML::Node& schema, const std::string& text) {
        if (schema["maxLength"] && text.size() > schema["maxLength"].as<std::size_t>()) return false;
        return !schema["pattern"] || std::regex_match(text, std::regex(schema["pattern"].as<std::string>()));
    }
    static std::regex subjectsOf(const YAML::Node& channel) {
        const auto address = std::regex_replace(channel["address"].as<std::string>(), std::regex("\\."), "\\.");
        return std::regex(std::regex_replace(address, std::regex("\\{[a-z]+\\}"), "[^.]+(\\.[^.]+)?"));
    }
    bool hasHeaders(natsMsg* message, const YAML::Node& described) const {
        std::set<std::string> there = headersOf(message);
        for (const auto& name : described["required"])
            if (there.count(name.as<std::string>()) == 0) return false;
        return std::all_of(there.begin(), there.end(), [&](const std::string& name) {
            const char* value = nullptr;
            check(natsMsgHeader_Get(message, name.c_str(), &value), name);
            const YAML::Node property = described["properties"][name];
            return property && fits(resolved(property), value);
        });
    }
    static std::set<std::string> headersOf(natsMsg* message) {
        const char** keys = nullptr;
        int count = 0;
        const natsStatus status = natsMsgHeader_Keys(message, &keys, &count);
        if (status == NATS_NOT_FOUND) return {};
        check(status, "headers");
        std::set<std::string> names(keys, keys + count);
        free(keys);  // NOLINT(cppcoreguidelines-no-malloc): as the client says
        return names;
    }
    static bool hasPayload(natsMsg* message, const YAML::Node& schema) {
        // Patterns are about short texts.
        const auto length = static_cast<std::size_t>(natsMsg_GetDataLength(message));
        return fits(schema, schema["pattern"] || schema["maxLength"]
                                ? std::string(natsMsg_GetData(message), std::min<std::size_t>(length, 100))
                                : std::string());
    }

    const YAML::Node root_ = YAML::LoadFile(BUS_ASYNCAPI);
};

Options optionsFor(const support::NatsServer& server) {
    natsOptions* made = nullptr;
    check(natsOptions_Create(&made), "options");
    Options options(made);
    check(natsOptions_SetURL(made, server.url().c_str()), "URL");
    return options;
}

// All that is published at a server, from now on.
class Observer {
public:
    explicit Observer(const support::NatsServer& server) : client_(optionsFor(server)) {
        check(client_.status(), "observer");
        check(natsSubscription_SetPendingLimits(everything_.get(), -1, -1), "limits");
        check(natsConnection_FlushTimeout(client_.get(), patienceMs), "round trip");
    }

    std::vector<Message> seen() const {
        check(natsConnection_FlushTimeout(client_.get(), patienceMs), "round trip");
        int count = 0;
        check(natsSubscription_GetPending(everything_.get(), &count, nullptr), "pending");
        std::vector<Message> messages;
        for (int i = 0; i < count; ++i) messages.push_back(next(everything_));
        return messages;
    }

private:
    const Client client_;
    const Subscription everything_ = client_.subscribe(">");
};

// Those that processes sent, and neither what the server's store was asked nor what it answered.
std::vector<Message> withoutStore(std::vector<Message> all) {
    std::set<std::string> answers;
    const auto isQuestion = [](const std::string& subject) {
        return subject.rfind("$JS.", 0) == 0 || subject.find(".data.") != std::string::npos ||
               subject.rfind("nec.rm.", 0) == 0;
    };
    for (const Message& message : all)
        if (const char* reply = natsMsg_GetReply(message.get()); reply && isQuestion(natsMsg_GetSubject(message.get())))
            answers.insert(reply);
    std::erase_if(all, [&](const Message& message) {
        const std::string subject = natsMsg_GetSubject(message.get());
        return subject.rfind("$JS.", 0) == 0 || answers.count(subject) != 0;
    });
    return all;
}

std::unique_ptr<frame::NatsEngine> join(const support::NatsServer& server, CProcID address) {
    frame::NatsOptions options;
    options.servers = {server.url()};
    return frame::connectNats(address, options);
}

// What two processes say to each other, of every kind, small and in pieces.
void talk(const support::NatsServer& server) {
    const auto asking = join(server, manager);
    const auto answering = join(server, centre);
    support::Mailbox<std::size_t> arrived;
    const frame::Subscription served =
        answering->serveRequests(taken, [](const frame::RequestMessage& request) { return request.record; });
    const frame::Subscription commanded =
        answering->receiveCommands([&](const frame::Payload& command) { arrived.put(command.size()); });
    const frame::Subscription heard =
        answering->subscribeEvent(taken, [&](const frame::EventMessage& event) { arrived.put(event.record.size()); });
    const frame::Subscription broadcast = answering->subscribeBroadcast(
        target, [&](const frame::BroadcastMessage& message) { arrived.put(message.record.size()); });
    const frame::Subscription reliable =
        answering->subscribeReliable(taken, [&](const frame::ReliableMessage& message) {
            arrived.put(message.record.size());
            return true;
        });
    for (const std::size_t octets : {200U, 3U << 20U}) {
        const frame::Payload record(std::string(octets, 'x'));
        frame::Payload answer;
        ASSERT_EQ(asking->publishEvent({taken, manager, record}), frame::BusCode::ok);
        EXPECT_EQ(arrived.take(), octets);
        ASSERT_EQ(asking->request({centre.procType, 0}, {taken, manager, record}, timeoutSeconds, answer),
                  frame::RequestCode::ok);
        ASSERT_EQ(asking->request(centre, {notTaken, manager, record}, timeoutSeconds, answer),
                  frame::RequestCode::noProcess);
        ASSERT_EQ(asking->sendCommand({centre.procType, 0}, record), frame::RequestCode::ok);
        EXPECT_EQ(arrived.take(), octets);
        ASSERT_EQ(asking->broadcast({7, target, manager, record}), frame::RequestCode::ok);
        EXPECT_EQ(arrived.take(), octets);
        ASSERT_EQ(asking->publishReliable({"3002.7-outbox-" + std::to_string(octets), taken, manager, record}),
                  frame::Delivery::kept);
        EXPECT_EQ(arrived.take(), octets);
    }
}

// As necctl does.
void askForStatus(const support::NatsServer& server) {
    const auto asked = join(server, centre);
    const Client asking(optionsFor(server));
    const Subscription answers = asking.subscribe("_INBOX.operator.*.*");
    for (const char* subject : {"nec.st", "nec.st.3001.h1"}) {
        natsMsg* made = nullptr;
        check(natsMsg_Create(&made, subject, "_INBOX.operator.0123456789abcdef.0123456789abcdef", nullptr, 0), subject);
        const Message question(made);
        check(natsMsgHeader_Set(made, frame::nats::senderHeader, "3006.1"), "sender");
        check(natsConnection_PublishMsg(asking.get(), made), subject);
        EXPECT_TRUE(frame::nats::readStatus(textOf(next(answers)))) << subject;
    }
}

}  // namespace

TEST(NatsInterface, DescribesTheSubjectsOfTheCodeAndNoOthers) {
    const frame::nats::Subjects subjects("nec");
    std::map<std::string, std::string> expected = {{"requestToAny", subjects.to("rq", {3001, 0})},
                                                   {"requestToOne", subjects.to("rq", {3001, 7})},
                                                   {"requestWho", subjects.who("rq", 3001, taken)},
                                                   {"commandToAny", subjects.to("cm", {3001, 0})},
                                                   {"commandToOne", subjects.to("cm", {3001, 7})},
                                                   {"commandWho", subjects.who("cm", 3001)},
                                                   {"event", subjects.event(taken)},
                                                   {"address", subjects.to(frame::nats::addressKind, {3001, 7})},
                                                   {"statusOfAll", subjects.everybody(frame::nats::statusKind)},
                                                   {"statusOfOne", subjects.to(frame::nats::statusKind, {3001, 7})},
                                                   {"broadcastAnnouncement", subjects.announcements(target)},
                                                   {"broadcastPiece", subjects.piece(target, 0xAB, 1)},
                                                   {"reliable", subjects.reliable(taken)},
                                                   {"reliablePiece", subjects.reliablePiece(taken, "3002.7-a-1", 1)},
                                                   {"reliableFiller", subjects.reliableFiller()},
                                                   {"inbox", "{inbox}.{process}.{question}"}};
    std::map<std::string, std::string> described;
    for (const auto& channel : Description().root()["channels"]) {
        auto address = channel.second["address"].as<std::string>();
        for (const auto& [name, value] : {std::pair("system", "nec"),
                                          {"type", "3001"},
                                          {"handle", "7"},
                                          {"id", "0xB0000F"},
                                          {"target", "3003"},
                                          {"piece", "00000000000000ab-1"},
                                          {"identifier", "3002.7-a-1"},
                                          {"index", "1"}})
            address = std::regex_replace(address, std::regex("\\{" + std::string(name) + "\\}"), value);
        described[channel.first.as<std::string>()] = address;
    }
    EXPECT_EQ(described, expected);
}

TEST(NatsInterface, DescribesEveryMessageThatIsSent) {
    const support::NatsServer server("", true);
    const Observer observer(server);
    talk(server);
    askForStatus(server);
    const Description description;
    std::set<std::string> kinds;
    for (const Message& message : withoutStore(observer.seen())) {
        const std::set<std::string> like = description.messagesLike(message.get());
        EXPECT_FALSE(like.empty()) << natsMsg_GetSubject(message.get());
        kinds.insert(like.begin(), like.end());
    }
    kinds.insert("filler");  // only where a stream went back
    for (const auto& message : description.root()["components"]["messages"])
        EXPECT_EQ(kinds.count(message.first.as<std::string>()), 1U) << message.first.as<std::string>();
}

TEST(NatsInterface, TextsThatAreWrittenFitTheirDescription) {
    const Description description;
    EXPECT_TRUE(description.fits("Sender", frame::nats::writeAddress({65535, 1})));
    EXPECT_TRUE(description.fits("Piece", frame::nats::writePiece({~std::uint64_t{0}, 0, 2, 600000})));
    EXPECT_TRUE(description.fits(
        "Broadcast", frame::nats::writeAnnouncement({~std::uint64_t{0}, 1024, 536870912, std::string(32, 'a')})));
    EXPECT_TRUE(description.fits("Whole", frame::nats::writeWhole({2, 600000})));
    EXPECT_FALSE(description.fits("Sender", "0.1"));
    EXPECT_FALSE(description.fits("Piece", "1 0 2"));
}
