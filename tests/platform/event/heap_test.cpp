// What raising an event takes from the heap.
#include "support/heap.h"

#include "fixture.h"
#include "nec/nenotify.h"

using frame::Event;
using support::FailingAllocation;

namespace {

constexpr std::size_t mostAllocations = 12;

class EventHeapTest : public EventTest {
protected:
    // The first events find caches and descriptions that are not made yet.
    EventHeapTest() {
        for (int i = 0; i < 100; ++i) {
            NEC::NotifyNECreated(5, self);
            EXPECT_TRUE(handled_.take());
        }
    }

    support::Mailbox<unsigned long> handled_;
    frame::Subscription subscription_ =
        extendedManager().Subscribe(neCreated, [this](const Event& event) { handled_.put(event.id); });
};

}  // namespace

TEST_F(EventHeapTest, EventWithOneNeTakesAtMost12Allocations) {
    for (int i = 0; i < 1000; ++i) {
        const FailingAllocation beyond(mostAllocations + 1);
        ASSERT_NO_THROW(NEC::NotifyNECreated(5, self));
        ASSERT_FALSE(FailingAllocation::failed());
    }
}
