// Server processes, each a program of its own, that tell each other over a NATS server what happens to NEs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "support/folder.h"
#include "support/nats_server.h"
#include "support/run.h"

namespace {

using support::Child;
using Words = std::vector<std::string>;

// What is said of an NE that was handed over.
const std::string transferred = "message 0xB0762A from 3002:7: 102\n";

class ServersOverNats : public testing::Test {
protected:
    // The process TYPE:HANDLE, with an outbox of its own, which does this.
    Words server(int type, int handle, const Words& actions) const {
        const std::string name = std::to_string(type) + '-' + std::to_string(handle);
        Words command{SERVER_PROCESS,
                      folder_.write(name + ".toml", "[process]\ntype = " + std::to_string(type) +
                                                        "\nhandle = " + std::to_string(handle) +
                                                        "\n[bus]\nengine = \"nats\"\nservers = [\"" + broker_.url() +
                                                        "\"]\n[log]\nlevel = \"off\"" +
                                                        "\ntrace = false\n[reliable]\nfile = \"" + name + ".db\"\n")};
        command.insert(command.end(), actions.begin(), actions.end());
        return command;
    }
    [[nodiscard]] static bool isReady(Child& child) { return child.waitForOutput("ready\n"); }

    support::Folder folder_;
    support::NatsServer broker_{"", true};
};

std::size_t timesIn(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// Whether either of them writes `text`, in time.
[[nodiscard]] bool oneHears(Child& first, Child& second, const std::string& text) {
    constexpr std::chrono::milliseconds turn{100};
    const auto deadline = std::chrono::steady_clock::now() + support::patience;
    while (std::chrono::steady_clock::now() < deadline)
        if (first.waitForOutput(text, turn) || second.waitForOutput(text, turn)) return true;
    return false;
}

}  // namespace

TEST_F(ServersOverNats, NotificationsReachEveryServerThatListens) {
    Child first(server(3004, 1, {"listen"}));
    Child second(server(3002, 8, {"listen"}));
    ASSERT_TRUE(isReady(first) && isReady(second));
    Child sender(server(3002, 7, {"started", "created:101", "transferred:102", "deleted:103"}));
    for (Child* listener : {&first, &second}) {
        EXPECT_TRUE(listener->waitForOutput("event 0x217005 from 3002:7:\n"));
        for (const char* event :
             {"0x217006 from 3002:7: 101\n", "0x217007 from 3002:7: 102\n", "0x217008 from 3002:7: 103\n"})
            EXPECT_TRUE(listener->waitForOutput(std::string("event ") + event)) << event;
        EXPECT_TRUE(listener->waitForOutput(transferred));
    }
    EXPECT_TRUE(isReady(sender));
}

TEST_F(ServersOverNats, TransferIsAcceptedWithoutABrokerAndOutlivesItsSender) {
    Child listener(server(3004, 1, {"listen"}));
    ASSERT_TRUE(isReady(listener));
    broker_.stop();
    {
        Child sender(server(3002, 7, {"created:101", "transferred:102"}));
        ASSERT_TRUE(isReady(sender));
        sender.signal(SIGKILL);
        EXPECT_EQ(sender.wait().signal, SIGKILL);
    }
    broker_.start();
    Child again(server(3002, 7, {}));
    EXPECT_TRUE(listener.waitForOutput(transferred));
    Child next(server(3002, 9, {"transferred:103"}));
    EXPECT_TRUE(listener.waitForOutput("message 0xB0762A from 3002:9: 103\n"));
    EXPECT_EQ(timesIn(listener.out(), transferred), 1U);
    EXPECT_EQ(timesIn(listener.out(), "event 0x217006"), 0U);  // nobody keeps events
}

TEST_F(ServersOverNats, TransferWaitsForAListenerThatWasKilled) {
    {
        Child listener(server(3004, 1, {"listen"}));
        ASSERT_TRUE(isReady(listener));
        Child early(server(3002, 9, {"transferred:101"}));
        ASSERT_TRUE(listener.waitForOutput("message 0xB0762A from 3002:9: 101\n"));
        listener.signal(SIGKILL);
        EXPECT_EQ(listener.wait().signal, SIGKILL);
    }
    Child sender(server(3002, 7, {"transferred:102"}));
    ASSERT_TRUE(isReady(sender));
    Child listener(server(3004, 2, {"listen"}));
    EXPECT_TRUE(listener.waitForOutput(transferred));
}

TEST_F(ServersOverNats, TransferReachesOneServerOfAType) {
    Child first(server(3004, 1, {"listen"}));
    Child second(server(3004, 2, {"listen"}));
    ASSERT_TRUE(isReady(first) && isReady(second));
    constexpr int count = 20;
    Words actions;
    for (int ne = 1; ne <= count + 1; ++ne) actions.push_back("transferred:" + std::to_string(ne));
    Child sender(server(3002, 7, actions));
    // Messages come in their order, so behind the last one no other is still to come.
    const std::string message = "message 0xB0762A from 3002:7: ";
    ASSERT_TRUE(oneHears(first, second, message + std::to_string(count + 1) + '\n'));
    std::string heard;
    for (Child* listener : {&first, &second}) {
        listener->signal(SIGKILL);
        heard += listener->wait().out;
    }
    for (int ne = 1; ne <= count; ++ne) EXPECT_EQ(timesIn(heard, message + std::to_string(ne) + '\n'), 1U) << ne;
}

TEST_F(ServersOverNats, ServersFindEachOtherAgainWhenTheBrokerWasKilled) {
    Child listener(server(3004, 1, {"listen"}));
    ASSERT_TRUE(isReady(listener));
    broker_.kill();
    broker_.start();
    Child sender(server(3002, 7, {"transferred:102"}));
    EXPECT_TRUE(listener.waitForOutput(transferred));
    // Its events are heard again too, once it is connected.
    std::optional<Child> another;
    bool heard = false;
    for (int attempt = 0; attempt < 30 && !heard; ++attempt) {
        another.emplace(server(3002, 9, {"created:101"}));
        heard = listener.waitForOutput("event 0x217006 from 3002:9: 101\n", std::chrono::seconds(1));
    }
    EXPECT_TRUE(heard);
}
