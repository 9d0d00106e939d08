// Records are described on their first use, by whichever thread comes first. One program for this alone, each of its
// tests in a process of its own, so that the use in it is the first.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "nec/records.h"
#include "support/gate.h"
#include "support/octets.h"

namespace {

template <class T>
const refl::CClassInfor* describedClass() {
    const T record;
    refl::CGnlTypeInfor type;
    record.GetTypeInfor(type);
    return type.cls;
}

const refl::CClassInfor* classOfSource() {
    const refl::CClassInfor* event = describedClass<asn_frame::AsnDevIDListOfNEMgr>();
    EXPECT_EQ(event->attributes().size(), 6U);
    return event->attributes()[0].type.cls;
}

const refl::CClassInfor* classOfProcess() {
    EXPECT_EQ(support::encodedHex(asn_frame::AsnFrameProcID()), "3006020100020100");
    return describedClass<asn_frame::AsnFrameProcID>();
}

}  // namespace

// The event describes the process address while others describe that themselves.
TEST(FirstUseTest, ByManyThreadsDescribesAClassAndTheClassInsideItOnce) {
    constexpr std::size_t threadCount = 8;
    support::Gate gate;
    std::vector<const refl::CClassInfor*> seen(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            EXPECT_TRUE(gate.pass());
            seen[i] = i % 2 == 0 ? classOfSource() : classOfProcess();
        });
    }
    gate.open();
    for (std::thread& thread : threads) thread.join();
    ASSERT_NE(seen[0], nullptr);
    EXPECT_EQ(seen[0]->attributes().size(), 2U);
    for (const refl::CClassInfor* cls : seen) EXPECT_EQ(cls, seen[0]);
}
