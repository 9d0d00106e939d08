// Synchronous command messages between processes.
#include <atomic>
#include <thread>
#include <vector>

#include "fixture.h"
#include "platform/log.h"
#include "support/octets.h"

using support::Gate;
using support::Mailbox;

namespace {

class CommandTest : public TaskTest {
protected:
    // The one line that `action` logs on this thread.
    template <class Action>
    static std::string logOf(const Action& action) {
        const frame::LogCapture capture;
        action();
        return capture.records().size() == 1 ? capture.records().front().text : "not one line";
    }

    static std::function<void(ScriptedTask&, const CmdMSG&)> saying(std::string_view text) {
        return [text](ScriptedTask& task, const CmdMSG& request) { EXPECT_EQ(task.TesuCmdAnswer(request, text), 0); };
    }

    // What a send that gives nothing logs as its reason.
    template <class Action>
    static std::string failureOf(const Action& action) {
        const std::string line = logOf(action);
        return line.substr(line.rfind(": ") + 2);
    }
};

}  // namespace

TEST_F(CommandTest, AnswerComesBack) {
    answerer_.serve(echo);
    Sender sender(asker_);
    EXPECT_EQ(sender.ask("question"), "question");
    EXPECT_EQ(sender.ask(""), "");
}

TEST_F(CommandTest, LargePayloadsPassWhole) {
    answerer_.serve(echo);
    const std::string large(4U << 20, 'x');
    EXPECT_TRUE(Sender(asker_).ask(large) == large);
}

TEST_F(CommandTest, RequestCarriesWhoSentIt) {
    Mailbox<CmdMSG> received;
    answerer_.serve([&](ScriptedTask& task, const CmdMSG& request) {
        received.put(request);
        EXPECT_EQ(task.TesuCmdAnswer(request, {}), 0);
    });
    Sender sender(asker_);
    EXPECT_EQ(sender.ask("a"), "");
    const auto request = received.take();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->version, cmdVersion);
    EXPECT_EQ(request->kind, cmdRequest);
    EXPECT_EQ(request->srcType, askerAddress.procType);
    EXPECT_EQ(request->srcHandle, askerAddress.procHandle);
    EXPECT_EQ(request->srcDesk, askerDesk);
    EXPECT_EQ(request->srcManager, askerManager);
    EXPECT_EQ(request->command, command);
    EXPECT_EQ(request->requestId, sender.identifier());
    EXPECT_EQ(request->length, 3U);
}

TEST_F(CommandTest, AnswerGoesBackTheWayOfItsRequest) {
    answerer_.serve(echo);
    Sender sender(asker_);
    CmdMSG* received = nullptr;
    ASSERT_EQ(sender.task().TesuCmdSynSendCBEx(requestOf(sender.task(), sender.identifier(), "a"), received, patience),
              1);
    const std::unique_ptr<CmdMSG> answer(received);
    EXPECT_EQ(answer->kind, cmdAnswer);
    EXPECT_EQ(answer->dstType, askerAddress.procType);
    EXPECT_EQ(answer->dstHandle, askerAddress.procHandle);
    EXPECT_EQ(answer->dstDesk, askerDesk);
    EXPECT_EQ(answer->dstManager, askerManager);
    EXPECT_EQ(answer->srcType, answererAddress.procType);
    EXPECT_EQ(answer->srcHandle, answererAddress.procHandle);
    EXPECT_EQ(answer->srcManager, answererManager);
    EXPECT_EQ(answer->command, command);
    EXPECT_EQ(answer->requestId, sender.identifier());
}

TEST_F(CommandTest, HeadIsFilledAndThePayloadLeftAlone) {
    Sender sender(asker_);
    CmdMSG message;
    std::memset(static_cast<void*>(&message), 0x5A, sizeof message);
    sender.task().FillCmdMsgHead(&message);
    CmdMSG expected;
    expected.version = 10;
    expected.srcDesk = askerDesk;
    expected.srcHandle = askerAddress.procHandle;
    expected.srcType = askerAddress.procType;
    expected.kind = 6;
    expected.srcManager = askerManager;
    std::memset(expected.payload, 0x5A, sizeof expected.payload);
    EXPECT_EQ(std::memcmp(&message, &expected, sizeof message), 0);
}

// A process that knows nothing of tasks, on both ends of whole messages that are written out by hand.
TEST_F(CommandTest, OctetsOnTheBusAreTheMessageItself) {
    constexpr CProcID plainAddress{answererAddress.procType, 2};
    const std::string expected = support::octets(
        "0A 000000 00000000 0300 0000 0700 0200 B90B 85B1 9FFB3F00 06 00000000000000000000000000 0100 0000 0000 "
        "05000000 05 C8 616263");
    const std::string answer = support::octets(
        "0A 000000 00000000 0000 0300 0200 0700 85B1 B90B 9FFB3F00 07 00000000000000000000000000 0100 0000 0000 "
        "04000000 C8 05 6465");
    Mailbox<std::string> octets;
    const auto plain = bus_.connect(plainAddress);
    const auto receiving = plain->receiveCommands([&](const frame::Payload& message) {
        octets.put(std::string(message.view()));
        EXPECT_EQ(plain->sendCommand(askerAddress, frame::Payload(answer)), frame::RequestCode::ok);
    });
    Sender sender(asker_);
    CmdMSG* message = requestOf(sender.task(), sender.identifier(), "abc");
    message->dstHandle = plainAddress.procHandle;
    EXPECT_EQ(sender.send(message), "de");
    EXPECT_EQ(support::hex(octets.take().value_or("")), support::hex(expected));
}

TEST_F(CommandTest, RequestReachesTheManagerThatItNames) {
    constexpr CProcID address{4000, 1};
    constexpr unsigned char numbers[] = {1, 2};
    const auto engine = bus_.connect(address);
    frame::TaskManagers managers(*engine, 0, {1, 2}, frame::TaskManagers::Reach::ofAStandIn);
    for (const unsigned char number : numbers) {
        TesuTaskMgr* manager = managers.find(number);
        auto* task =
            new ScriptedTask(manager, {.request = [number](ScriptedTask& self, const CmdMSG& request) {
                                 EXPECT_EQ(self.TesuCmdAnswer(request, "manager " + std::to_string(number)), 0);
                             }});
        manager->TMInitInsertTask(task);
        manager->TMSetCmdTask(task);
    }
    Sender sender(asker_);
    for (const unsigned char number : numbers) {
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "");
        message->dstType = address.procType;
        message->dstManager = number;
        EXPECT_EQ(sender.send(message), "manager " + std::to_string(number));
    }
}

TEST_F(CommandTest, ProcessWithoutManagersTakesNoMessageFromOthersOfItsType) {
    constexpr CProcID address{4000, 1};
    const auto engine = bus_.connect(address);
    const frame::TaskManagers none(*engine, 0, {}, frame::TaskManagers::Reach::ofAStandIn);
    EXPECT_EQ(engine->sendCommand({address.procType, 0}, frame::Payload("x")), frame::RequestCode::noProcess);
    EXPECT_EQ(engine->sendCommand(address, frame::Payload("x")), frame::RequestCode::noProcess);
}

TEST_F(CommandTest, RequestReachesTheProcessThatItNames) {
    constexpr CProcID secondAddress{answererAddress.procType, 2};
    const Managed second(bus_, secondAddress, 0, answererManager);
    answerer_.serve(saying("first"));
    second.serve(saying("second"));
    Sender sender(asker_);
    const auto ask = [&](std::uint16_t handle) {
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "");
        message->dstHandle = handle;
        return sender.send(message);
    };
    EXPECT_EQ(ask(answererAddress.procHandle), "first");
    EXPECT_EQ(ask(secondAddress.procHandle), "second");
}

TEST_F(CommandTest, OwnProcessMayBeAsked) {
    asker_.serve(echo);
    Sender sender(asker_);
    CmdMSG* message = requestOf(sender.task(), sender.identifier(), "self");
    message->dstType = askerAddress.procType;
    message->dstManager = askerManager;
    EXPECT_EQ(sender.send(message), "self");
}

TEST_F(CommandTest, GeneralTaskGetsRequestsAsMessagesWithoutRecord) {
    class General : public TesuGnlTask {
    public:
        using TesuGnlTask::TesuGnlTask;
        void HandleNoAsn1Msg(TECmdMsg* message) override { TesuCmdAnswer(*message, "general"); }
    };
    auto* task = new General(answerer_.manager(), "General");
    answerer_.manager()->TMInitInsertTask(task);
    answerer_.manager()->TMSetCmdTask(task);
    EXPECT_EQ(Sender(asker_).ask(""), "general");
}

TEST_F(CommandTest, AbsentProcessFailsAtOnce) {
    answerer_.end();
    Sender sender(asker_);
    EXPECT_EQ(logOf([&] { EXPECT_EQ(sender.ask("question"), "none"); }),
              "task Sender: request 0x3FFB9F to 45445:0 manager 200, identifier " +
                  std::to_string(sender.identifier()) + ", has no answer: no process there receives commands");
}

TEST_F(CommandTest, SlowProcessTimesOutAndItsLateAnswerGoesToTheTask) {
    Gate late;
    Mailbox<std::string> answers;
    answerer_.serve([&](ScriptedTask& task, const CmdMSG& request) {
        EXPECT_TRUE(late.pass());
        echo(task, request);
    });
    ScriptedTask* task = asker_.add({.answer = [&](ScriptedTask& self, TesuErrorCode error, const CmdMSG& message) {
        EXPECT_EQ(error, 0);
        EXPECT_EQ(TesuGetCurrentTask(), &self);
        EXPECT_EQ(message.kind, cmdAnswer);
        answers.put(std::string(message.payloadView()));
    }});
    const auto identifier = asker_.manager()->AllocReqID(task);
    CmdMSG* answer = nullptr;
    EXPECT_EQ(
        failureOf([&] { EXPECT_EQ(task->TesuCmdSynSendCBEx(requestOf(*task, identifier, "late"), answer, 1), 0); }),
        "no answer within 1 s");
    EXPECT_EQ(answer, nullptr);
    late.open();
    EXPECT_EQ(answers.take(), "late");
}

TEST_F(CommandTest, TimeOutBelowOneCountsAsOne) {
    answerer_.serve([](ScriptedTask&, const CmdMSG&) {});
    Sender sender(asker_);
    EXPECT_EQ(failureOf([&] { EXPECT_EQ(sender.ask("question", -1), "none"); }), "no answer within 1 s");
}

TEST_F(CommandTest, RubbishIsNoAnswer) {
    answerer_.serve([this](ScriptedTask&, const CmdMSG& request) {
        const auto rubbish = [&](const std::string& octets) {
            EXPECT_EQ(answerer_.engine().sendCommand(askerAddress, frame::Payload(octets)), frame::RequestCode::ok);
        };
        rubbish("");
        rubbish(std::string(49, '\0'));
        rubbish(std::string(1000, '\xFF'));
        rubbish(std::string(reinterpret_cast<const char*>(&request), cmdHeaderOctets));
    });
    Sender sender(asker_);
    EXPECT_EQ(failureOf([&] { EXPECT_EQ(sender.ask("question", 1), "none"); }), "no answer within 1 s");
}

TEST_F(CommandTest, ProcessThatDiesMidRequestTimesOut) {
    Gate asked;
    answerer_.serve([&](ScriptedTask&, const CmdMSG&) { asked.open(); });
    Sender sender(asker_);
    std::thread asking([&] { EXPECT_EQ(sender.ask("question", 1), "none"); });
    EXPECT_TRUE(asked.pass());
    answerer_.end();
    asking.join();
}

TEST_F(CommandTest, SecondAnswerGoesToTheTask) {
    answerer_.serve([](ScriptedTask& task, const CmdMSG& request) {
        EXPECT_EQ(task.TesuCmdAnswer(request, "first"), 0);
        EXPECT_EQ(task.TesuCmdAnswer(request, "second"), 0);
    });
    Mailbox<std::string> answers;
    ScriptedTask* task = asker_.add({.answer = [&](ScriptedTask&, TesuErrorCode, const CmdMSG& message) {
        answers.put(std::string(message.payloadView()));
    }});
    const auto identifier = asker_.manager()->AllocReqID(task);
    CmdMSG* answer = nullptr;
    ASSERT_EQ(task->TesuCmdSynSendCBEx(requestOf(*task, identifier, ""), answer, patience), 1);
    EXPECT_EQ(answer->payloadView(), "first");
    delete answer;
    EXPECT_EQ(answers.take(), "second");
}

TEST_F(CommandTest, AnswerToNobodyIsToldToTheAnswerer) {
    Sender sender(asker_);
    CmdMSG request;
    request.srcType = 4000;
    EXPECT_EQ(sender.task().TesuCmdAnswer(request, "answer"), static_cast<int>(frame::RequestCode::noProcess));
    EXPECT_EQ(sender.task().TesuCmdAnswer(request, std::string(frame::mostRequestOctets, 'x')),
              static_cast<int>(frame::RequestCode::tooLarge));
}

TEST_F(CommandTest, OperationOfATaskMaySend) {
    answerer_.serve(echo);
    asker_.serve([this](ScriptedTask& task, const CmdMSG& request) {
        EXPECT_EQ(task.TesuCmdAnswer(request, Sender(asker_).ask(request.payloadView())), 0);
    });
    Sender sender(answerer_);
    CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
    message->dstType = askerAddress.procType;
    message->dstManager = askerManager;
    EXPECT_EQ(sender.send(message), "question");
}

TEST_F(CommandTest, OperationOfATaskMaySendForTheTaskItself) {
    answerer_.serve(echo);
    Mailbox<std::string> outcomes;
    asker_.add({.begun = [&](ScriptedTask& task) {
        CmdMSG* answer = nullptr;
        task.TesuCmdSynSendCBEx(requestOf(task, asker_.manager()->AllocReqID(&task), "question"), answer, patience);
        const std::unique_ptr<CmdMSG> owned(answer);
        outcomes.put(owned ? std::string(owned->payloadView()) : "none");
    }});
    EXPECT_EQ(outcomes.take(), "question");
}

TEST_F(CommandTest, OwnThreadOfTheManagerDoesNotWaitForItself) {
    asker_.serve(echo);
    Mailbox<std::string> outcomes;
    asker_.add({.begun = [&](ScriptedTask& task) {
        CmdMSG* message = requestOf(task, asker_.manager()->AllocReqID(&task), "");
        message->dstType = askerAddress.procType;
        message->dstHandle = askerAddress.procHandle;
        message->dstManager = askerManager;
        outcomes.put(failureOf([&] {
            CmdMSG* answer = nullptr;
            EXPECT_EQ(task.TesuCmdSynSendCBEx(message, answer, patience), 0);
            EXPECT_EQ(answer, nullptr);
        }));
    }});
    EXPECT_EQ(outcomes.take(), "the thread of its task manager would wait for itself");
}

TEST_F(CommandTest, ThreadOfAnotherManagerMaySend) {
    answerer_.serve(echo);
    Mailbox<std::string> outcomes;
    Sender sender(asker_);
    const Managed third(bus_, {4000, 1}, 0, 0);
    third.add({.begun = [&](ScriptedTask&) { outcomes.put(sender.ask("question")); }});
    EXPECT_EQ(outcomes.take(), "question");
}

TEST_F(CommandTest, UnfitMessagesAreNotSent) {
    answerer_.serve(echo);
    Sender sender(asker_);
    const Sender other(asker_);
    EXPECT_EQ(failureOf([&] { sender.send(requestOf(sender.task(), 0, "")); }),
              "its identifier is not one of this task");
    EXPECT_EQ(failureOf([&] { sender.send(requestOf(sender.task(), other.identifier(), "")); }),
              "its identifier is not one of this task");
    CmdMSG* message = requestOf(sender.task(), sender.identifier(), "");
    message->length = 1;
    EXPECT_EQ(failureOf([&] { EXPECT_EQ(sender.send(message), "none"); }), "its length field is below 2");
    EXPECT_EQ(failureOf([&] { EXPECT_EQ(sender.ask(std::string(frame::mostRequestOctets, 'x')), "none"); }),
              "larger than a message may be");
}

TEST_F(CommandTest, SecondSendWithAnIdentifierThatWaitsFails) {
    Gate asked;
    Gate leave;
    answerer_.serve([&](ScriptedTask& task, const CmdMSG& request) {
        asked.open();
        EXPECT_TRUE(leave.pass());
        echo(task, request);
    });
    Sender sender(asker_);
    std::thread first([&] { EXPECT_EQ(sender.ask("first"), "first"); });
    EXPECT_TRUE(asked.pass());
    EXPECT_EQ(failureOf([&] { EXPECT_EQ(sender.ask("second"), "none"); }), "another send waits with its identifier");
    leave.open();
    first.join();
}

TEST_F(CommandTest, ManyThreadsGetTheirOwnAnswers) {
    answerer_.serve(echo);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (char thread = 'a'; thread < 'e'; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 100; ++i) {
                const std::string question = thread + std::to_string(i);
                EXPECT_EQ(Sender(asker_).ask(question), question);
            }
        });
    for (std::thread& thread : threads) thread.join();
}
