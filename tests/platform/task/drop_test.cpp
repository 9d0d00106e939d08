// Command messages that are dropped: each leaves one line in the log.
#include <atomic>
#include <sstream>
#include <vector>

#include "fixture.h"
#include "platform/log.h"
#include "support/folder.h"
#include "task/queue.h"

using frame::MessageQueue;
using support::Gate;

namespace {

// Its answerer counts requests, and answers none.
class DropTest : public TaskTest {
protected:
    ~DropTest() override {
        answerer_.end();
        frame::closeLog();
    }

    void serve() {
        answerer_.serve(
            [this](ScriptedTask&, const CmdMSG& request) { texts_.put(std::string(request.payloadView())); });
    }
    // A whole message to the answerer.
    static std::string message(const std::function<void(CmdMSG&)>& change = {}) {
        CmdMSG header;
        header.version = cmdVersion;
        header.srcDesk = askerDesk;
        header.srcHandle = askerAddress.procHandle;
        header.srcType = askerAddress.procType;
        header.command = command;
        header.kind = cmdRequest;
        header.requestId = 12;
        header.srcManager = askerManager;
        header.dstManager = answererManager;
        header.length = 2;
        if (change) change(header);
        return std::string(reinterpret_cast<const char*>(&header), cmdHeaderOctets);
    }
    void post(const std::string& octets) {
        EXPECT_EQ(asker_.engine().sendCommand(answererAddress, frame::Payload(octets)), frame::RequestCode::ok);
    }
    // What is logged when `octets` come.
    std::string logOf(const std::string& octets) {
        const frame::LogCapture capture;
        post(octets);
        return capture.records().size() == 1 ? capture.records().front().text : "not one line";
    }
    // Everything sent before has been handled when this returns.
    void settle() {
        Gate handled;
        ScriptedTask* task =
            answerer_.add({.answer = [&](ScriptedTask&, TesuErrorCode, const CmdMSG&) { handled.open(); }});
        const auto identifier = answerer_.manager()->AllocReqID(task);
        post(message([identifier](CmdMSG& header) {
            header.kind = cmdAnswer;
            header.requestId = static_cast<std::uint16_t>(identifier);
        }));
        ASSERT_TRUE(handled.pass());
        task->TesuSetTaskState(taskRetired);
    }
    // The lines of the log file.
    std::vector<std::string> lines() const {
        std::vector<std::string> found;
        std::istringstream text(support::contentOf(folder_.file("log")));
        for (std::string line; std::getline(text, line);) found.push_back(line);
        return found;
    }
    void logToFile() const { frame::openLog({folder_.file("log"), frame::LogLevel::info, true}, 1, 1); }

    support::Mailbox<std::string> texts_;

private:
    support::Folder folder_;
};

}  // namespace

TEST_F(DropTest, WholeMessageArrivesWithoutALine) {
    serve();
    EXPECT_EQ(logOf(message()), "not one line");
    EXPECT_EQ(texts_.take(), "");
}

TEST_F(DropTest, MessageThatIsTooShort) {
    EXPECT_EQ(logOf(message().substr(0, 49)),
              "request 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 0, identifier 12, dropped: octets 49, expected "
              "50 or more");
    EXPECT_EQ(logOf(""),
              "message 0x0 from 0:0 desk 0 manager 0 to manager 0, identifier 0, dropped: octets 0, expected 50 or "
              "more");
}

TEST_F(DropTest, MessageWhoseLengthLies) {
    EXPECT_EQ(logOf(message([](CmdMSG& header) { header.length = 3; })),
              "request 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 200, identifier 12, dropped: length field 3, "
              "expected 2");
}

TEST_F(DropTest, MessageToAnotherDesk) {
    EXPECT_EQ(logOf(message([](CmdMSG& header) { header.dstDesk = 9; })),
              "request 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 200, identifier 12, dropped: destination desk "
              "9, expected 0");
}

TEST_F(DropTest, MessageOfAnUnknownKind) {
    EXPECT_EQ(logOf(message([](CmdMSG& header) { header.kind = 9; })),
              "message 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 200, identifier 12, dropped: kind 9, expected "
              "6 or 7");
}

TEST_F(DropTest, MessageToAManagerThatThereIsNot) {
    EXPECT_EQ(logOf(message([](CmdMSG& header) { header.dstManager = 201; })),
              "request 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 201, identifier 12, dropped: destination "
              "manager 201, expected one that the process has");
}

TEST_F(DropTest, RequestThatNoTaskTakes) {
    logToFile();
    post(message());
    settle();
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_NE(lines()[0].find("request 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 200, identifier 12, dropped: "
                              "no task takes requests"),
              std::string::npos)
        << lines()[0];
}

TEST_F(DropTest, AnswerThatNoTaskAskedFor) {
    logToFile();
    post(message([](CmdMSG& header) { header.kind = cmdAnswer; }));
    settle();
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_NE(lines()[0].find("answer 0x3FFB9F from 3001:7 desk 3 manager 5 to manager 200, identifier 12, dropped: "
                              "no task has its identifier"),
              std::string::npos)
        << lines()[0];
}

TEST_F(DropTest, RequestsAreDroppedAgainOnceTheirTaskIsRetired) {
    ScriptedTask* task = answerer_.serve([this](ScriptedTask&, const CmdMSG&) { texts_.put("retired"); });
    task->TesuSetTaskState(taskRetired);
    post(message());
    settle();
    EXPECT_TRUE(texts_.empty());
}

TEST_F(DropTest, MessagesBeyondTheMostThatMayWaitAreDroppedWithOneLine) {
    logToFile();
    Gate entered;
    Gate leave;
    Gate all;
    std::atomic<std::size_t> handled = 0;
    answerer_.serve([&](ScriptedTask&, const CmdMSG&) {
        if (++handled == MessageQueue::capacity + 1) all.open();
        entered.open();
        EXPECT_TRUE(leave.pass());
    });
    const frame::Payload octets(message());
    post(message());
    ASSERT_TRUE(entered.pass());
    for (std::size_t i = 0; i < MessageQueue::capacity + 3; ++i)
        ASSERT_EQ(asker_.engine().sendCommand(answererAddress, octets), frame::RequestCode::ok);
    leave.open();
    ASSERT_TRUE(all.pass());
    settle();
    EXPECT_EQ(handled, MessageQueue::capacity + 1);
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_NE(lines()[0].find("queue of task manager 200 was full: 3 command messages dropped"), std::string::npos)
        << lines()[0];
}

TEST(MessageQueueTest, MessageBeyondTheMostIsRefusedAndCounted) {
    MessageQueue queue;
    for (std::size_t i = 0; i < MessageQueue::capacity; ++i) ASSERT_TRUE(queue.push(frame::Payload("x")));
    EXPECT_FALSE(queue.push(frame::Payload("x")));
    EXPECT_FALSE(queue.push(frame::Payload("x")));
    EXPECT_EQ(queue.takeRefused(), 2U);
    EXPECT_EQ(queue.takeRefused(), 0U);
    queue.pop();
    EXPECT_TRUE(queue.push(frame::Payload("x")));
}

TEST(MessageQueueTest, OctetsBeyondTheMostAreRefused) {
    MessageQueue queue;
    const frame::Payload half(std::string(MessageQueue::octetCapacity / 2, 'x'));
    EXPECT_TRUE(queue.push(half));
    EXPECT_TRUE(queue.push(half));
    EXPECT_FALSE(queue.push(frame::Payload("x")));
    EXPECT_TRUE(queue.push(frame::Payload("")));
    EXPECT_EQ(queue.pop().size(), half.size());
    EXPECT_TRUE(queue.push(frame::Payload("x")));
}
