// A trap dispatcher that keeps what it is sent, on the real embedded bus.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "platform/process.h"
#include "platform/task.h"
#include "support/mailbox.h"

// A command message as it came: all its octets.
using Octets = std::string;

// What a dispatcher answers; nothing: no answer. Called on a thread of its own.
using Answering = std::function<std::optional<std::string>(const Octets& message)>;

class KeepingTask : public TesuGnlTask {
public:
    KeepingTask(TesuTaskMgr* manager, support::Mailbox<Octets>& received, const Answering& answering)
        : TesuGnlTask(manager, "KeepingTask"), received_(received), answering_(answering) {}

    void HandleNoAsn1Msg(TECmdMsg* message) override {
        const Octets octets(reinterpret_cast<const char*>(message), cmdHeaderOctets + message->payloadView().size());
        received_.put(octets);
        if (const auto answer = answering_(octets)) TesuCmdAnswer(*message, *answer);
    }

private:
    support::Mailbox<Octets>& received_;
    const Answering& answering_;
};

// The dispatcher's process on `bus`, with the task managers 100 and 200.
class KeepingDispatcher {
public:
    explicit KeepingDispatcher(frame::LocalBus& bus) : engine_(bus.connect({0xB185, 1})) {
        for (const unsigned char number : std::initializer_list<unsigned char>{100, 200}) {
            TesuTaskMgr* manager = managers_.find(number);
            auto* task = new KeepingTask(manager, received, answering);
            manager->TMInitInsertTask(task);
            manager->TMSetCmdTask(task);
        }
    }

    support::Mailbox<Octets> received;
    Answering answering = [](const Octets&) { return "answer"; };  // to be set before it is told anything

private:
    std::unique_ptr<frame::BusEngine> engine_;
    frame::TaskManagers managers_{*engine_, 0, {100, 200}, frame::TaskManagers::Reach::ofAStandIn};
};

// The command and the text of a message.
inline std::string told(const std::optional<Octets>& message) {
    if (!message || message->size() <= cmdHeaderOctets) return "nothing";
    CmdMSG head;
    std::memcpy(static_cast<void*>(&head), message->data(), cmdHeaderOctets);
    char command[16];
    std::snprintf(command, sizeof command, "%x ", head.command);
    const std::string payload = message->substr(cmdHeaderOctets);
    EXPECT_EQ(payload.find('\0'), payload.size() - 1);
    return command + payload.substr(0, payload.size() - 1);
}

// A process with task managers, and a dispatcher on its bus.
class WithDispatcher : public testing::Test {
protected:
    static frame::Config configWith(std::vector<unsigned char> managers) {
        frame::Config config;
        config.process = {0x0BB9, 0x0102, 0x0304};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.taskManagers = std::move(managers);
        return config;
    }
    void start(const frame::Config& config) {
        dispatcher_.reset();
        process_.reset();
        process_.emplace(config);
        dispatcher_.emplace(*process_->localBus());
    }
    // What the dispatcher is told next.
    std::string next() { return told(dispatcher_->received.take()); }

    std::optional<frame::Process> process_;
    std::optional<KeepingDispatcher> dispatcher_;
};
