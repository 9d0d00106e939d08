// necctl and nec-peers as separate programs, on a server.
#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "e2e/necctl_database.h"
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
    void startPeers() {
        const std::string config = process("peers.toml", "type = 3999\nhandle = 1\n");
        peers_.emplace(std::vector<std::string>{NEC_PEERS, folder.file("peers"), "--config", config});
        ASSERT_TRUE(peers_->waitForOutput("answering at "));
        ASSERT_TRUE(peers_->waitForOutput("\n"));
        const std::size_t begin = peers_->out().find("http://");
        const std::string url = peers_->out().substr(begin, peers_->out().find('\n', begin) - begin);
        configure(bus() + "[http]\nmanagement_centre = \"" + url + "\"\n" + rest());
    }

    support::NatsServer server_{"", true};
    std::optional<Child> peers_;
};

// Whether the file comes to be there with this content, in time.
[[nodiscard]] bool comesTrue(const std::string& file, const std::string& content) {
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
    folder.write("password", "secret");
    tell({"db", "init"});
    tell({"ftp", "params", "set", "--user", "nec", "--root", "/srv", "--password-file", folder.file("password")});
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
    EXPECT_TRUE(comesTrue(folder.file("peers/pnp_client/pnp/d"), content + "d"));
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
