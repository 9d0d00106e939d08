// Many assignments in one call, against the stand-ins of service and dispatcher. (A message is limited to 64 MiB, which
// a body of a million comes near.)
#include "many.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host.h"
#include "platform/http.h"
#include "platform/process.h"
#include "support/folder.h"
#include "trapserver/dispatcher.h"

TEST(TrapServerManyTest, TwoHundredThousandAssignmentsComeWholeToServiceAndDispatcher) {
    constexpr int count = 200'000;
    const support::Folder folder;
    peers::Host host(folder.file("."), peers::HttpServerOptions{});
    frame::Config config = many::quietConfig();
    config.http.services = host.http().url();
    frame::Process process(config);
    host.join(*process.localBus());
    auto list = many::listOf(count);
    NEC::CTrapServer::NotifyNECreated(list);

    NETP::SendHttpMsgReqStruct request("GET", "test", 60);
    request.url = host.http().url() + peers::TrapService::listPath;
    NETP::SendHttpMsgRspStruct response;
    ASSERT_EQ(NETP::DirectSendTheHttpMsg(request, response), NETP::httpOk);
    EXPECT_EQ(std::count(response.body.begin(), response.body.end(), '{'), count);

    CmdMSG* rsp = nullptr;
    ASSERT_EQ(NEC::SendSyncStringMsgTask("", peers::TrapDispatcher::listCommand, rsp, 200, 60), 0);
    const std::unique_ptr<CmdMSG> owned(rsp);
    const std::string_view known = rsp->payloadView();
    EXPECT_EQ(std::count(known.begin(), known.end(), ','), 2 * count - 1);
}
