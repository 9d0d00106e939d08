// The process: what stands while it lives, and that nothing is left when it is gone.
#include "platform/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "nec/records.h"
#include "platform/nats.h"
#include "platform/task.h"
#include "support/folder.h"
#include "support/mailbox.h"
#include "support/nats_server.h"

namespace {

using testing::HasSubstr;

constexpr unsigned long anEvent = 0x217006;
constexpr unsigned long aMessage = 0xB0762A;

class Process : public testing::Test {
protected:
    Process() {
        config.process = {3001, 7, 2};
        config.log.file = folder.file("log");
        config.reliable.file = folder.file("outbox.db");
    }

    void expectNothingStands() const {
        EXPECT_EQ(TEEventMgr::Instance(), nullptr);
        EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
        EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
        EXPECT_EQ(TesuGetProcId(), 0U);
        EXPECT_EQ(TesuGetProcHandle(), 0U);
        EXPECT_EQ(TesuGetDeskId(), 0U);
        testing::internal::CaptureStderr();
        FrameUtil::Trace("no process");
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" 0:0 "));
    }
    // What the constructor throws, whose text is returned.
    template <class Error>
    std::string refusal() const {
        try {
            const frame::Process process(config);
        } catch (const Error& error) {
            return error.what();
        }
        ADD_FAILURE() << "accepted";
        return {};
    }

    support::Folder folder;
    frame::Config config;
};

TEST_F(Process, AllItsServicesStandWhileItLivesAndOnlyThen) {
    expectNothingStands();
    {
        frame::Process process(config);
        EXPECT_NE(TEEventMgr::Instance(), nullptr);
        EXPECT_NE(TEEventMgrEx::Instance(), nullptr);
        EXPECT_NE(NSTE_util::ReliableEventProxy::Instance(), nullptr);
        EXPECT_EQ(TesuGetProcId(), 3001U);
        EXPECT_EQ(TesuGetProcHandle(), 7U);
        EXPECT_EQ(TesuGetDeskId(), 2U);
        EXPECT_EQ(process.bus().address(), (CProcID{3001, 7}));
        EXPECT_EQ(process.config().process.desk, 2);
        FrameUtil::Trace("a process");
    }
    EXPECT_THAT(support::contentOf(config.log.file), HasSubstr(" 3001:7 "));
    expectNothingStands();
}

TEST_F(Process, DoorsOfServicesThatOptionsLeaveOutStayNull) {
    config.events = {false, true};
    config.reliable.file.clear();
    {
        const frame::Process process(config);
        EXPECT_EQ(TEEventMgr::Instance(), nullptr);
        EXPECT_NE(TEEventMgrEx::Instance(), nullptr);
        EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
    }
    config.events = {true, false};
    const frame::Process process(config);
    EXPECT_NE(TEEventMgr::Instance(), nullptr);
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
}

TEST_F(Process, CanBeMadeAndDestroyedManyTimes) {
    for (int i = 0; i < 50; ++i) {
        const frame::Process process(config);
        ASSERT_NE(TEEventMgrEx::Instance(), nullptr);
    }
    expectNothingStands();
}

TEST_F(Process, SecondOneIsRefusedAndDisturbsNothing) {
    const frame::Process process(config);
    frame::Config other = config;
    other.process = {1, 1, 1};
    other.log.file = folder.file("other.log");
    EXPECT_THROW(frame::Process{other}, std::logic_error);
    EXPECT_EQ(TesuGetProcId(), 3001U);
    EXPECT_NE(TEEventMgrEx::Instance(), nullptr);
    EXPECT_FALSE(std::filesystem::exists(other.log.file));
}

TEST_F(Process, OptionsOutOfRangeAreRefused) {
    const frame::Config right = config;
    config.process.type = 0;
    EXPECT_THAT(refusal<std::invalid_argument>(), HasSubstr("process type 0"));
    config = right;
    config.process.handle = 0;
    EXPECT_THAT(refusal<std::invalid_argument>(), HasSubstr("process handle 0"));
    config = right;
    config.busEngine = "none";
    EXPECT_THAT(refusal<std::invalid_argument>(), HasSubstr("bus engine"));
    config = right;
    config.reliable.limit = 0;
    EXPECT_THAT(refusal<std::invalid_argument>(), HasSubstr("reliable limit 0"));
    expectNothingStands();
}

TEST_F(Process, LogThatCannotBeOpenedLeavesNothingBehind) {
    config.log.file = folder.write("file", "") + "/log";
    EXPECT_THAT(refusal<std::runtime_error>(), HasSubstr(config.log.file));
    expectNothingStands();
}

TEST_F(Process, OutboxThatCannotBeUsedLeavesNothingBehind) {
    const std::string outbox = config.reliable.file;
    config.reliable.file = folder.write("file", "") + "/outbox.db";
    EXPECT_THAT(refusal<std::runtime_error>(), HasSubstr(config.reliable.file));
    expectNothingStands();
    config.reliable.file = outbox;
    const frame::Process process(config);
    EXPECT_NE(NSTE_util::ReliableEventProxy::Instance(), nullptr);
}

TEST_F(Process, IsMadeFromAConfigurationFile) {
    const std::string file =
        folder.write("nec.toml", "[process]\ntype = 5\nhandle = 6\n[reliable]\nfile = \"box.db\"\n");
    {
        const frame::Process process(file);
        EXPECT_EQ(TesuGetProcId(), 5U);
        EXPECT_TRUE(std::filesystem::exists(folder.file("box.db")));
    }
    EXPECT_THROW(frame::Process{folder.write("wrong.toml", "[process]\n")}, frame::ConfigError);
    EXPECT_THROW(frame::Process{folder.file("missing.toml")}, frame::ConfigError);
    expectNothingStands();
}

TEST_F(Process, EventsReachOtherProcessesOverAServer) {
    const support::NatsServer server;
    config.busEngine = "nats";
    config.nats.servers = {server.url()};
    frame::Process process(config);
    EXPECT_EQ(process.localBus(), nullptr);
    const auto other = frame::connectNats({9, 1}, config.nats);
    support::Mailbox<CProcID> senders;
    const auto subscription =
        other->subscribeEvent(anEvent, [&](const frame::EventMessage& event) { senders.put(event.sender); });
    EXPECT_EQ(TEEventMgrEx::Instance()->RaiseEvent(anEvent, 0, new TEAsnEventParam(asn_frame::AsnFrameProcID())), 0);
    EXPECT_EQ(senders.take(), std::optional(CProcID{3001, 7}));
}

TEST_F(Process, EventsReachProcessesHostedBesideIt) {
    frame::Process process(config);
    ASSERT_NE(process.localBus(), nullptr);
    const auto standIn = process.localBus()->connect({9, 1});
    support::Mailbox<CProcID> senders;
    const auto subscription =
        standIn->subscribeEvent(anEvent, [&](const frame::EventMessage& event) { senders.put(event.sender); });
    EXPECT_EQ(TEEventMgrEx::Instance()->RaiseEvent(anEvent, 0, new TEAsnEventParam(asn_frame::AsnFrameProcID())), 0);
    EXPECT_EQ(senders.take(), std::optional(CProcID{3001, 7}));
}

TEST_F(Process, ReliableMessageReachesTheNextProcess) {
    {
        const frame::Process process(config);
        EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(aMessage, asn_frame::AsnFrameProcID()), 0);
    }
    const frame::Process process(config);
    support::Mailbox<unsigned long> messages;
    const auto subscription =
        NSTE_util::ReliableEventProxy::Instance()->Subscribe(aMessage, [&](const frame::ReliableEvent& message) {
            messages.put(message.id);
            return true;
        });
    EXPECT_EQ(messages.take(), std::optional(aMessage));
}

TEST_F(Process, OtherThreadsMayUseTheDoorsWhileItComesAndGoes) {
    testing::internal::CaptureStderr();  // what is traced in between
    std::atomic<bool> stop{false};
    constexpr int threads = 3;
    std::vector<std::thread> users;
    users.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        users.emplace_back([&] {
            while (!stop) {
                if (auto* events = TEEventMgrEx::Instance()) {
                    events->RaiseEvent(anEvent, 0, new TEAsnEventParam(asn_frame::AsnFrameProcID()));
                }
                if (auto* events = TEEventMgr::Instance()) events->RaiseEvent(anEvent, 0, new TEEventParam);
                if (auto* reliable = NSTE_util::ReliableEventProxy::Instance()) {
                    reliable->Send(aMessage, asn_frame::AsnFrameProcID());
                }
                FrameUtil::Trace("process %u:%u", TesuGetProcId(), TesuGetProcHandle());
            }
        });
    }
    config.log.trace = false;
    for (int i = 0; i < 20; ++i) const frame::Process process(config);
    stop = true;
    for (std::thread& user : users) user.join();
    testing::internal::GetCapturedStderr();
    expectNothingStands();
}

}  // namespace
