// necctl listen, and what necctl ne and necctl mgr announce.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "e2e/necctl_listening.h"
#include "nec/records.h"
#include "platform/task.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* stamp = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z  ";

class NecctlListen : public NecctlOnSite {
protected:
    std::unique_ptr<frame::NatsEngine> join(const std::string& user, CProcID address) const {
        return site.join(user, address, {site.server().url()});
    }
    // Octets that no process of the system sends.
    void publish(const std::string& subject, const std::string& octets, const std::string& sender = "4711.1") const {
        natsMsg* made = nullptr;
        nats_client::check(
            natsMsg_Create(&made, subject.c_str(), nullptr, octets.data(), static_cast<int>(octets.size())), "message");
        const nats_client::Message message(made);
        nats_client::check(natsMsgHeader_Set(made, "Nec-Sender", sender.c_str()), "header");
        const nats_client::Client client = site.client("operator");
        nats_client::check(natsConnection_PublishMsg(client.get(), made), "publish");
        nats_client::check(natsConnection_FlushTimeout(client.get(), nats_client::patienceMs), "round trip");
    }

    // A command message with this text.
    static frame::Payload commandOf(unsigned int command, const std::string& text) {
        CmdMSG header;
        header.version = cmdVersion;
        header.command = command;
        header.kind = cmdRequest;
        header.requestId = 12;
        header.dstManager = 200;
        header.length = static_cast<std::uint32_t>(text.size() + 3);
        return frame::Payload(std::string(reinterpret_cast<const char*>(&header), cmdHeaderOctets) + text + '\0');
    }
};

std::string matching(const std::string& line) {
    return stamp + line + "\n";
}

// A file to read from that nobody reads.
class Pipe {
public:
    explicit Pipe(const std::string& file) {
        EXPECT_EQ(mkfifo(file.c_str(), 0600), 0);
        descriptor_ = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(descriptor_, 0);
    }
    ~Pipe() { close(descriptor_); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    // Whether it holds nearly all that it can; short lines leave gaps.
    bool isFull() const {
        int there = 0;
        EXPECT_EQ(ioctl(descriptor_, FIONREAD, &there), 0);
        return there >= fcntl(descriptor_, F_GETPIPE_SZ) * 7 / 8;
    }

private:
    int descriptor_ = -1;
};

}  // namespace

TEST_F(NecctlListen, WhatIsAnnouncedIsHeardOneALine) {
    Listening listening(operatorConfig(), {"--count", "7"});
    announce({"ne", "created", "5", "0x1F", "--proc", "3001:9"});
    announce({"ne", "deleted", "4294967295"});
    announce({"ne", "transferred", "5", "6", "--to", "3002:8"});
    announce({"ne", "transferred", "7", "--to", "3002:8", "--from", "3001:1"});
    announce({"mgr", "started"});
    const std::string record = "AsnDevIDListOfNEMgr ";
    const auto changed = [&record](const std::string& from, const std::string& ids, const std::string& to) {
        const auto address = [](const std::string& type, char handle) {
            return "\\{\"procType\": " + type + ", \"procHandle\": " + handle + "\\}";
        };
        return record + "\\{\"srcProcID\": " + address(from.substr(0, 4), from[5]) + ", \"devIDList\": \\[" + ids +
               "\\], \"ownerType\": 0, \"snkProcID\": " + address(to.substr(0, 4), to[5]) + "\\}";
    };
    std::istringstream lines(listening.rest());
    for (const std::string& expected :
         {"event      0x217006  from 3002:7  NE created  " + changed("3001:9", "5", "3001:9"),
          "event      0x217006  from 3002:7  NE created  " + changed("3001:9", "31", "3001:9"),
          "event      0x217008  from 3002:7  NE deleted  " + changed("3002:7", "-1", "3002:7"),
          "event      0x217007  from 3002:7  NE transferred  " + changed("3002:7", "5, 6", "3002:8"),
          "reliable   0xB0762A  from 3002:7  3002\\.7-[0-9a-f]+-1  NE transferred  " +
              changed("3002:7", "5, 6", "3002:8"),
          "event      0x217006  from 3002:7  NE created  " + changed("3001:1", "7", "3002:8"),
          std::string("event      0x217005  from 3002:7  NE manager started  "
                      "AsnFrameProcID \\{\"procType\": 3002, \"procHandle\": 7\\}")}) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line)) << expected;
        EXPECT_THAT(line + '\n', MatchesRegex(matching(expected)));
    }
    EXPECT_EQ(site.log().find("Violation"), std::string::npos) << site.log();
}

TEST_F(NecctlListen, EveryKindIsAnObjectOnALine) {
    Listening listening(operatorConfig(), {"--json", "--count", "4"});
    announce({"ne", "transferred", "5", "--to", "3002:8"});
    const auto manager = join("ne_manager", {3002, 9});
    const auto dispatcher = join("trap_dispatcher", {45445, 1});
    const auto commands = dispatcher->receiveCommands([](const frame::Payload&) {});
    ASSERT_EQ(manager->sendCommand({45445, 0}, commandOf(0x3FFB9F, "10.0.0.1,5")), frame::RequestCode::ok);
    std::filesystem::create_directory(folder.file("pnp"));
    for (const char* name : {"a", "b", "c"}) folder.write(std::string("pnp/") + name, std::string(900000, 'x'));
    EXPECT_EQ(answer({"--config", managerConfig(), "pnp", "broadcast", folder.file("pnp")}),
              "files sent    3\nplaceholders  0\n");

    const auto all = listening.objects();
    ASSERT_EQ(all.size(), 4U);
    const auto of = [&all](const char* kind) {
        return *std::find_if(all.begin(), all.end(), [kind](const Json::Value& each) { return each["kind"] == kind; });
    };
    EXPECT_EQ(of("event")["subject"], "nec.ev.0x217007");
    EXPECT_EQ(of("event")["id"], 0x217007);
    EXPECT_EQ(of("event")["sender"], "3002:7");
    EXPECT_EQ(of("event")["type"], "AsnDevIDListOfNEMgr");
    EXPECT_EQ(of("event")["record"]["devIDList"][0], 5);
    EXPECT_FALSE(of("event").isMember("guessed"));
    EXPECT_THAT(of("reliable")["identifier"].asString(), testing::StartsWith("3002.7-"));
    EXPECT_EQ(of("reliable")["record"]["snkProcID"]["procHandle"], 8);
    EXPECT_EQ(of("command")["receiver"], "45445:0");
    EXPECT_EQ(of("command")["name"], "trap servers assigned");
    EXPECT_EQ(of("command")["call"], "request");
    EXPECT_EQ(of("command")["request"], 12);
    EXPECT_EQ(of("command")["manager"], 200);
    EXPECT_EQ(of("command")["payload"], "10.0.0.1,5");
    EXPECT_EQ(of("broadcast")["target"], 3003);
    EXPECT_EQ(of("broadcast")["record"]["pnpFileList"].size(), 3U);
    EXPECT_EQ(of("broadcast")["record"]["pnpFileList"][0]["fileContent"].asString().size(), 900000U);
    EXPECT_EQ(site.log().find("Violation"), std::string::npos) << site.log();
}

TEST_F(NecctlListen, LongContentsAreCutForPeople) {
    Listening listening(operatorConfig(), {"--count", "1"});
    folder.write("a", std::string(900000, 'x'));
    answer({"--config", managerConfig(), "pnp", "broadcast", folder.file("a")});
    EXPECT_THAT(listening.rest(), HasSubstr("\"fileContent\": \"" + std::string(60, 'x') + "\"... (900000 octets)}"));
}

TEST_F(NecctlListen, FiltersLetThroughWhatIsAskedFor) {
    const std::string config = operatorConfig();
    Listening kind(config, {"--json", "--count", "1", "--kind", "reliable"});
    Listening identifier(config, {"--json", "--count", "2", "--id", "0x217008", "--id", "2191366"});
    Listening ne(config, {"--json", "--count", "2", "--ne", "7", "--kind", "event", "--kind", "command"});
    Listening address(config, {"--json", "--count", "1", "--ne", "10.0.0.2"});
    announce({"ne", "transferred", "5", "--to", "3002:7"});
    announce({"ne", "created", "5"});
    announce({"ne", "transferred", "6", "7", "--to", "3002:8"});
    announce({"ne", "deleted", "7"});
    const auto manager = join("ne_manager", {3002, 9});
    manager->sendCommand({45445, 0}, commandOf(0x3FFB9F, "10.0.0.21,7,10.0.0.3,5"));
    manager->sendCommand({45445, 0}, commandOf(0x3FFBA0, "10.0.0.1,10.0.0.2"));

    const auto reliable = kind.objects();
    ASSERT_EQ(reliable.size(), 1U);
    EXPECT_EQ(reliable[0]["kind"], "reliable");
    const auto byIdentifier = identifier.objects();
    ASSERT_EQ(byIdentifier.size(), 2U);
    EXPECT_EQ(byIdentifier[0]["id"], 0x217006);
    EXPECT_EQ(byIdentifier[1]["id"], 0x217008);
    const auto byNe = ne.objects();
    ASSERT_EQ(byNe.size(), 2U);
    EXPECT_EQ(byNe[0]["id"], 0x217007);
    EXPECT_EQ(byNe[0]["record"]["devIDList"][0], 6);
    EXPECT_EQ(byNe[1]["id"], 0x217008);
    const auto byAddress = address.objects();
    ASSERT_EQ(byAddress.size(), 1U);
    EXPECT_EQ(byAddress[0]["payload"], "10.0.0.1,10.0.0.2");
}

TEST_F(NecctlListen, WhatCannotBeDecodedIsShownAndSteersNoTerminal) {
    const std::string evil = "\x1B[2J\x07\x9B\r\n\x7F";
    Listening people(operatorConfig(), {"--count", "7"});
    Listening programs(configOf("operator", "type = 3006\nhandle = 2\n"), {"--json", "--count", "7"});
    publish("nec.ev.0x217006", evil);
    publish("nec.ev.\x1B[2J", "x");
    publish("nec.ev.0x1", evil, "\x1B[2J");
    publish("nec.cm.3002.any", evil);
    publish("nec.cm.3002.any", std::string(100, 'y'));
    publish("nec.bc.3003.announce", evil);
    publish("nec.ev.0x2", std::string("\x30\x06\x02\x01\x05\x02\x01\x06", 8));
    const std::string text = people.rest();
    EXPECT_TRUE(std::none_of(text.begin(), text.end(), [](char c) { return (c < ' ' && c != '\n') || c == 0x7F; }));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7);
    EXPECT_THAT(text, HasSubstr("from 4711:1  NE created  9 octets, not decoded: AsnDevIDListOfNEMgr: at offset "));
    EXPECT_THAT(text, HasSubstr(": 1B5B324A079B0D0A7F\n"));
    EXPECT_THAT(text, HasSubstr("a subject without identifier; on nec.ev.\\x1B[2J: 78\n"));
    EXPECT_THAT(text, HasSubstr("0x1  from -  9 octets, not decoded: sender \"\\x1B[2J\"; expected TYPE.HANDLE"));
    EXPECT_THAT(text, HasSubstr("to 3002:0  9 octets, not decoded: expected 50 octets or more"));
    EXPECT_THAT(text, HasSubstr("its length field says 2038004089; expected 52"));
    EXPECT_THAT(text, HasSubstr("AsnFrameProcID? {\"procType\": 5, \"procHandle\": 6}\n"));

    const auto all = programs.objects();
    ASSERT_EQ(all.size(), 7U);
    for (const Json::Value& each : all) {
        EXPECT_EQ(each.isMember("error"), !each.isMember("guessed"));
        EXPECT_EQ(each.isMember("hex"), each.isMember("error"));
    }
    EXPECT_TRUE(std::any_of(all.begin(), all.end(),
                            [](const Json::Value& each) { return each["subject"] == "nec.ev.\\x1B[2J"; }));
}

TEST_F(NecctlListen, LargeRecordsAreToldOfOnly) {
    Listening listening(operatorConfig(), {"--largest", "100000", "--count", "2"});
    std::filesystem::create_directory(folder.file("pnp"));
    for (const char* name : {"a", "b", "c"}) folder.write(std::string("pnp/") + name, std::string(900000, 'x'));
    answer({"--config", managerConfig(), "pnp", "broadcast", folder.file("pnp")});
    folder.write("d", std::string(300000, 'x'));
    answer({"--config", managerConfig(), "pnp", "broadcast", folder.file("d")});
    const std::string text = listening.rest();
    EXPECT_THAT(text, HasSubstr("octets, not decoded: its record is not fetched: it has more than 100000 octets"));
    EXPECT_THAT(text, HasSubstr("octets, not decoded: it has more than 100000 octets: 30"));
}

TEST_F(NecctlListen, LargeReliableMessagesAreDecoded) {
    Listening listening(operatorConfig(), {"--json", "--kind", "reliable", "--count", "1"});
    asn_frame::AsnDevIDListOfNEMgr record;
    for (int i = 0; i < 500000; ++i) record.devIDList.Append(AsnInt(100000 + i));
    const auto manager = join("ne_manager", {3002, 9});
    ASSERT_EQ(manager->publishReliable({"3002.9-a-1", 0xB0762A, {3002, 9}, frame::encode(record)}),
              frame::Delivery::kept);
    const auto all = listening.objects();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0]["identifier"], "3002.9-a-1");
    EXPECT_EQ(all[0]["record"]["devIDList"].size(), 500000U);
}

TEST_F(NecctlListen, EndsWhenTheTimeIsUp) {
    EXPECT_EQ(Listening(operatorConfig(), {"--seconds", "1"}).rest(), "");
    EXPECT_EQ(Listening(operatorConfig(), {"--seconds", "1", "--count", "2"}).rest(1),
              "necctl: error: 0 of 2 messages were heard\n");
}

TEST_F(NecctlListen, EndsAtASignal) {
    for (const int number : {SIGINT, SIGTERM}) {
        Listening listening(operatorConfig(), {"--count", "5"});
        announce({"ne", "created", "5"});
        EXPECT_TRUE(listening.hears("NE created"));
        listening.signal(number);
        EXPECT_THAT(listening.rest(), EndsWith("}\n"));
    }
}

TEST_F(NecctlListen, OutputThatNobodyReadsIsNoReasonToStayAndIsCounted) {
    const std::string file = folder.file("pipe");
    const Pipe pipe(file);
    support::Child child({"sh", "-c", "exec \"$0\" \"$@\" >\"$OUT\"", NECCTL, "--config", operatorConfig(), "listen"},
                         {}, {"OUT=" + file});
    std::vector<std::string> words{"ne", "created"};
    for (int id = 0; id < 2000; ++id) words.push_back(std::to_string(id));
    const auto end = std::chrono::steady_clock::now() + support::patience;
    while (!pipe.isFull() && std::chrono::steady_clock::now() < end) announce(words);  // it is not told when it listens
    ASSERT_TRUE(pipe.isFull());
    child.signal(SIGTERM);
    const support::Outcome outcome = child.wait();
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.err, MatchesRegex("necctl: listening\nnecctl: error: [0-9]+ messages were dropped: more came "
                                          "than could be written\n"));
}

TEST_F(NecctlListen, OutputThatCannotBeWrittenEndsIt) {
    support::Child child({"sh", "-c", "exec \"$0\" --config \"$1\" listen 2>&1 >/dev/full", NECCTL, operatorConfig()});
    ASSERT_TRUE(child.waitForOutput("listening\n"));
    announce({"ne", "created", "5"});
    const support::Outcome outcome = child.wait();
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_THAT(outcome.out, HasSubstr("standard output cannot be written"));
}

TEST_F(NecctlListen, TellsWhatItsRoleDoesNotLetItHear) {
    Listening listening(configOf("event_listener", "type = 3004\nhandle = 1\n"), {"--count", "1"});
    EXPECT_TRUE(listening.hears("Permissions Violation for Subscription"));
    announce({"ne", "created", "5"});
    EXPECT_THAT(listening.rest(), HasSubstr("NE created"));
}

TEST_F(NecctlListen, TellsWhenTheBusIsGoneAndBack) {
    Listening listening(operatorConfig(), {"--count", "1"});
    site.server().stop();
    EXPECT_TRUE(listening.hears("necctl: the bus is reconnecting; what passed without a connection was not heard\n"));
    site.server().start();
    EXPECT_TRUE(listening.hears("necctl: the bus is connected; what passed without a connection was not heard\n"));
    announce({"ne", "created", "5"});
    EXPECT_THAT(listening.rest(), HasSubstr("NE created"));
}

TEST_F(NecctlListen, WhatTheRoleForbidsIsAnError) {
    const std::string listener = configOf("event_listener", "type = 3004\nhandle = 1\n");
    EXPECT_THAT(failure(3, {"--config", listener, "ne", "created", "5"}),
                HasSubstr("Permissions Violation for Publish to \"nec.ev.0x217006\""));
}

TEST_F(NecctlListen, NothingIsAnnouncedWithoutABus) {
    const std::string manager = managerConfig();
    site.server().stop();
    for (const std::vector<std::string>& words : {std::vector<std::string>{"ne", "created", "5"},
                                                  {"ne", "transferred", "5", "--to", "3002:8"},
                                                  {"mgr", "started"}}) {
        std::vector<std::string> all{"--config", manager};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_THAT(failure(3, all), HasSubstr("nothing is announced: the bus is "));
    }
    EXPECT_THAT(answer({"--config", manager, "reliable", "show"}), HasSubstr("depth   0\n"));
}

TEST_F(NecctlListen, ReliableMessagesLeaveTheOutboxWhenTheBusHasThem) {
    announce({"ne", "transferred", "5", "6", "--to", "3002:8"});
    EXPECT_THAT(answer({"--config", managerConfig(), "reliable", "show"}), HasSubstr("depth   0\n"));
    const nats_client::Client administrator = site.client("administrator");
    nats_client::makeConsumer(administrator.jetStream(), "nec-rm", "t3004-0xB0762A");
    EXPECT_EQ(nats_client::unacknowledged(administrator.jetStream(), "nec-rm", "t3004-0xB0762A"), 1U);
}
