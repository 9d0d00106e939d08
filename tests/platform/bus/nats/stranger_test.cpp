// Others on the same server who publish what no process does, on every subject: one log line each, and nothing else.
#include <nats/nats.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "bus/nats/handles.h"
#include "fixture.h"
#include "platform/log.h"

using frame::BusCode;
using frame::Payload;
using frame::RequestCode;
using frame::nats::Message;
using natstest::hereAddress;
using natstest::id;
using natstest::Texts;
using natstest::thereAddress;
using support::eventually;

namespace {

struct Header {
    const char* name;
    std::string value;
};

// A client that knows the subjects.
class Stranger {
public:
    explicit Stranger(const std::string& url) {
        natsConnection* raw = nullptr;
        EXPECT_EQ(natsConnection_ConnectTo(&raw, url.c_str()), NATS_OK);
        connection_.reset(raw, [](natsConnection* gone) { natsConnection_Destroy(gone); });
    }

    void publish(const std::string& subject, const std::vector<Header>& headers, const std::string& octets,
                 const char* reply = nullptr) const {
        natsMsg* raw = nullptr;
        ASSERT_EQ(natsMsg_Create(&raw, subject.c_str(), reply, octets.data(), static_cast<int>(octets.size())),
                  NATS_OK);
        const Message message(raw);
        for (const Header& header : headers)
            ASSERT_EQ(natsMsgHeader_Add(raw, header.name, header.value.c_str()), NATS_OK);
        ASSERT_EQ(natsConnection_PublishMsg(connection_.get(), raw), NATS_OK);
        ASSERT_EQ(natsConnection_FlushTimeout(connection_.get(), 30000), NATS_OK);
    }

    frame::nats::SubscriptionHandle listen(const std::string& subject) const {
        natsSubscription* raw = nullptr;
        EXPECT_EQ(natsConnection_SubscribeSync(&raw, connection_.get(), subject.c_str()), NATS_OK);
        EXPECT_EQ(natsConnection_FlushTimeout(connection_.get(), 30000), NATS_OK);
        return frame::nats::SubscriptionHandle(raw);
    }

private:
    frame::nats::Connection connection_;
};

Message next(const frame::nats::SubscriptionHandle& subscription) {
    natsMsg* raw = nullptr;
    EXPECT_EQ(natsSubscription_NextMsg(&raw, subscription.get(), 30000), NATS_OK);
    return Message(raw);
}

std::optional<Payload> same(const frame::RequestMessage& request) {
    return request.record;
}

class StrangerTest : public testing::Test {
protected:
    StrangerTest() {
        frame::LogOptions log;
        log.file = folder.file("log");
        frame::openLog(log, 1, 1);
    }
    ~StrangerTest() override { frame::closeLog(); }

    std::unique_ptr<frame::NatsEngine> connect(CProcID address) {
        return frame::connectNats(address, natstest::optionsFor(server.url()));
    }
    std::string ask() {
        Payload answer;
        const RequestCode code = here->request(thereAddress, {id, hereAddress, Payload("question")}, 30, answer);
        return code == RequestCode::ok ? std::string(answer.view()) : std::to_string(static_cast<int>(code));
    }
    bool refuses(std::uint64_t count) {
        return eventually([&] { return there->status().refused == count; });
    }
    std::size_t linesWith(const std::string& text) const {
        const std::string log = support::contentOf(folder.file("log"));
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
        return count;
    }

    support::Folder folder;
    support::NatsServer server;
    std::unique_ptr<frame::NatsEngine> here = connect(hereAddress);
    std::unique_ptr<frame::NatsEngine> there = connect(thereAddress);
    Stranger stranger{server.url()};
    const std::vector<std::string> subjects{"nec.ev.0x217006",          "nec.rq.3001.any", "nec.rq.3001.h2",
                                            "nec.rq.3001.who.0x217006", "nec.cm.3001.any", "nec.cm.3001.h2",
                                            "nec.cm.3001.who",          "nec.at.3001.h2"};
};

}  // namespace

TEST_F(StrangerTest, RubbishOnEverySubjectCostsALineEachAndNothingElse) {
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    const auto serving = there->serveRequests(id, same);
    const auto receiving =
        there->receiveCommands([&](const Payload& message) { texts.put("command " + std::string(message.view())); });
    std::uint64_t count = 0;
    for (const std::string& subject : subjects) {
        stranger.publish(subject, {}, "no header");
        stranger.publish(subject, {{"Nec-Sender", "nobody"}}, "");
        EXPECT_TRUE(refuses(count += 2)) << subject << ' ' << there->status().refused;
        EXPECT_EQ(linesWith("a message on " + subject + " is dropped"), 2U);
    }
    EXPECT_EQ(ask(), "question");
    EXPECT_EQ(natstest::publish(*here, "event"), BusCode::ok);
    EXPECT_EQ(texts.take(), std::optional<std::string>("event"));
    EXPECT_EQ(here->sendCommand(thereAddress, Payload("x")), RequestCode::ok);
    EXPECT_EQ(texts.take(), std::optional<std::string>("command x"));
}

TEST_F(StrangerTest, WrongHeadersAndPiecesAreRefused) {
    const Header sender{"Nec-Sender", "4000.1"};
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    const auto serving = there->serveRequests(id, same);
    std::uint64_t count = 0;
    const auto refused = [&](const std::string& subject, const std::vector<Header>& headers, const char* reply) {
        stranger.publish(subject, headers, "octets", reply);
        EXPECT_TRUE(refuses(++count)) << subject << ' ' << headers.back().value;
    };
    for (const char* piece : {"x", "1 0 2", "1 0 1 6", "1 2 2 12", "1 0 2 999999999", "1 1 2 12", "1 0 2 6"})
        refused(subjects[0], {sender, {"Nec-Piece", piece}}, nullptr);
    stranger.publish(subjects[0], {sender, {"Nec-Piece", "1 0 3 18"}}, "octets");
    refused(subjects[0], {sender, {"Nec-Piece", "1 0 3 18"}}, nullptr);  // repeated
    refused(subjects[0], {sender, {"Nec-Piece", "1 1 3 18"}}, nullptr);  // given up
    for (const char* text : {"0.1", "1.0", "65536.1", "1", "01.1", "+1.1"})
        refused(subjects[0], {{"Nec-Sender", text}}, nullptr);
    refused(subjects[2], {sender, {"Nec-Id", "0x217006"}}, "_INBOX.x");
    refused(subjects[2], {sender, {"Nec-Id", "x"}, {"Nec-Deadline", "1000"}}, "_INBOX.x");
    refused(subjects[2], {sender, {"Nec-Id", "0x217006"}, {"Nec-Deadline", "1000"}}, nullptr);
    // An answer there would be an event.
    refused(subjects[2], {sender, {"Nec-Id", "0x217006"}, {"Nec-Deadline", "1000"}}, "nec.ev.0x217006");
    refused(subjects[2], {sender, {"Nec-Id", "0x217006"}, {"Nec-Deadline", "1000"}}, "$JS.API.INFO");
    EXPECT_TRUE(texts.empty());
    EXPECT_EQ(ask(), "question");
}

TEST_F(StrangerTest, QuestionsWithoutPlaceForTheAnswerAreComplainedOfWithABound) {
    const auto serving = there->serveRequests(id, same);
    const auto receiving = there->receiveCommands([](const Payload&) {});
    constexpr std::uint64_t count = 200;
    for (std::uint64_t i = 0; i < count / 2; ++i) {
        stranger.publish(subjects[3], {{"Nec-Sender", "4000.1"}}, "");
        stranger.publish(subjects[6], {{"Nec-Sender", "4000.1"}}, "");
    }
    EXPECT_TRUE(refuses(count)) << there->status().refused;
    EXPECT_LT(linesWith("is dropped"), count / 2);
    EXPECT_GE(linesWith("a question without a place for its answer"), 20U);
    EXPECT_EQ(ask(), "question");
}

TEST_F(StrangerTest, WhoSendsALightMessageStandsInPlaceOfTheReply) {
    support::Mailbox<CProcID> senders;
    const auto subscription =
        there->subscribeEvent(id, [&](const frame::EventMessage& event) { senders.put(event.sender); });
    for (const char* reply : {"from.3001", "from.3001.0", "from.3001.9.1"})
        stranger.publish(subjects[0], {}, "octets", reply);
    stranger.publish(subjects[0], {}, "octets", "from.3001.9");
    EXPECT_EQ(senders.take(), std::optional(CProcID{3001, 9}));
    EXPECT_TRUE(refuses(3)) << there->status().refused;
}

TEST_F(StrangerTest, PiecesInTheirOrderArriveWhole) {
    const Header sender{"Nec-Sender", "4000.1"};
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    stranger.publish(subjects[0], {sender, {"Nec-Piece", "1 0 2 8"}}, "one ");
    stranger.publish(subjects[0], {sender, {"Nec-Piece", "2 0 2 8"}}, "two ");
    stranger.publish(subjects[0], {{"Nec-Sender", "4000.2"}, {"Nec-Piece", "1 0 2 8"}}, "six ");
    stranger.publish(subjects[0], {sender, {"Nec-Piece", "1 1 2 8"}}, "more");
    stranger.publish(subjects[0], {sender, {"Nec-Piece", "2 1 2 8"}}, "more");
    EXPECT_EQ(texts.take(), std::optional<std::string>("one more"));
    EXPECT_EQ(texts.take(), std::optional<std::string>("two more"));
}

TEST_F(StrangerTest, ManyLinesAreNotWritten) {
    Texts texts;
    const auto subscription = there->subscribeEvent(id, natstest::into(texts));
    constexpr std::uint64_t count = 500;
    for (std::uint64_t i = 0; i < count; ++i) stranger.publish(subjects[0], {}, "rubbish");
    EXPECT_TRUE(refuses(count));
    EXPECT_LT(linesWith("is dropped"), count / 2);
    EXPECT_GE(linesWith("is dropped"), 20U);
}

TEST_F(StrangerTest, ForgedAnswerIsNotTaken) {
    const auto eavesdropping = stranger.listen("nec.rq.>");
    support::Gate forged;
    const auto serving = there->serveRequests(id, [&](const frame::RequestMessage&) {
        EXPECT_TRUE(forged.pass());
        return Payload("answer");
    });
    std::thread asking([this] { EXPECT_EQ(ask(), "answer"); });
    const Message request = next(eavesdropping);
    const std::string inbox = natsMsg_GetReply(request.get());
    stranger.publish(inbox, {}, "forged");
    stranger.publish(inbox, {{"Nec-Sender", "3001.3"}, {"Nec-Result", "ok"}}, "forged");
    stranger.publish(inbox, {{"Nec-Sender", "3001.2"}}, "forged");
    stranger.publish(inbox, {{"Nec-Sender", "3001.2"}, {"Nec-Result", "ok"}, {"Nec-Piece", "1 0 2 12"}}, "forged");
    stranger.publish(inbox, {{"Nec-Sender", "3001.2"}, {"Nec-Result", "ok"}, {"Nec-Piece", "1 0 2 12"}}, "forged");
    stranger.publish(inbox + "x", {{"Nec-Sender", "3001.2"}, {"Nec-Result", "ok"}}, "forged");
    EXPECT_TRUE(eventually([this] { return here->status().refused == 4; })) << here->status().refused;
    forged.open();
    asking.join();
}

TEST_F(StrangerTest, AnswersGoToPlacesThatCannotBeGuessed) {
    const auto eavesdropping = stranger.listen("nec.rq.>");
    const auto serving = there->serveRequests(id, same);
    std::vector<std::string> inboxes;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ask(), "question");
        inboxes.emplace_back(natsMsg_GetReply(next(eavesdropping).get()));
    }
    EXPECT_EQ(inboxes[0].rfind("_INBOX.3001_1.", 0), 0U) << inboxes[0];
    EXPECT_EQ(inboxes[0].size(), std::string("_INBOX.3001_1.").size() + 32 + 1 + 32);
    EXPECT_NE(inboxes[0].substr(inboxes[0].size() - 32), inboxes[1].substr(inboxes[1].size() - 32));
}

TEST_F(StrangerTest, SystemsOfDifferentNamesDoNotHearEachOther) {
    auto options = natstest::optionsFor(server.url());
    options.system = "other";
    const auto other = frame::connectNats(thereAddress, options);
    const auto serving = other->serveRequests(id, same);
    EXPECT_EQ(ask(), "1");
}
