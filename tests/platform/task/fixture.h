// Two processes on an embedded bus, each with task managers: the one that asks, and a stand-in that answers.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/bus.h"
#include "platform/task.h"
#include "support/gate.h"
#include "support/mailbox.h"

inline constexpr CProcID askerAddress{3001, 7};
inline constexpr CProcID answererAddress{0xB185, 1};
inline constexpr std::uint16_t askerDesk = 3;
inline constexpr unsigned char askerManager = 5;
inline constexpr unsigned char answererManager = 200;
inline constexpr std::uint32_t command = 0x3FFB9F;
inline constexpr int patience = 30;

// The octets of a message whose payload is `text`.
inline CmdMSG* messageWith(std::string_view text) {
    auto* message = new (cmdHeaderOctets + text.size()) TesuCmdMSG;
    std::memcpy(reinterpret_cast<char*>(message) + cmdHeaderOctets, text.data(), text.size());
    return message;
}

// A request that `task` may send, to manager 200 of any answerer.
inline CmdMSG* requestOf(const TesuTask& task, unsigned long identifier, std::string_view text) {
    CmdMSG* message = messageWith(text);
    task.FillCmdMsgHead(message);
    message->dstType = answererAddress.procType;
    message->dstManager = answererManager;
    message->command = command;
    message->requestId = static_cast<std::uint16_t>(identifier);
    message->length = static_cast<std::uint32_t>(text.size() + 2);
    return message;
}

// Hands each of its operations to a function, where there is one; counts in a mailbox that it was deleted.
class ScriptedTask : public TesuTask {
public:
    struct Script {
        std::function<void(ScriptedTask&)> begun = {};
        std::function<void(ScriptedTask&, const CmdMSG&)> request = {};
        std::function<void(ScriptedTask&, TesuErrorCode, const CmdMSG&)> answer = {};
        std::function<void(ScriptedTask&, long)> timer = {};
        std::function<void()> deleted = {};
    };

    ScriptedTask(TesuTaskMgr* manager, Script script) : TesuTask(manager, "Scripted"), script_(std::move(script)) {}
    ~ScriptedTask() override {
        if (script_.deleted) script_.deleted();
    }

    void InitTaskCmdReqProcess(CmdMSG* message) override {
        EXPECT_EQ(message, nullptr);
        if (script_.begun) script_.begun(*this);
    }
    void TesuTaskCmdRecv(CmdMSG* message) override {
        if (script_.request) script_.request(*this, *message);
    }
    void TesuTaskCmdResp(TesuErrorCode error, CmdMSG* message) override {
        if (script_.answer) script_.answer(*this, error, *message);
    }
    void TesuTaskTimeOut(long timer) override {
        if (script_.timer) script_.timer(*this, timer);
    }

private:
    Script script_;
};

// A process with one manager, which is its own or a stand-in's.
class Managed {
public:
    Managed(frame::LocalBus& bus, CProcID address, std::uint16_t desk, unsigned char number,
            frame::TaskManagers::Reach reach = frame::TaskManagers::Reach::ofAStandIn)
        : engine_(bus.connect(address)),
          managers_(std::make_unique<frame::TaskManagers>(*engine_, desk, std::vector<unsigned char>{number}, reach)),
          manager_(managers_->find(number)) {}

    TesuTaskMgr* manager() const { return manager_; }
    frame::BusEngine& engine() { return *engine_; }
    void end() { managers_.reset(); }

    // A task, inserted, with the script.
    ScriptedTask* add(ScriptedTask::Script script) const {
        auto* task = new ScriptedTask(manager_, std::move(script));
        EXPECT_TRUE(manager_->TMInitInsertTask(task));
        return task;
    }
    // The same, and requests go to it.
    ScriptedTask* serve(std::function<void(ScriptedTask&, const CmdMSG&)> request) const {
        ScriptedTask* task = add({.request = std::move(request)});
        manager_->TMSetCmdTask(task);
        return task;
    }

private:
    std::unique_ptr<frame::BusEngine> engine_;
    std::unique_ptr<frame::TaskManagers> managers_;
    TesuTaskMgr* manager_;
};

// A task of `process` from outside, with an identifier, as those that only send are.
class Sender {
public:
    explicit Sender(const Managed& process) : task_(new TesuTask(process.manager(), "Sender")) {
        identifier_ = process.manager()->AllocReqID(task_);
        EXPECT_TRUE(process.manager()->TMInitInsertTask(task_));
    }
    ~Sender() { task_->TesuSetTaskState(taskRetired); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    TesuTask& task() { return *task_; }
    unsigned long identifier() const { return identifier_; }

    // The payload of the answer, or "none".
    std::string ask(std::string_view text, int timeoutSeconds = patience) {
        return send(requestOf(*task_, identifier_, text), timeoutSeconds);
    }
    std::string send(CmdMSG* message, int timeoutSeconds = patience) {
        CmdMSG* answer = message;  // to be overwritten in every case
        const int sent = task_->TesuCmdSynSendCBEx(message, answer, timeoutSeconds);
        EXPECT_EQ(sent, answer != nullptr ? 1 : 0);
        const std::unique_ptr<CmdMSG> owned(answer);
        return owned ? std::string(owned->payloadView()) : "none";
    }

private:
    TesuTask* task_;
    unsigned long identifier_ = 0;
};

class TaskTest : public testing::Test {
protected:
    static void echo(ScriptedTask& task, const CmdMSG& request) {
        EXPECT_EQ(task.TesuCmdAnswer(request, request.payloadView()), 0);
    }

    frame::LocalBus bus_;
    Managed asker_{bus_, askerAddress, askerDesk, askerManager, frame::TaskManagers::Reach::ofTheProcess};
    Managed answerer_{bus_, answererAddress, 0, answererManager};
};
