// What a call with many assignments takes of the heap.
#include <gtest/gtest.h>

#include "nec/trapserver.h"
#include "platform/process.h"
#include "support/heap.h"
#include "trapserver/request_body.h"

namespace {

std::list<NEC::_NEIP2SERVERID> listOf(int count) {
    std::list<NEC::_NEIP2SERVERID> list;
    for (int i = 0; i < count; ++i) {
        const std::string address =
            "10." + std::to_string(i / 65536) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
        list.push_back({address, static_cast<short>(i % 1000)});
    }
    return list;
}

frame::Config quietConfig() {
    frame::Config config;
    config.process = {3005, 7, 0};
    config.log.level = frame::LogLevel::off;
    config.log.trace = false;
    return config;
}

}  // namespace

// The service is not there: its client takes memory of its own, which is not libnec's.
TEST(TrapServerMemoryTest, AHundredThousandAssignmentsTakeFourTimesTheirBodyAtMost) {
    const frame::Process process(quietConfig());
    auto list = listOf(100'000);
    const std::size_t body = NEC::registrationBody(list, Json::StreamWriterBuilder())->size();
    const std::size_t before = support::heapUse().octets;
    support::resetHeapPeak();
    NEC::CTrapServer::NotifyNECreated(list);
    EXPECT_LE(support::heapPeak() - before, 4 * body);
}

TEST(TrapServerMemoryTest, AMillionAssignmentsInOneCallLeaveNothingBehind) {
    const frame::Process process(quietConfig());
    auto list = listOf(1'000'000);
    const std::size_t before = support::heapUse().octets;
    NEC::CTrapServer::NotifyNETransfer(list);
    EXPECT_LE(support::heapUse().octets, before + 65536);  // what services keep once they are used
}
