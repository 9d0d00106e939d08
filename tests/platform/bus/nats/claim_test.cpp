// Two processes with one address.
#include <gtest/gtest.h>

#include "fixture.h"
#include "platform/log.h"
#include "support/folder.h"

namespace {

using namespace natstest;

class NatsClaim : public testing::Test {
protected:
    NatsClaim() {
        frame::LogOptions log;
        log.file = folder_.file("log");
        frame::openLog(log, 1, 1);
    }
    ~NatsClaim() override { frame::closeLog(); }

    std::size_t timesTold() const {
        const std::string log = support::contentOf(folder_.file("log"));
        const std::string text = "another process has the address 3001:1 too";
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
        return count;
    }

    support::Folder folder_;
    support::NatsServer server_;
};

}  // namespace

TEST_F(NatsClaim, BothOfOneAddressSaySo) {
    const auto first = frame::connectNats(hereAddress, optionsFor(server_.url()));
    const auto second = frame::connectNats(hereAddress, optionsFor(server_.url()));
    // More often where the second one is there before the first one's claim has left.
    EXPECT_TRUE(eventually([this] { return timesTold() >= 2; }));
}

TEST_F(NatsClaim, OnesOwnIsNoOthersAlsoOverAnotherConnection) {
    const auto here = frame::connectNats(hereAddress, optionsFor(server_.url()));
    const auto there = frame::connectNats(thereAddress, optionsFor(server_.url()));
    Texts texts;
    const frame::Subscription subscription = there->subscribeEvent(id, into(texts));
    server_.kill();
    server_.start();
    EXPECT_TRUE(arrivesInTime(*here, texts));
    EXPECT_EQ(timesTold(), 0U);
}
