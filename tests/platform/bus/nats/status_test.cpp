// A process tells how it is to whoever asks on the bus.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "bus/nats/process_status.h"
#include "fixture.h"
#include "foreigner.h"

namespace {

using namespace natstest;
using frame::nats::ProcessStatus;
using frame::nats::readStatus;
using frame::nats::writeStatus;
using testing::ElementsAre;
using testing::Pair;

const std::string reply = "_INBOX.operator.here";

class NatsStatusAnswer : public testing::Test {
protected:
    std::optional<ProcessStatus> ask(const std::string& subject) const {
        const auto answers = foreigner_.listen(reply);
        foreigner_.publish(subject, {{"Nec-Sender", "3006.9"}}, {}, reply);
        const auto message = Foreigner::next(answers);
        return readStatus(
            {natsMsg_GetData(message.get()), static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))});
    }

    support::NatsServer server_;
    Foreigner foreigner_{server_.url()};
    std::unique_ptr<frame::NatsEngine> engine_ = frame::connectNats(hereAddress, optionsFor(server_.url()));
};

ProcessStatus someStatus() {
    ProcessStatus status;
    status.address = {3002, 7};
    status.host = "nec-1";
    status.bus.state = frame::NatsStatus::State::reconnecting;
    return status;
}

}  // namespace

TEST_F(NatsStatusAnswer, TellsAllAndOneHowItIs) {
    for (const char* subject : {"nec.st", "nec.st.3001.h1"}) {
        const auto status = ask(subject);
        ASSERT_TRUE(status) << subject;
        EXPECT_EQ(status->address, hereAddress);
        EXPECT_EQ(status->pid, static_cast<std::uint64_t>(getpid()));
        EXPECT_GT(status->startedUnixMilliseconds, 0);
        EXPECT_EQ(status->bus.state, frame::NatsStatus::State::connected);
        EXPECT_EQ(status->bus.server, server_.url());
        EXPECT_TRUE(status->more.empty());
    }
}

TEST_F(NatsStatusAnswer, TellsWhatServicesAddWhileTheyDo) {
    frame::Subscription added = engine_->addStatus([] {
        return std::vector<std::pair<std::string, std::uint64_t>>{{"outbox_depth", 12}, {"Not a name", 1}};
    });
    EXPECT_THAT(ask("nec.st").value_or(ProcessStatus()).more, ElementsAre(Pair("outbox_depth", 12)));
    added = {};
    EXPECT_TRUE(ask("nec.st").value_or(ProcessStatus()).more.empty());
}

TEST_F(NatsStatusAnswer, CountsQuestionsThatCannotBeAnswered) {
    foreigner_.publish("nec.st", {{"Nec-Sender", "3006.9"}});
    foreigner_.publish("nec.st", {{"Nec-Sender", "nobody"}}, {}, reply);
    foreigner_.publish("nec.st", {{"Nec-Sender", "3006.9"}}, {}, "nec.ev.0x1");
    EXPECT_TRUE(eventually([this] { return engine_->status().refused == 3; }));
}

TEST(NatsStatusText, LongTextsAreCutAndOddOnesRead) {
    ProcessStatus status = someStatus();
    status.bus.lastError = std::string(100000, '\x01');
    status.host = "\"\\\n";
    for (int i = 0; i < 100; ++i)
        status.more.emplace_back("name_" + std::string(1, static_cast<char>('a' + i % 26)), i);
    const std::string text = writeStatus(status);
    EXPECT_LE(text.size(), frame::nats::mostStatusOctets);
    const auto read = readStatus(text);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->host, status.host);
    EXPECT_EQ(read->bus.lastError, std::string(200, '\x01'));
    EXPECT_EQ(read->bus.state, status.bus.state);
    EXPECT_EQ(read->more.size(), 16U);
}

TEST(NatsStatusText, WhatNoProcessTellsIsRefused) {
    const std::string right = writeStatus(someStatus());
    ASSERT_TRUE(readStatus(right));
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = right;
        const std::size_t place = text.find(from);
        return place == std::string::npos ? text : text.replace(place, from.size(), to);
    };
    for (const std::string& wrong :
         {std::string(), std::string("[]"), std::string("{}"), right + right, with("3002.7", "3002:7"),
          with("\"nec-1\"", "1"), with("reconnecting", "fine"), with("\"pid\":0", "\"pid\":-1"),
          with("\"dropped\":0", "\"dropped\":\"0\""), with("\"started\"", "\"begun\""),
          right + std::string(frame::nats::mostStatusOctets, ' ')})
        EXPECT_FALSE(readStatus(wrong)) << wrong;
}
