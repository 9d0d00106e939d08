// What the real task framework never does: it fails to send and gives an answer all the same, has no memory for a
// message, or cannot copy its payload. The linker puts the operations below in place of the framework's (--wrap), in
// this program only.
#include <gmock/gmock.h>

#include "dispatcher_fixture.h"
#include "support/logged.h"
#include "trapserver/dispatcher.h"

namespace {

// What is to go wrong.
struct Faults {
    bool memory = false;
    bool copying = false;
    std::optional<int> sending;  // what the send gives, instead of sending
    bool answering = false;      // whether it gives an answer with it
};
Faults faults;

class DispatcherFaultsTest : public WithDispatcher {
protected:
    DispatcherFaultsTest() {
        faults = {};
        start(configWith({0}));
    }
    ~DispatcherFaultsTest() override { faults = {}; }

    int send() { return NEC::SendSyncStringMsgTask("text", NEC::neDeletedCommand, rsp_, 200, 10); }

    CmdMSG* rsp_ = nullptr;
};

}  // namespace

extern "C" {

int __real__ZN8TesuTask18TesuCmdSynSendCBExEP6CmdMSGRS1_i(TesuTask* task, CmdMSG* message, CmdMSG*& answer,
                                                          int seconds);
int __wrap__ZN8TesuTask18TesuCmdSynSendCBExEP6CmdMSGRS1_i(TesuTask* task, CmdMSG* message, CmdMSG*& answer,
                                                          int seconds) {
    if (!faults.sending) return __real__ZN8TesuTask18TesuCmdSynSendCBExEP6CmdMSGRS1_i(task, message, answer, seconds);
    delete message;
    if (faults.answering) answer = new (sizeof(TesuCmdMSG)) TesuCmdMSG;
    return *faults.sending;
}

void* __real__ZN6CmdMSGnwEmy(std::size_t size, unsigned long long octets);
void* __wrap__ZN6CmdMSGnwEmy(std::size_t size, unsigned long long octets) {
    return faults.memory ? nullptr : __real__ZN6CmdMSGnwEmy(size, octets);
}

int __real__Z8memcpy_sPvmPKvm(void* to, std::size_t size, const void* from, std::size_t count);
int __wrap__Z8memcpy_sPvmPKvm(void* to, std::size_t size, const void* from, std::size_t count) {
    const int result = __real__Z8memcpy_sPvmPKvm(to, size, from, count);
    return faults.copying ? 34 : result;
}
}

TEST_F(DispatcherFaultsTest, FailedSendWithAnAnswerGivesNoneAndReleasesIt) {
    faults.sending = 0;
    faults.answering = true;
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(rsp_, nullptr);
}

TEST_F(DispatcherFaultsTest, SuccessfulSendKeepsItsAnswerForTheCaller) {
    faults.sending = 7;
    faults.answering = true;
    EXPECT_EQ(send(), 0);
    EXPECT_NE(rsp_, nullptr);
    delete rsp_;
}

TEST_F(DispatcherFaultsTest, SuccessfulSendMayHaveNoAnswer) {
    faults.sending = 1;
    std::list<std::string> none;
    EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(none, "head"), 0);
}

TEST_F(DispatcherFaultsTest, WithoutMemoryForTheMessageThatIsPrintedAndNothingSent) {
    faults.memory = true;
    testing::internal::CaptureStdout();
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "new TesuCmdMSG err!\n");
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(DispatcherFaultsTest, FailedCopyOfThePayloadIsTracedAndTheMessageSentAllTheSame) {
    faults.copying = true;
    const frame::LogCapture log;
    EXPECT_EQ(send(), 0);
    delete rsp_;
    EXPECT_THAT(logged::lines(log), testing::ElementsAre("trace memcpy_s failed at line 67 errno: 34"));
    EXPECT_EQ(next(), "3ffba0 text");
}
