// necctl and nec-peers as separate programs, on a server.
#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "e2e/necctl_database.h"
#include "platform/nats.h"
#include "support/gate.h"
#include "support/nats_server.h"

namespace {

using support::Child;
using testing::HasSubstr;

class NecctlOverNats : public NecctlDatabase {
protected:
    NecctlOverNats() {
        std::filesystem::create_directory(folder.file("peers"));
        folder.write("peers/iptable_ne2nms.cfg", "10.0.0.1 10.0.0.9 192.168.1.5 1.2.3.4\n");
        configure(bus() + rest());
    }

    std::string bus() const { return "[bus]\nengine = \"nats\"\nservers = [\"" + server_.url() + "\"]\n"; }
    std::string rest() const {
        return "[addresses]\nsouth = \"192.168.1.5\"\nhost = [\"192.168.1.5\"]\n[database]\nurl = " +
               tomlOf("sqlite:" + sqliteFile()) + '\n';
    }
    // The configuration of a process that is not necctl's own.
    std::string process(const std::string& name, const std::string& address) const {
        return folder.write(name, "[process]\n" + address + bus() + "[log]\nlevel = \"off\"\n");
    }

    // The stand-ins, at the addresses that necctl is told.
    void startPeers() { startPeersWith({"--config", process("peers.toml", "type = 3999\nhandle = 1\n")}); }
    // Those that answer over HTTP alone.
    void startPeersWithoutBus() { startPeersWith({}); }
    std::unique_ptr<frame::NatsEngine> join(CProcID address) const {
        frame::NatsOptions options;
        options.servers = {server_.url()};
        return frame::connectNats(address, options);
    }
    void setFtpParameters() const {
        folder.write("password", "secret");
        tell({"db", "init"});
        tell({"ftp", "params", "set", "--user", "nec", "--root", "/srv", "--password-file", folder.file("password")});
    }

    support::NatsServer server_{"", true};
    std::optional<Child> peers_;

private:
    void startPeersWith(const std::vector<std::string>& options) {
        std::vector<std::string> command{NEC_PEERS, folder.file("peers")};
        command.insert(command.end(), options.begin(), options.end());
        peers_.emplace(command);
        ASSERT_TRUE(peers_->waitForOutput("answering at "));
        ASSERT_TRUE(peers_->waitForOutput("\n"));
        const std::size_t begin = peers_->out().find("http://");
        const std::string url = peers_->out().substr(begin, peers_->out().find('\n', begin) - begin);
        configure(bus() + "[http]\nmanagement_centre = \"" + url + "\"\n" + rest());
    }
};

// Whether the file comes to be there with this content, in time.
[[nodiscard]] bool eventually(const std::string& file, const std::string& content) {
    const auto deadline = std::chrono::steady_clock::now() + support::patience;
    while (!std::filesystem::exists(file) || support::contentOf(file) != content) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

TEST_F(NecctlOverNats, TrapAssignmentsReachServiceAndDispatcher) {
    startPeers();
    EXPECT_EQ(tell({"trap", "assign", "10.0.0.1=5", "10.0.0.2=-3"}), "");
    EXPECT_EQ(tell({"trap", "delete", "10.0.0.2"}), "");
    EXPECT_EQ(tell({"trap", "list"}), "NE              service  dispatcher\n10.0.0.1        5        5\n");
}

TEST_F(NecctlOverNats, FileTransferServiceIsAskedOfTheCentre) {
    startPeers();
    setFtpParameters();
    EXPECT_THAT(tell({"ftp", "service", "--kind", "ftp", "10.0.0.1"}), HasSubstr("address  1.2.3.4\n"));
}

TEST_F(NecctlOverNats, FilesReachEveryClient) {
    startPeers();
    std::filesystem::create_directory(folder.file("pnp"));
    const std::string content(900000, 'x');  // four of them are more than one message may carry
    for (const char* name : {"a", "b", "c", "d"}) folder.write(std::string("pnp/") + name, content + name);
    Child receiver({NECCTL, "--config", process("client.toml", "type = 3003\nhandle = 2\n"), "pnp", "receive",
                    folder.file("received"), "--count", "1"});
    // It is not told when it listens.
    const auto deadline = std::chrono::steady_clock::now() + support::patience;
    do {
        EXPECT_EQ(tell({"pnp", "broadcast", folder.file("pnp")}), "files sent    4\nplaceholders  0\n");
    } while (!receiver.waitForOutput("pnp/d", std::chrono::seconds(1)) && std::chrono::steady_clock::now() < deadline);
    EXPECT_EQ(receiver.wait().exitStatus, 0);
    EXPECT_EQ(support::contentOf(folder.file("received/pnp/d")), content + "d");
    EXPECT_TRUE(eventually(folder.file("peers/pnp_client/pnp/d"), content + "d"));
}

TEST_F(NecctlOverNats, HostedStandInsAreOnTheSameServers) {
    std::filesystem::create_directory(folder.file("pnp"));
    folder.write("pnp/a.xml", "<a/>");
    EXPECT_EQ(tell({"--with-peers", folder.file("peers"), "pnp", "broadcast", folder.file("pnp")}),
              "files sent    1\nplaceholders  0\nwritten       1\n");
    EXPECT_EQ(tell({"--with-peers", folder.file("peers"), "trap", "assign", "10.0.0.1=5"}), "");
    EXPECT_EQ(tell({"--with-peers", folder.file("peers"), "trap", "list"}),
              "NE              service  dispatcher\n10.0.0.1        5        5\n");
}

TEST_F(NecctlOverNats, BroadcastWithoutAServerIsAnError) {
    folder.write("a.xml", "<a/>");
    server_.stop();
    EXPECT_THAT(fail(1, {"pnp", "broadcast", folder.file("a.xml")}), HasSubstr("necctl: error: "));
}

TEST_F(NecctlOverNats, LargeBroadcastWithoutAStoreIsAnErrorThatSaysSo) {
    server_.stop();
    const support::NatsServer bare;
    configure("[bus]\nengine = \"nats\"\nservers = [\"" + bare.url() + "\"]\n" + rest());
    const std::string file = folder.write("a.xml", std::string(900000, 'x'));
    EXPECT_THAT(fail(1, {"pnp", "broadcast", file}), HasSubstr("the server has no JetStream"));
    EXPECT_EQ(tell({"pnp", "broadcast", folder.write("b.xml", "<b/>")}), "files sent    1\nplaceholders  0\n");
}

TEST_F(NecctlOverNats, DispatcherThatIsNotThereIsToldAtOnce) {
    startPeersWithoutBus();
    EXPECT_THAT(fail(3, {"trap", "assign", "10.0.0.1=5"}), HasSubstr("no process there receives commands"));
}

TEST_F(NecctlOverNats, DispatcherThatDoesNotAnswerIsToldAfterItsTime) {
    startPeersWithoutBus();
    const auto dispatcher = join({45445, 1});
    const auto receiving = dispatcher->receiveCommands([](const frame::Payload&) {});
    EXPECT_THAT(fail(3, {"trap", "assign", "10.0.0.1=5"}), HasSubstr("not all of it arrived everywhere"));
}

TEST_F(NecctlOverNats, CommandWithoutABrokerIsToldAtOnce) {
    startPeersWithoutBus();
    server_.stop();
    EXPECT_THAT(fail(3, {"trap", "assign", "10.0.0.1=5"}), HasSubstr("not all of it arrived everywhere"));
}

// They are for those of its type that stay.
TEST_F(NecctlOverNats, WhoAnnouncesTakesNoCommandMessages) {
    server_.stop();
    const support::NatsServer bare;  // without streams: it stays until its time is over
    const std::string config = folder.write("manager.toml",
                                            "[process]\ntype = 3002\nhandle = 7\n"
                                            "[bus]\nengine = \"nats\"\nservers = [\"" +
                                                bare.url() + "\"]\n[reliable]\nfile = \"outbox\"\n");
    frame::NatsOptions options;
    options.servers = {bare.url()};
    const auto dispatcher = frame::connectNats({45445, 1}, options);
    support::Gate announced;
    const auto listening = dispatcher->subscribeEvent(0x217007, [&](const frame::EventMessage&) { announced.open(); });
    Child announcing({NECCTL, "--config", config, "ne", "transferred", "5", "--to", "3002:8"});
    EXPECT_TRUE(announced.pass());
    EXPECT_EQ(dispatcher->sendCommand({3002, 0}, frame::Payload("x")), frame::RequestCode::noProcess);
    announcing.signal(SIGKILL);
    EXPECT_EQ(announcing.wait().signal, SIGKILL);  // so it was there until then
}

// Nobody knows at which address the NE is registered: then it is taken as not translated.
TEST_F(NecctlOverNats, FileTransferServiceIsFoundWithoutTheCentre) {
    setFtpParameters();
    const std::string direct = "address  192.168.1.5\n";
    EXPECT_THAT(tell({"ftp", "service", "--kind", "ftp", "10.0.0.1"}), HasSubstr(direct));
    server_.stop();
    EXPECT_THAT(tell({"ftp", "service", "--kind", "ftp", "10.0.0.1"}), HasSubstr(direct));
}

TEST_F(NecctlOverNats, WhoWaitsForTheCentreGoesOnWhenTheBrokerIsKilled) {
    setFtpParameters();
    const auto centre = join({3001, 1});
    const auto serving = centre->serveRequests(0xB0000F, [this](const frame::RequestMessage&) {
        server_.kill();
        return std::nullopt;
    });
    Child asking({NECCTL, "--config", folder.file("nec.toml"), "ftp", "service", "--kind", "ftp", "10.0.0.1"});
    const support::Outcome outcome = asking.wait(std::chrono::seconds(40));  // before the time of the request is over
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("address  192.168.1.5\n"));
}

TEST_F(NecctlOverNats, AddressesAreToldWithoutABroker) {
    startPeers();
    EXPECT_EQ(tell({"local-ip", "10.0.0.1"}), "10.0.0.1  1.2.3.4\n");
    server_.stop();
    EXPECT_EQ(tell({"local-ip", "10.0.0.1"}), "10.0.0.1  1.2.3.4\n");
}

TEST_F(NecctlOverNats, StandInsAreFoundAgainWhenTheBrokerWasKilled) {
    startPeers();
    EXPECT_EQ(tell({"trap", "assign", "10.0.0.1=5"}), "");
    server_.kill();
    server_.start();
    support::Outcome outcome;
    for (int attempt = 0; attempt < 60 && outcome.exitStatus != 0; ++attempt)
        outcome = necctl(command({"trap", "assign", "10.0.0.1=7"}));
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(tell({"trap", "list"}), "NE              service  dispatcher\n10.0.0.1        7        7\n");
}

TEST_F(NecctlOverNats, WhatTheBrokerRefusesIsAnError) {
    server_.stop();
    server_.configure("authorization { users: [ { user: server, password: right } ] }");
    server_.start();
    folder.write("bus.password", "wrong");
    configure(bus() + "user = \"server\"\npassword_file = \"bus.password\"\n" + rest());
    const std::string error = fail(1, {"pnp", "broadcast", folder.write("a.xml", "<a/>")});
    EXPECT_EQ(error.find("wrong"), std::string::npos) << error;
    folder.write("bus.password", "right");
    EXPECT_EQ(tell({"pnp", "broadcast", folder.file("a.xml")}), "files sent    1\nplaceholders  0\n");
}
