// Memory: bounded, given back, and what happens when there is none.
#include "support/heap.h"

#include "fixture.h"

namespace {

using HttpHeap = HttpTest;

TEST_F(HttpHeap, EndlessBodyTakesBoundedMemory) {
    support::RawServer server([](support::RawConnection& connection) {
        connection.readUntil("\r\n\r\n");
        if (connection.send("HTTP/1.1 200 OK\r\n\r\n")) connection.sendForEver(std::string(65536, 'x'));
    });
    support::resetHeapPeak();
    failureOf(server.url(), NETP::httpTooLarge);
    EXPECT_LT(support::heapPeak(), std::size_t{200} * 1024 * 1024);
}

TEST_F(HttpHeap, ExchangesLeaveNothingBehind) {
    support::RawServer server(support::answering("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"));
    support::RawServer broken(support::answering("rubbish"));
    const auto exchanges = [&] {
        EXPECT_EQ(get(server.url()).body, "ok");
        EXPECT_NE(get(broken.url()).result, NETP::httpOk);
        EXPECT_NE(get("no URL").result, NETP::httpOk);
    };
    exchanges();
    EXPECT_LE(support::blocksLeftBy(exchanges), 0);
}

TEST_F(HttpHeap, RequestThatRunsOutOfMemoryThrowsAndTheNextOneWorks) {
    const std::string body(100'000, 'x');
    support::RawServer server(support::answering("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + body));
    const NETP::SendHttpMsgReqStruct request = getRequest(server.url());
    const auto exchange = [&] {
        NETP::SendHttpMsgRspStruct response;
        NETP::DirectSendTheHttpMsg(request, response);
    };
    std::size_t failed = 0;
    while (support::runsOut(failed + 1, exchange)) ++failed;
    EXPECT_GT(failed, 1U);
    EXPECT_EQ(send(request).body, body);
}

}  // namespace
