// Passwords do not stay in memory: seen on the memory itself, inside objects and on the heap as it is released.
#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <new>
#include <optional>

#include "nec/ftpagent.h"
#include "support/heap.h"
#include "support/slots.h"

namespace {

using NEC::FTPSvcInfo;
using support::WatchedRelease;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

constexpr char wiped = static_cast<char>(0xCC);
const std::string longPassword(100, 'L');
const std::string shortPassword = "short secret";

TEST(FtpServiceRecord, NewOneIsEmptyAndItsNumbersAreMinusOne) {
    const FTPSvcInfo service;
    EXPECT_EQ(service.strUserName + service.strPassword + service.strFtpRoot + service.strIP, "");
    EXPECT_EQ(service.iReserved, -1);
    EXPECT_EQ(service.iPort, -1);
    EXPECT_EQ(service.iState, -1);
}

TEST(FtpServiceRecord, LongPasswordIsOverwrittenBeforeItsMemoryIsReleased) {
    std::optional<FTPSvcInfo> service(std::in_place);
    service->strPassword = longPassword;
    const WatchedRelease release(service->strPassword.data());
    service.reset();
    ASSERT_GE(WatchedRelease::content().size(), longPassword.size());
    EXPECT_EQ(WatchedRelease::content().substr(0, longPassword.size()), std::string(longPassword.size(), wiped));
}

TEST(FtpServiceRecord, ShortPasswordIsOverwrittenInsideTheObject) {
    alignas(FTPSvcInfo) std::array<char, sizeof(FTPSvcInfo)> memory{};
    auto* service = new (memory.data()) FTPSvcInfo;
    service->strPassword = shortPassword;
    const auto at = static_cast<std::size_t>(service->strPassword.data() - memory.data());
    ASSERT_LT(at + shortPassword.size(), memory.size());
    service->~FTPSvcInfo();
    EXPECT_EQ(std::string(memory.data() + at, shortPassword.size()), std::string(shortPassword.size(), wiped));
    EXPECT_EQ(std::string(memory.data(), memory.size()).find("secret"), std::string::npos);
}

TEST(FtpServiceRecord, OnlyThePasswordIsOverwritten) {
    std::optional<FTPSvcInfo> service(std::in_place);
    service->strFtpRoot = longPassword;
    const WatchedRelease release(service->strFtpRoot.data());
    service.reset();
    EXPECT_THAT(WatchedRelease::content(), HasSubstr(longPassword.substr(0, 80)));
}

TEST(FtpServiceRecord, CopyHasAPasswordOfItsOwn) {
    std::optional<FTPSvcInfo> service(std::in_place);
    service->strUserName = "user";
    service->strPassword = longPassword;
    service->strFtpRoot = "/root";
    service->strIP = "10.0.0.1";
    service->iReserved = 1;
    service->iPort = 2;
    service->iState = 3;
    const FTPSvcInfo copy(*service);
    FTPSvcInfo assigned;
    assigned = *service;
    service.reset();
    for (const FTPSvcInfo& other : {copy, assigned}) {
        EXPECT_EQ(other.strUserName, "user");
        EXPECT_EQ(other.strPassword, longPassword);
        EXPECT_EQ(other.strFtpRoot, "/root");
        EXPECT_EQ(other.strIP, "10.0.0.1");
        EXPECT_EQ(other.iReserved, 1);
        EXPECT_EQ(other.iPort, 2);
        EXPECT_EQ(other.iState, 3);
    }
}

TEST(FtpServiceRecord, AssignedRecordWipesThePasswordThatItHad) {
    FTPSvcInfo service;
    service.strPassword = longPassword;
    FTPSvcInfo other;
    other.strPassword = std::string(200, 'O');
    const WatchedRelease release(service.strPassword.data());
    service = other;
    EXPECT_EQ(service.strPassword, other.strPassword);
    EXPECT_THAT(WatchedRelease::content(), Not(HasSubstr("L")));
}

TEST(FtpServiceRecord, AssignedToItselfStaysWhole) {
    FTPSvcInfo service;
    service.strPassword = longPassword;
    const FTPSvcInfo& same = service;
    service = same;
    EXPECT_EQ(service.strPassword, longPassword);
}

TEST(AutoPasswordTest, HoldsNothingAtFirst) {
    AutoPassword password;
    EXPECT_EQ(password.data(), nullptr);
    EXPECT_EQ(password.length(), 0U);
}

TEST(AutoPasswordTest, HoldsACopyThatEndsWithZero) {
    AutoPassword password;
    EXPECT_EQ(password.set("secret"), 0);
    EXPECT_EQ(password.length(), 6U);
    EXPECT_EQ(std::string(password.data(), 7), std::string("secret\0", 7));
    EXPECT_EQ(password.set("a\0b and more", 3), 0);
    EXPECT_EQ(std::string(password.data(), password.length() + 1), std::string("a\0b\0", 4));
}

TEST(AutoPasswordTest, NullIsRefusedAndTheOldValueStays) {
    AutoPassword password;
    password.set("secret");
    EXPECT_EQ(password.set(nullptr), -1);
    EXPECT_EQ(password.set(nullptr, 5), -1);
    EXPECT_STREQ(password.data(), "secret");
    EXPECT_EQ(password.length(), 6U);
}

TEST(AutoPasswordTest, EmptyTextIsOneZeroOctet) {
    AutoPassword password;
    password.set("secret");
    EXPECT_EQ(password.set(""), 0);
    EXPECT_EQ(password.length(), 0U);
    ASSERT_NE(password.data(), nullptr);
    EXPECT_EQ(*password.data(), '\0');
}

TEST(AutoPasswordTest, IsWipedWhenItIsReplacedAndWhenItGoes) {
    auto password = std::make_unique<AutoPassword>();
    password->set(longPassword.c_str());
    {
        const WatchedRelease release(password->data());
        password->set("other");
        EXPECT_EQ(WatchedRelease::content().substr(0, longPassword.size()), std::string(longPassword.size(), '\0'));
    }
    password->set(longPassword.c_str());
    const WatchedRelease release(password->data());
    password.reset();
    EXPECT_EQ(WatchedRelease::content().substr(0, longPassword.size()), std::string(longPassword.size(), '\0'));
}

TEST(AutoPasswordTest, WithoutMemoryItHoldsNothing) {
    AutoPassword password;
    password.set("secret");
    {
        const support::FailingAllocation failing(1);
        EXPECT_EQ(password.set("another"), -2);
    }
    EXPECT_EQ(password.data(), nullptr);
    EXPECT_EQ(password.length(), 7U);  // already that of the text which found no memory
}

TEST(AutoPasswordTest, OperationsStandInTheirSlots) {
    AutoPassword password;
    const auto setBytes = support::slotOf<int(AutoPassword*, const char*, std::uint32_t)>(&password, 5);
    EXPECT_EQ(setBytes(&password, "bytes", 3), 0);
    EXPECT_EQ(support::slotOf<std::uint32_t(AutoPassword*)>(&password, 3)(&password), 3U);
    EXPECT_STREQ(support::slotOf<char*(AutoPassword*)>(&password, 2)(&password), "byt");
    const auto setText = support::slotOf<int(AutoPassword*, const char*)>(&password, 4);
    EXPECT_EQ(setText(&password, "text"), 0);
    EXPECT_STREQ(password.data(), "text");
}

}  // namespace
