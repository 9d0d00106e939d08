// What the process's configuration tells libnec.
#include "platform/sysconfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>

#include <array>
#include <memory>
#include <set>

#include "text/ipv4.h"

using testing::AnyOfArray;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST(SysConfigTest, IsEmptyWithoutAProcess) {
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "");
    EXPECT_EQ(ns_tesusdk_wrap::GetIRBaseURL(), "");
}

TEST(SysConfigTest, TellsWhatWasSetAsItStands) {
    frame::setSysConfig({"10.0.0.1;;10.0.0.2", "https://mc:31943", {}});
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "10.0.0.1;;10.0.0.2");
    EXPECT_EQ(ns_tesusdk_wrap::GetIRBaseURL(), "https://mc:31943");
    frame::setSysConfig({});
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "");
}

namespace {

// IPv4 addresses of interfaces, as the system has them.
std::vector<std::string> systemsAddresses(bool loopback) {
    ifaddrs* first = nullptr;
    EXPECT_EQ(getifaddrs(&first), 0);
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> all(first, &freeifaddrs);
    std::vector<std::string> found;
    for (const ifaddrs* one = all.get(); one != nullptr; one = one->ifa_next) {
        if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET || (one->ifa_flags & IFF_UP) == 0 ||
            ((one->ifa_flags & IFF_LOOPBACK) != 0) != loopback)
            continue;
        std::array<char, NI_MAXHOST> text{};
        EXPECT_EQ(getnameinfo(one->ifa_addr, sizeof(sockaddr_in), text.data(), text.size(), nullptr, 0, NI_NUMERICHOST),
                  0);
        found.emplace_back(text.data());
    }
    return found;
}

}  // namespace

TEST(HostAddresses, AreThoseOfTheConfigurationInItsOrder) {
    std::list<std::string> addresses{"old"};
    EXPECT_EQ(FrameUtil::GetAllIPEx(addresses), 0);
    EXPECT_THAT(addresses, IsEmpty());
    frame::setSysConfig({"", "", {"10.0.0.9", "10.0.0.1", "10.0.0.9"}});
    addresses = {"old"};
    EXPECT_EQ(FrameUtil::GetAllIPEx(addresses), 3);
    EXPECT_THAT(addresses, ElementsAre("10.0.0.9", "10.0.0.1", "10.0.0.9"));
    frame::setSysConfig({});
    EXPECT_EQ(FrameUtil::GetAllIPEx(addresses), 0);
    EXPECT_THAT(addresses, IsEmpty());
}

TEST(HostAddresses, OfItsInterfacesAreThoseThatTheSystemHasWithoutLoopback) {
    std::list<std::string> addresses{"old"};
    EXPECT_EQ(FrameUtil::GetAllIP(addresses), static_cast<int>(addresses.size()));
    for (const std::string& address : addresses) EXPECT_TRUE(frame::isDottedQuad(address)) << address;
    EXPECT_EQ(std::set<std::string>(addresses.begin(), addresses.end()).size(), addresses.size());
    const std::vector<std::string> expected = systemsAddresses(false);
    EXPECT_THAT(addresses, Each(AnyOfArray(expected)));
    EXPECT_THAT(expected, Each(AnyOfArray(addresses)));
    for (const std::string& loopback : systemsAddresses(true)) EXPECT_THAT(addresses, Not(Contains(loopback)));
}

TEST(HostAddresses, OfItsInterfacesDoNotDependOnTheConfiguration) {
    std::list<std::string> before;
    FrameUtil::GetAllIP(before);
    frame::setSysConfig({"", "", {"10.0.0.9"}});
    std::list<std::string> after;
    FrameUtil::GetAllIP(after);
    frame::setSysConfig({});
    EXPECT_EQ(after, before);
}
