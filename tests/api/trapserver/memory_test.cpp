// What calls take of the heap, and what becomes of them when it runs out.
#include <gtest/gtest.h>

#include "dispatcher_fixture.h"
#include "many.h"
#include "support/doing.h"
#include "support/folder.h"
#include "support/gate.h"
#include "support/heap.h"
#include "trapserver/dispatcher.h"
#include "trapserver/request_body.h"

namespace {

using NEC::CTrapServer;

// The most octets that `call` takes at a time. The service is not there: its client takes memory of its own, which is
// not libnec's.
template <class Call>
std::size_t peakOf(Call call) {
    const std::size_t before = support::heapUse().octets;
    support::resetHeapPeak();
    call();
    return support::heapPeak() - before;
}

// With the trace, the body is in the log as well.
frame::Config tracingTo(const support::Folder& folder) {
    frame::Config config = many::quietConfig();
    config.log.file = folder.file("log");
    config.log.trace = true;
    return config;
}

template <class Call>
void atEveryAllocation(Call call) {
    constexpr std::size_t mostAllocations = 10'000;
    std::size_t nth = 1;
    while (nth < mostAllocations && support::runsOut(nth, call)) ++nth;
    EXPECT_GT(nth, 1U);
    EXPECT_LT(nth, mostAllocations);
}

// How many request identifiers of manager 0 are in use, once the tasks that were retired are deleted.
int identifiersInUse() {
    support::Gate deleted;
    support::doOn(0, [&deleted] { deleted.open(); });
    EXPECT_TRUE(deleted.pass());
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(0);
    TesuTask holder(manager, "holder");
    int inUse = 65535;
    while (manager->AllocReqID(&holder) != 0) --inUse;
    return inUse;
}

}  // namespace

TEST(TrapServerMemoryTest, AHundredThousandAssignmentsTakeFourTimesTheirBodyAtMost) {
    const support::Folder folder;
    auto list = many::listOf(100'000);
    const std::size_t body = NEC::registrationBody(list, Json::StreamWriterBuilder())->size();
    for (const frame::Config& config : {many::quietConfig(), tracingTo(folder)}) {
        const frame::Process process(config);
        EXPECT_LE(peakOf([&list] { CTrapServer::NotifyNECreated(list); }), 4 * body);
    }
    EXPECT_GT(support::contentOf(folder.file("log")).size(), body);
}

TEST(TrapServerMemoryTest, ATreeOfValuesIsNotMadeOfALongDeletion) {
    auto list = many::addressesOf(many::listOf(100'000));
    const std::size_t body = NEC::deletionBody(list, Json::StreamWriterBuilder())->size();
    EXPECT_LE(peakOf([&list] { EXPECT_TRUE(NEC::deletionBody(list, Json::StreamWriterBuilder())); }), 4 * body);
}

TEST(TrapServerMemoryTest, AMillionAssignmentsInOneCallLeaveNothingBehind) {
    const frame::Process process(many::quietConfig());
    auto list = many::listOf(1'000'000);
    const std::size_t before = support::heapUse().octets;
    CTrapServer::NotifyNETransfer(list);
    EXPECT_LE(support::heapUse().octets, before + 65536);  // what services keep once they are used
}

TEST(TrapServerMemoryTest, RunningOutLeavesNoTaskButThatOfAMessageThatCouldNotBeMade) {
    frame::Process process(many::quietConfig());
    const KeepingDispatcher dispatcher(*process.localBus());
    std::list<std::string> neIPs{"10.0.0.1"};
    testing::internal::CaptureStdout();
    atEveryAllocation([&neIPs] { NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, "head"); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "new TesuCmdMSG err!\n");
    EXPECT_EQ(identifiersInUse(), 1);
    EXPECT_EQ(NEC::SendNEDeleteWithHeadToTrapDispatcher(neIPs, "head"), 0);
}
