// Command messages in memory and as octets.
#include "task/message.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>

#include "support/octets.h"

using frame::checkMessage;
using support::octets;

static_assert(offsetof(CmdMSG, version) == 0 && sizeof(CmdMSG::version) == 1);
static_assert(offsetof(CmdMSG, reserved4) == 4 && sizeof(CmdMSG::reserved4) == 4);
static_assert(offsetof(CmdMSG, srcDesk) == 8 && sizeof(CmdMSG::srcDesk) == 2);
static_assert(offsetof(CmdMSG, dstDesk) == 10 && sizeof(CmdMSG::dstDesk) == 2);
static_assert(offsetof(CmdMSG, srcHandle) == 12 && sizeof(CmdMSG::srcHandle) == 2);
static_assert(offsetof(CmdMSG, dstHandle) == 14 && sizeof(CmdMSG::dstHandle) == 2);
static_assert(offsetof(CmdMSG, srcType) == 16 && sizeof(CmdMSG::srcType) == 2);
static_assert(offsetof(CmdMSG, dstType) == 18 && sizeof(CmdMSG::dstType) == 2);
static_assert(offsetof(CmdMSG, command) == 20 && sizeof(CmdMSG::command) == 4);
static_assert(offsetof(CmdMSG, kind) == 24 && sizeof(CmdMSG::kind) == 1);
static_assert(offsetof(CmdMSG, requestId) == 38 && sizeof(CmdMSG::requestId) == 2);
static_assert(offsetof(CmdMSG, reserved40) == 40 && sizeof(CmdMSG::reserved40) == 2);
static_assert(offsetof(CmdMSG, length) == 44 && sizeof(CmdMSG::length) == 4);
static_assert(offsetof(CmdMSG, srcManager) == 48 && sizeof(CmdMSG::srcManager) == 1);
static_assert(offsetof(CmdMSG, dstManager) == 49 && sizeof(CmdMSG::dstManager) == 1);
static_assert(offsetof(CmdMSG, payload) == 50 && sizeof(CmdMSG) == 52);

namespace {

// Version, reserved, reserved, source and destination desk, handle and type, command, kind, reserved, request
// identifier, reserved, length, source and destination manager, payload.
const std::string whole = octets(
    "0A 000000 00000000 0300 0400 0700 0100 B90B 85B1 9FFB3F00 06 00000000000000000000000000 "
    "3412 0000 0000 05000000 05 C8 616263");

frame::Recipient recipient() {
    frame::Recipient made{4, {}};
    made.managers.set(200);
    return made;
}

std::string faultOf(const std::string& message) {
    return checkMessage(message, recipient()).fault;
}

std::string with(std::size_t offset, const std::string& replacement) {
    std::string changed = whole;
    return changed.replace(offset, replacement.size(), replacement);
}

}  // namespace

TEST(CommandMessageTest, EachFieldIsReadFromItsPlace) {
    const auto [header, fault] = checkMessage(whole, recipient());
    EXPECT_EQ(fault, "");
    EXPECT_EQ(header.version, 10);
    EXPECT_EQ(header.srcDesk, 3);
    EXPECT_EQ(header.dstDesk, 4);
    EXPECT_EQ(header.srcHandle, 7);
    EXPECT_EQ(header.dstHandle, 1);
    EXPECT_EQ(header.srcType, 3001);
    EXPECT_EQ(header.dstType, 45445);
    EXPECT_EQ(header.command, 0x3FFB9FU);
    EXPECT_EQ(header.kind, cmdRequest);
    EXPECT_EQ(header.requestId, 0x1234);
    EXPECT_EQ(header.length, 5U);
    EXPECT_EQ(header.srcManager, 5);
    EXPECT_EQ(header.dstManager, 200);
}

TEST(CommandMessageTest, CopyHasTheSameOctetsAndItsPayload) {
    const frame::MessagePtr copy = frame::copyOfMessage(whole);
    ASSERT_TRUE(copy);
    EXPECT_EQ(frame::octetsOf(*copy), whole);
    EXPECT_EQ(copy->payloadView(), "abc");
}

TEST(CommandMessageTest, MessageWithoutPayloadIsWell) {
    const std::string message = with(44, octets("02000000")).substr(0, cmdHeaderOctets);
    EXPECT_EQ(faultOf(message), "");
    const frame::MessagePtr copy = frame::copyOfMessage(message);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->payloadView(), "");
}

TEST(CommandMessageTest, LengthBelowTwoHasNoPayload) {
    CmdMSG message;
    message.length = 1;
    EXPECT_EQ(message.payloadView(), "");
}

TEST(CommandMessageTest, EveryShorterMessageIsRefused) {
    for (std::size_t size = 0; size < cmdHeaderOctets; ++size)
        EXPECT_EQ(faultOf(whole.substr(0, size)), "octets " + std::to_string(size) + ", expected 50 or more");
    EXPECT_EQ(faultOf(whole.substr(0, 50)), "length field 5, expected 2");
    EXPECT_EQ(faultOf(whole.substr(0, 52)), "length field 5, expected 4");
}

TEST(CommandMessageTest, LengthFieldThatDoesNotFitIsRefused) {
    EXPECT_EQ(faultOf(with(44, octets("04000000"))), "length field 4, expected 5");
    EXPECT_EQ(faultOf(with(44, octets("00000000"))), "length field 0, expected 5");
    EXPECT_EQ(faultOf(with(44, octets("FFFFFFFF"))), "length field 4294967295, expected 5");
    EXPECT_EQ(faultOf(whole + "d"), "length field 5, expected 6");
}

TEST(CommandMessageTest, OnlyTheOwnDeskAndAnyAreTaken) {
    EXPECT_EQ(faultOf(with(10, octets("0000"))), "");
    EXPECT_EQ(faultOf(with(10, octets("0500"))), "destination desk 5, expected 0 or 4");
}

TEST(CommandMessageTest, OnlyRequestsAndAnswersAreTaken) {
    EXPECT_EQ(faultOf(with(24, octets("07"))), "");
    EXPECT_EQ(faultOf(with(24, octets("05"))), "kind 5, expected 6 or 7");
    EXPECT_EQ(faultOf(with(24, octets("08"))), "kind 8, expected 6 or 7");
}

TEST(CommandMessageTest, OnlyManagersThatThereAreAreTaken) {
    EXPECT_EQ(faultOf(with(49, octets("00"))), "destination manager 0, expected one that the process has");
    EXPECT_EQ(faultOf(with(49, octets("FF"))), "destination manager 255, expected one that the process has");
}

TEST(CommandMessageTest, VersionAndReservedFieldsAreNotLookedAt) {
    for (const std::size_t offset : {0U, 1U, 4U, 25U, 40U, 42U})
        EXPECT_EQ(faultOf(with(offset, octets("FF"))), "") << offset;
}

TEST(CommandMessageTest, MemoryHoldsWhatWasReserved) {
    constexpr std::size_t size = 100'000;
    auto* message = new (size) TesuCmdMSG;
    ASSERT_NE(message, nullptr);
    std::memset(static_cast<void*>(message), 0x5A, size);
    delete message;
}

TEST(CommandMessageTest, MemoryIsNeverLessThanAMessage) {
    void* memory = TesuCmdMSG::operator new(sizeof(TesuCmdMSG), 0);
    ASSERT_NE(memory, nullptr);
    std::memset(memory, 0x5A, sizeof(TesuCmdMSG));
    CmdMSG::operator delete(memory, sizeof(CmdMSG));
}

TEST(CommandMessageTest, LargerMessageIsGivenBackWithTheSizeOfTheClass) {
    void* memory = TesuCmdMSG::operator new(52, 5000);
    ASSERT_NE(memory, nullptr);
    std::memset(memory, 0x5A, 5000);
    CmdMSG::operator delete(memory, 52);
}
