// The client that plug-and-play files are broadcast to: on a bus, with real files.
#include "pnp_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>

#include "descriptor.h"
#include "host.h"
#include "peers/pnp_sandbox.h"
#include "platform/log.h"
#include "support/forwarding_bus.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::RequestCode;
using peers::PnpClient;
using peers::PnpPackage;
using pnp::pnpFile;
using pnp::PnpSandbox;
using support::contentOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Packages = support::Mailbox<PnpPackage>;

PnpClient::Done into(Packages& packages) {
    return [&packages](const PnpPackage& package) { packages.put(package); };
}

frame::Payload packageOf(const std::vector<std::pair<std::string, std::string>>& files, int result = 0) {
    AsnClientGetPnpRsp response;
    response.iResult = result;
    response.packageSum = 1;
    for (const auto& [name, contents] : files) response.pnpFileList.Append(pnpFile(name, contents));
    return frame::encode(response);
}

// So many files, each with its number as its contents and the end of its name.
frame::Payload packageOfMany(int count, const std::string& folder) {
    std::vector<std::pair<std::string, std::string>> files(static_cast<std::size_t>(count));
    for (int i = 0; auto& [name, contents] : files) {
        contents = std::to_string(i++);
        name = folder + contents;
    }
    return packageOf(files);
}

std::vector<std::string> refusedIn(const PnpPackage& package) {
    std::vector<std::string> names;
    for (const auto& [name, reason] : package.refused) names.push_back(name);
    return names;
}

std::ptrdiff_t filesIn(const std::filesystem::path& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

// Tells when the first file has got its name in a folder.
class FirstFile {
public:
    explicit FirstFile(const std::filesystem::path& folder) : events_(inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(events_.number(), folder.c_str(), IN_MOVED_TO), 0);
    }
    [[nodiscard]] bool wait() const {
        pollfd polled{events_.number(), POLLIN, 0};
        return poll(&polled, 1, 30'000) == 1;
    }

private:
    peers::Descriptor events_;
};

// An engine that tells of broadcasts whose sink has returned.
class Handling : public support::ForwardingBus {
public:
    using ForwardingBus::ForwardingBus;
    frame::Subscription subscribeBroadcast(std::uint16_t target, frame::BroadcastSink sink) override {
        return ForwardingBus::subscribeBroadcast(target, [this, sink = std::move(sink)](const auto& message) {
            sink(message);
            handled_.put(message.command);
        });
    }
    [[nodiscard]] bool waitFor(int broadcasts) {
        while (broadcasts > 0 && handled_.take()) --broadcasts;
        return broadcasts == 0;
    }

private:
    support::Mailbox<std::uint32_t> handled_;
};

}  // namespace

// A client, and a process that sends to it.
class PnpClientTest : public testing::Test {
protected:
    PnpClientTest() { frame::openLog({log_.file("log"), frame::LogLevel::debug, true}, 3003, 1); }
    ~PnpClientTest() override {
        frame::closeLog();
        EXPECT_TRUE(sandbox_.isIntact());
    }

    void send(const frame::Payload& record, std::uint32_t command = PnpClient::command,
              std::uint16_t target = PnpClient::target) {
        EXPECT_EQ(sender_->broadcast({command, target, sender_->address(), record}), RequestCode::ok);
    }
    PnpPackage next() {
        auto package = packages_.take();
        EXPECT_TRUE(package) << "no package in time";
        return package.value_or(PnpPackage{});
    }
    std::string log() const { return contentOf(log_.file("log")); }

    const support::Folder log_;
    const PnpSandbox sandbox_;
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> sender_ = bus_.connect({3001, 7});
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect(PnpClient::address);
    Packages packages_;
    std::optional<PnpClient> client_{std::in_place, *engine_, sandbox_.inside(), into(packages_)};
};

TEST_F(PnpClientTest, FilesOfAPackageAreWrittenAndTold) {
    send(packageOf({{"pnp/a.xml", "<a/>"}, {"pnp/x/b b.xml", "<b/>"}}));
    const PnpPackage package = next();
    EXPECT_EQ(package.sender, sender_->address());
    EXPECT_THAT(package.written, ElementsAre("pnp/a.xml", "pnp/x/b b.xml"));
    EXPECT_THAT(package.refused, IsEmpty());
    EXPECT_EQ(contentOf(sandbox_.inside("pnp/a.xml")), "<a/>");
    EXPECT_EQ(contentOf(sandbox_.inside("pnp/x/b b.xml")), "<b/>");
    EXPECT_THAT(log(), HasSubstr("PnP package of 2 files from 3001:7: 2 written, 0 refused"));
}

TEST_F(PnpClientTest, RefusedFilesAreLoggedAndTheOthersWritten) {
    send(packageOf({{"../beside", "new"}, {"a", "first"}, {"b\n\x1B[2J", "new"}, {"a/b", "new"}, {"c", "second"}}));
    const PnpPackage package = next();
    EXPECT_THAT(package.written, ElementsAre("a", "c"));
    EXPECT_THAT(refusedIn(package), ElementsAre("../beside", "b\n\x1B[2J", "a/b"));
    EXPECT_EQ(package.refused.front().reason, "its name has the part \"..\"");
    EXPECT_THAT(log(), HasSubstr("PnP file \"../beside\" from 3001:7 is not written: its name has the part \"..\""));
    EXPECT_THAT(log(), HasSubstr("PnP file \"b\\n\\x1B[2J\" from 3001:7 is not written: its name has a control"));
    EXPECT_THAT(log(), HasSubstr("PnP package of 5 files from 3001:7: 2 written, 3 refused"));
}

TEST_F(PnpClientTest, OverlongNameIsCutInTheLog) {
    send(packageOf({{std::string(100'000, 'a'), "new"}}));
    EXPECT_EQ(refusedIn(next()).front().size(), 100'000U);
    EXPECT_THAT(log(), HasSubstr(std::string(4096, 'a') + "...\" from 3001:7 is not written: its name has 100000"));
    EXPECT_THAT(log(), Not(HasSubstr(std::string(4097, 'a'))));
}

TEST_F(PnpClientTest, OfManyRefusedFilesTheFirstHundredAreLogged) {
    send(packageOfMany(250, "../"));
    EXPECT_EQ(next().refused.size(), 250U);
    EXPECT_THAT(log(), HasSubstr("PnP file \"../99\" from 3001:7 is not written"));
    EXPECT_THAT(log(), Not(HasSubstr("../100")));
    EXPECT_THAT(log(), HasSubstr("PnP package of 250 files from 3001:7: 0 written, 250 refused"));
}

TEST_F(PnpClientTest, EmptyPackageIsToldToo) {
    send(packageOf({}));
    const PnpPackage package = next();
    EXPECT_THAT(package.written, IsEmpty());
    EXPECT_THAT(package.refused, IsEmpty());
    EXPECT_THAT(log(), HasSubstr("PnP package of 0 files from 3001:7: 0 written, 0 refused"));
    EXPECT_EQ(filesIn(sandbox_.inside()), 0);
}

TEST_F(PnpClientTest, OtherCommandsAndTargetsAreNotHeard) {
    send(packageOf({{"a", "new"}}), PnpClient::command + 1);
    send(packageOf({{"b", "new"}}), PnpClient::command, PnpClient::target + 1);
    send(packageOf({{"c", "new"}}));
    EXPECT_THAT(next().written, ElementsAre("c"));
    EXPECT_EQ(filesIn(sandbox_.inside()), 1);
}

TEST_F(PnpClientTest, PackageThatCannotBeDecodedIsLoggedAndDropped) {
    const frame::Payload whole = packageOf({{"a", "new"}, {"b", "new"}});
    send(frame::Payload(whole.view().substr(0, whole.size() - 1)));
    send(frame::Payload());
    send(packageOf({{"c", "new"}}));
    EXPECT_THAT(next().written, ElementsAre("c"));
    EXPECT_EQ(filesIn(sandbox_.inside()), 1);
    EXPECT_THAT(log(), HasSubstr("broadcast 0x3FFBA7 from 3001:7: record is not a AsnClientGetPnpRsp"));
}

TEST_F(PnpClientTest, PackageThatSaysThatItFailedIsLoggedAndNotWritten) {
    send(packageOf({{"a", "new"}}, -1));
    send(packageOf({{"b", "new"}}));
    EXPECT_THAT(next().written, ElementsAre("b"));
    EXPECT_EQ(filesIn(sandbox_.inside()), 1);
    EXPECT_THAT(log(), HasSubstr("PnP package from 3001:7 is not written: its result is -1; expected 0"));
}

TEST_F(PnpClientTest, OfTheSameNameTwiceTheLaterStays) {
    send(packageOf({{"a", "first"}, {"a", "second"}}));
    EXPECT_THAT(next().written, ElementsAre("a", "a"));
    EXPECT_EQ(contentOf(sandbox_.inside("a")), "second");
}

TEST_F(PnpClientTest, WithoutAnyoneToTellItIsWrittenAllTheSame) {
    client_.reset();
    const FirstFile first(sandbox_.inside());
    const PnpClient silent(*engine_, sandbox_.inside());
    send(packageOf({{"a", "new"}}));
    ASSERT_TRUE(first.wait());
    EXPECT_EQ(contentOf(sandbox_.inside("a")), "new");
}

TEST_F(PnpClientTest, TwoClientsWriteTheSamePackageEachToItsFolder) {
    const PnpSandbox theirs;
    const auto other = bus_.connect({3003, 2});
    const PnpClient second(*other, theirs.inside(), into(packages_));
    send(packageOf({{"pnp/a", "first"}, {"b", "second"}}));
    for (int i = 0; i < 2; ++i) EXPECT_THAT(next().written, ElementsAre("pnp/a", "b"));
    EXPECT_EQ(contentOf(theirs.inside("pnp/a")), "first");
    EXPECT_EQ(contentOf(sandbox_.inside("pnp/a")), "first");
}

TEST_F(PnpClientTest, TwoClientsCanWriteToOneFolder) {
    const PnpSandbox memory(pnp::memoryFolder());
    client_.reset();
    client_.emplace(*engine_, memory.inside(), into(packages_));
    const auto other = bus_.connect({3003, 2});
    const PnpClient second(*other, memory.inside(), into(packages_));
    send(packageOfMany(200, "a/"));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(next().written.size(), 200U);
    EXPECT_EQ(filesIn(memory.inside("a")), 200);
}

TEST_F(PnpClientTest, AfterTheMostPackagesFurtherOnesAreIgnored) {
    client_.reset();
    support::Gate gate;
    const auto slowly = [&](const PnpPackage& package) {
        EXPECT_TRUE(gate.pass());
        packages_.put(package);
    };
    Handling engine(std::move(engine_));
    const PnpClient client(engine, sandbox_.inside(), slowly, 2);
    send(packageOf({{"failed", "new"}}, -1));
    for (const char* name : {"a", "b", "c", "d"}) send(packageOf({{name, "new"}}));
    gate.open();
    EXPECT_TRUE(engine.waitFor(5));
    EXPECT_THAT(next().written, ElementsAre("a"));
    EXPECT_THAT(next().written, ElementsAre("b"));
    EXPECT_TRUE(packages_.empty());
    EXPECT_EQ(filesIn(sandbox_.inside()), 2);
}

TEST_F(PnpClientTest, ClientThatEndsInAPackageWritesItToItsEnd) {
    const FirstFile first(sandbox_.inside());
    send(packageOfMany(300, ""));
    ASSERT_TRUE(first.wait());
    client_.reset();
    EXPECT_EQ(filesIn(sandbox_.inside()), 300);
    send(packageOf({{"late", "new"}}));
    EXPECT_FALSE(std::filesystem::exists(sandbox_.inside("late")));
}

TEST_F(PnpClientTest, TenThousandFilesAreWritten) {
    const PnpSandbox memory(pnp::memoryFolder());
    client_.reset();
    client_.emplace(*engine_, memory.inside(), into(packages_));
    send(packageOfMany(10'000, "pnp/"));
    EXPECT_EQ(next().written.size(), 10'000U);
    EXPECT_EQ(filesIn(memory.inside("pnp")), 10'000);
    EXPECT_EQ(contentOf(memory.inside("pnp/9999")), "9999");
}

TEST_F(PnpClientTest, LargeFileIsWrittenWhole) {
    std::string contents(64 << 20, 'x');
    contents.back() = 'y';
    send(packageOf({{"large", contents}}));
    EXPECT_THAT(next().written, ElementsAre("large"));
    EXPECT_TRUE(contentOf(sandbox_.inside("large")) == contents);
}

TEST_F(PnpClientTest, HostWritesToAFolderOfItsOwnThatNoNameLeadsOutOf) {
    client_.reset();
    engine_.reset();
    const support::Folder data;
    peers::Host host(data.file("."), {});
    host.join(bus_, into(packages_));
    send(packageOf({{"a", "new"}, {"../trap_service.db", "new"}, {data.file("trap_service.db"), "new"}}));
    const PnpPackage package = next();
    EXPECT_THAT(package.written, ElementsAre("a"));
    EXPECT_EQ(package.refused.size(), 2U);
    EXPECT_EQ(contentOf(data.file("pnp_client/a")), "new");
    EXPECT_THAT(contentOf(data.file("trap_service.db")), StartsWith("SQLite format"));
}
