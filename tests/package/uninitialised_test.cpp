// Calls into libnec in a program that never makes a process.
#include <gtest/gtest.h>

#include <vector>

#include "nec/nenotify.h"
#include "platform/event.h"
#include "platform/log.h"
#include "platform/reliable.h"
#include "platform/task.h"

namespace {

TEST(WithoutAProcess, TheDoorsAreNull) {
    EXPECT_EQ(TEEventMgr::Instance(), nullptr);
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
    EXPECT_EQ(NSTE_util::ReliableEventProxy::Instance(), nullptr);
    EXPECT_EQ(TesuGetProcId(), 0U);
    EXPECT_EQ(TesuGetProcHandle(), 0U);
}

TEST(WithoutAProcess, EveryNotificationDoesNothingAndLogsNothing) {
    const frame::LogCapture log;
    const std::vector<unsigned long> neIds{1, 2, 3};
    NEC::NotifyNECreated(1);
    NEC::NotifyNECreated(1, CProcID{3001, 7});
    NEC::NotifyNEDelete(1);
    NEC::NotifyNETransfer(1, CProcID{3001, 7});
    NEC::NotifyNETransfer(neIds, CProcID{3001, 7});
    NEC::NotifyNETransfer(neIds, CProcID{3001, 7}, CProcID{3001, 8});
    EXPECT_TRUE(log.records().empty());
}

}  // namespace
