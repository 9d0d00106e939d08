// What tasks and messages take from the heap.
#include "support/heap.h"

#include "fixture.h"

class TaskHeapTest : public TaskTest {};

TEST_F(TaskHeapTest, MessageIsNullWhenThereIsNoMemory) {
    const support::FailingAllocation failing(1);
    EXPECT_EQ(new (1000) TesuCmdMSG, nullptr);
    EXPECT_TRUE(support::FailingAllocation::failed());
}

TEST_F(TaskHeapTest, MemoryOfAMessageIsWhatWasReserved) {
    const auto before = support::heapUse();
    const std::unique_ptr<CmdMSG> message(new (100'000) TesuCmdMSG);
    EXPECT_GE(support::heapUse().octets - before.octets, 100'000U);
    EXPECT_EQ(support::heapUse().blocks - before.blocks, 1U);
}

TEST_F(TaskHeapTest, ManagersLeaveNothingBehind) {
    const auto life = [this] {
        const Managed process(bus_, {4000, 1}, 0, answererManager);
        process.serve(echo);
        Sender sender(process);
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
        message->dstType = 4000;
        EXPECT_EQ(sender.send(message), "question");
    };
    life();  // what is kept for ever is made now
    EXPECT_EQ(support::blocksLeftBy(life), 0);
}

TEST_F(TaskHeapTest, SendThatRunsOutOfMemoryLeavesItsTaskUsable) {
    answerer_.serve(echo);
    Sender sender(asker_);
    std::size_t failures = 0;
    for (std::size_t nth = 1; nth < 100; ++nth) {
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
        CmdMSG* answer = nullptr;
        if (!support::runsOut(nth, [&] { sender.task().TesuCmdSynSendCBEx(message, answer, 1); })) {
            EXPECT_NE(answer, nullptr);
            delete answer;
            break;
        }
        ++failures;
        delete answer;
    }
    EXPECT_GE(failures, 3U);
    EXPECT_EQ(sender.ask("question"), "question");
}
