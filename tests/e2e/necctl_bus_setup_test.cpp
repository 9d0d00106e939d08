// necctl bus setup: the streams and consumers, made by who may.
#include <future>

#include "e2e/necctl_bus.h"
#include "support/nats_admin.h"

namespace {

using nats_client::Site;
using testing::HasSubstr;

const std::string anyProcess = "type = 3999\nhandle = 1\n";

class NecctlBusSetup : public NecctlBus {};

}  // namespace

TEST_F(NecctlBusSetup, MakesWhatIsMissingAndLeavesWhatIsThere) {
    const Site site;
    const std::string config = as(site, "administrator", anyProcess);
    EXPECT_EQ(bus(config, {"setup"}).out, "nec-rm: made\nnec-bc: made\nt3002-0xB0762A: made\nt3004-0xB0762A: made\n");
    const support::Outcome again = bus(config, {"setup", "--receiver", "3010:0xB0762A"});
    EXPECT_EQ(again.exitStatus, 0) << again.err;
    EXPECT_EQ(again.out,
              "nec-rm: is there\nnec-bc: is there\nt3002-0xB0762A: is there\nt3004-0xB0762A: is there\n"
              "t3010-0xB0762A: made\n");
}

TEST_F(NecctlBusSetup, OtherSettingsAreToldAndChangedWhenThatIsWanted) {
    const support::NatsServer server("", true);
    support::NatsAdmin admin(server.url());
    admin.makeStream(1000);
    admin.makeConsumer("t3002-0xB0762A", "nec.rm.0xB0762A", 1000);
    const std::string config = configure(anyProcess, servers(server.url()));
    const support::Outcome told = bus(config, {"setup"});
    EXPECT_EQ(told.exitStatus, 1);
    EXPECT_THAT(told.out, HasSubstr("nec-rm: duplicate_window: 120 s; expected 300 s or more\n"));
    EXPECT_THAT(told.out, HasSubstr("t3002-0xB0762A: ack_wait: 1 s; expected 10 s or more\n"));
    EXPECT_THAT(told.err, HasSubstr("--update"));
    const support::Outcome updated = bus(config, {"setup", "--update"});
    EXPECT_EQ(updated.exitStatus, 0) << updated.err;
    EXPECT_THAT(updated.out, HasSubstr("nec-rm: updated\n"));
    EXPECT_THAT(updated.out, HasSubstr("t3002-0xB0762A: updated\n"));
    EXPECT_EQ(bus(config, {"setup"}).exitStatus, 0);
    // What the site has chosen besides stays.
    EXPECT_THAT(check(config).out, HasSubstr("stream nec-rm room: 0% of 1000 messages used\n"));
}

TEST_F(NecctlBusSetup, RoomOfTheStreamIsChosenAndStays) {
    const support::NatsServer server("", true);
    const std::string config = configure(anyProcess, servers(server.url()));
    ASSERT_EQ(bus(config, {"setup"}).exitStatus, 0);
    EXPECT_THAT(check(config).out, HasSubstr("cannot tell  stream nec-rm room: 0 octets used; it has no limit"));
    const support::Outcome told = bus(config, {"setup", "--room", "1MB"});
    EXPECT_EQ(told.exitStatus, 1);
    EXPECT_THAT(told.out, HasSubstr("nec-rm: max_bytes: -1; expected 1048576\n"));
    EXPECT_EQ(bus(config, {"setup", "--room", "1MB", "--update"}).exitStatus, 0);
    EXPECT_THAT(check(config).out, HasSubstr("stream nec-rm room: 0% of 1048576 octets used\n"));
    EXPECT_EQ(bus(config, {"setup", "--update"}).exitStatus, 0);
    EXPECT_THAT(check(config).out, HasSubstr("stream nec-rm room: 0% of 1048576 octets used\n"));
    for (const char* wrong : {"0", "-1", "much", "9999999999GB"})
        EXPECT_EQ(bus(config, {"setup", "--room", wrong}).exitStatus, 2) << wrong;
}

TEST_F(NecctlBusSetup, ClusterKeepsThreeCopiesOfReliableMessages) {
    Site first("nats-cluster.conf", "nec-1", nats_client::routeTo(nats_client::nobodyThere));
    const std::string join = nats_client::routeTo(first.server().routePort());
    const Site second(first, "nats-cluster.conf", "nec-2", join);
    const Site third(first, "nats-cluster.conf", "nec-3", join);
    {
        const nats_client::Client administrator = first.client("administrator");
        nats_client::makeStream(administrator.jetStream(), "nec-rm", "nec.rm.*");
    }
    const std::string config = as(first, "administrator", anyProcess);
    EXPECT_THAT(bus(config, {"setup"}).out, HasSubstr("nec-rm: num_replicas: 1; expected 3 or more\n"));
    const support::Outcome updated = bus(config, {"setup", "--update"});
    EXPECT_EQ(updated.exitStatus, 0) << updated.err;
    EXPECT_THAT(updated.out, HasSubstr("nec-rm: updated\n"));
    const std::string all = "servers = [\"" + first.server().url() + "\", \"" + second.server().url() + "\", \"" +
                            third.server().url() + "\"]\n";
    const support::Outcome checked =
        check(configure(operatorProcess, all + identity(first, "operator", nats_client::passwordOf("operator"))));
    EXPECT_EQ(checked.exitStatus, 0) << checked.out;
    EXPECT_THAT(checked.out, HasSubstr("stream nec-rm: there, with the right settings\n"));
}

TEST_F(NecctlBusSetup, ClusterThatIsNotCompleteYetIsWaitedFor) {
    Site first("nats-cluster.conf", "nec-1", nats_client::routeTo(nats_client::nobodyThere));
    const std::string join = nats_client::routeTo(first.server().routePort());
    const Site second(first, "nats-cluster.conf", "nec-2", join);
    Site third(first, "nats-cluster.conf", "nec-3", nats_client::routeTo(nats_client::nobodyThere));
    third.server().kill();
    third.configure(join);
    const std::string config = as(first, "administrator", anyProcess);
    auto setup = std::async(std::launch::async, [&] { return bus(config, {"setup"}); });
    third.server().start();
    const support::Outcome outcome = setup.get();
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("nec-rm: made\n"));
}

TEST_F(NecctlBusSetup, UserWhoMayNotIsTold) {
    const Site site;
    const support::Outcome outcome = bus(as(site, "operator", operatorProcess), {"setup"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.err, HasSubstr("nec-rm: this user may not ask for it"));
}

TEST_F(NecctlBusSetup, EmbeddedBusHasNothingToSetUp) {
    const std::string config = folder.write("nec.toml", "[process]\ntype = 5\nhandle = 6\n");
    EXPECT_EQ(bus(config, {"setup"}).exitStatus, 1);
}

TEST_F(NecctlBusSetup, ReceiverThatIsNoneIsRefused) {
    for (const char* text : {"3002", "0:0x1", "3002:B0762A", "70000:0x1", "3002:0x", "3002:0xG"})
        EXPECT_EQ(bus(folder.file("nec.toml"), {"setup", "--receiver", text}).exitStatus, 2) << text;
}
