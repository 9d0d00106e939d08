// The records: their constructed values, wire forms, copies and owned fields.
#include "nec/records.h"

#include <gtest/gtest.h>

#include "support/octets.h"

using asn_frame::AsnDevIDListOfNEMgr;
using asn_frame::AsnFrameGetNodeIPResponse;
using asn_frame::AsnFrameNodeIP;
using asn_frame::AsnFrameProcID;
using support::encodedHex;
using support::octets;

namespace {

// An NE event with every field set.
std::unique_ptr<AsnDevIDListOfNEMgr> fullEvent() {
    auto event = std::make_unique<AsnDevIDListOfNEMgr>();
    event->srcProcID->procType = 1;
    event->srcProcID->procHandle = 2;
    event->devIDList.Append(AsnInt(3));
    event->ownerType = 4;
    event->procState = new AsnInt(5);
    event->SnkProcID().procType = 6;
    event->snkProcID->procHandle = 7;
    event->server = new AsnOcts("s");
    return event;
}

constexpr const char* fullEventHex = "301E 3006020101020102 3003020103 020104 800105 A106020106020107 820173";

std::string withoutBlanks(std::string text) {
    std::erase(text, ' ');
    return text;
}

}  // namespace

TEST(ProcIdTest, StartsAtZeroAndTravelsAsTwoIntegers) {
    EXPECT_EQ(encodedHex(AsnFrameProcID()), "3006020100020100");
    AsnFrameProcID address;
    address.procType = 3001;
    address.procHandle = 65535;
    EXPECT_EQ(encodedHex(address),
              "300902020BB90203"
              "00FFFF");
}

TEST(NeEventTest, ADefaultEventHasASourceAnEmptyListAndNoOptionalField) {
    AsnDevIDListOfNEMgr event;
    ASSERT_NE(event.srcProcID, nullptr);
    EXPECT_FALSE(event.procState);
    EXPECT_EQ(event.snkProcID, nullptr);
    EXPECT_FALSE(event.server);
    EXPECT_EQ(encodedHex(event),
              "300D"
              "3006020100020100"
              "3000"
              "020100");
}

TEST(NeEventTest, AFullEventIsWrittenInFieldOrderAndReadBack) {
    EXPECT_EQ(encodedHex(*fullEvent()), withoutBlanks(fullEventHex));
    AsnDevIDListOfNEMgr read;
    ASSERT_TRUE(frame::decode(octets(fullEventHex), read).ok);
    EXPECT_EQ(read.srcProcID->procHandle, 2);
    EXPECT_EQ(*read.devIDList.first->element, 3);
    EXPECT_EQ(read.ownerType, 4);
    EXPECT_EQ(*read.procState, 5);
    EXPECT_EQ(read.snkProcID->procHandle, 7);
    EXPECT_EQ(read.server->view(), "s");
}

TEST(NeEventTest, EveryCombinationOfOptionalFieldsIsWrittenAndReadBack) {
    for (int present = 0; present < 8; ++present) {
        AsnDevIDListOfNEMgr event;
        if (present & 1) event.procState = new AsnInt(1);
        if (present & 2) event.SnkProcID();
        if (present & 4) event.server = new AsnOcts;
        AsnDevIDListOfNEMgr read = *fullEvent();
        ASSERT_TRUE(frame::decode(frame::encode(event).view(), read).ok);
        EXPECT_EQ(read.procState.get() != nullptr, (present & 1) != 0);
        EXPECT_EQ(read.snkProcID != nullptr, (present & 2) != 0);
        EXPECT_EQ(read.server.get() != nullptr, (present & 4) != 0);
        EXPECT_EQ(encodedHex(read), encodedHex(event));
    }
}

TEST(NeEventTest, TheSinkIsAllocatedOnceWhenItIsAskedFor) {
    AsnDevIDListOfNEMgr event;
    AsnFrameProcID& sink = event.SnkProcID();
    EXPECT_EQ(sink.procType, 0);
    EXPECT_EQ(&event.SnkProcID(), &sink);
    EXPECT_EQ(event.snkProcID, &sink);
}

TEST(NeEventTest, AFieldDeletedEarlyAndSetToNullIsAbsent) {
    auto event = fullEvent();
    delete event->snkProcID;
    event->snkProcID = nullptr;
    delete event->server.get();
    event->server = nullptr;
    AsnDevIDListOfNEMgr read;
    ASSERT_TRUE(frame::decode(frame::encode(*event).view(), read).ok);
    EXPECT_EQ(read.snkProcID, nullptr);
    EXPECT_FALSE(read.server);
}

TEST(NeEventTest, CopiesClonesAndAssignmentsAreDeep) {
    auto event = fullEvent();
    const AsnDevIDListOfNEMgr copy(*event);
    const std::unique_ptr<AsnDevIDListOfNEMgr> clone(event->Clone());
    AsnDevIDListOfNEMgr assigned;
    assigned.server = new AsnOcts("old");
    assigned = *event;
    event.reset();
    for (const AsnDevIDListOfNEMgr* one :
         std::initializer_list<const AsnDevIDListOfNEMgr*>{&copy, clone.get(), &assigned}) {
        EXPECT_EQ(encodedHex(*one), withoutBlanks(fullEventHex));
    }
    assigned = AsnDevIDListOfNEMgr();
    EXPECT_FALSE(assigned.server);
    EXPECT_EQ(assigned.devIDList.count, 0U);
}

TEST(NeEventTest, AListElementThatIsNoIntegerIsRefused) {
    AsnDevIDListOfNEMgr event;
    const auto result = frame::decode(octets("300F 3006020100020100 3002 0400 020100"), event);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.offset, 12U);
}

TEST(NodeIpTest, ADefaultNodeIsAnEmptyAddressAndNatFollowsWhenSet) {
    AsnFrameNodeIP node;
    EXPECT_EQ(encodedHex(node), "30020400");
    node.nmsIP = "1.2";
    node.natIP = new AsnOcts("3");
    EXPECT_EQ(encodedHex(node),
              "3008"
              "0403312E32"
              "800133");
}

TEST(NodeIpTest, AnAbsentNatAddressDiffersFromAnEmptyOne) {
    AsnFrameNodeIP node;
    node.natIP = new AsnOcts;
    EXPECT_EQ(encodedHex(node), "300404008000");
    AsnFrameNodeIP read;
    ASSERT_TRUE(frame::decode(octets("300404008000"), read).ok);
    EXPECT_TRUE(read.natIP);
    ASSERT_TRUE(frame::decode(octets("30020400"), read).ok);
    EXPECT_FALSE(read.natIP);
}

TEST(NodeIpTest, ADefaultResponseIsZeroAndAnEmptyList) {
    EXPECT_EQ(encodedHex(AsnFrameGetNodeIPResponse()), "30050201003000");
}

TEST(NodeIpTest, ACloneOfThreeNodesIsIndependent) {
    AsnFrameGetNodeIPResponse response;
    for (const char* address : {"a", "b", "c"}) {
        AsnFrameNodeIP* node = response.nodeIPList.Append();
        node->nmsIP = address;
        node->natIP = new AsnOcts(address);
    }
    const std::string before = encodedHex(response);
    std::unique_ptr<AsnFrameGetNodeIPResponse> clone(response.Clone());
    EXPECT_EQ(clone->nodeIPList.count, 3U);
    EXPECT_NE(clone->nodeIPList.first->element, response.nodeIPList.first->element);
    EXPECT_EQ(encodedHex(*clone), before);
    *clone->nodeIPList.first->element->natIP = "changed";
    clone.reset();
    EXPECT_EQ(encodedHex(response), before);
}

TEST(PnpFileTest, ADefaultFileHasAnEmptyNameNoLengthAndNoContents) {
    EXPECT_EQ(encodedHex(AsnPnpFile()), "30050400020100");
}

TEST(PnpFileTest, EmptyContentsDifferFromNone) {
    AsnPnpFile file;
    file.fileContent = new AsnOcts;
    EXPECT_EQ(encodedHex(file), "300704000201008000");
    AsnPnpFile read;
    ASSERT_TRUE(frame::decode(octets("300704000201008000"), read).ok);
    ASSERT_TRUE(read.fileContent);
    EXPECT_EQ(read.fileContent->size(), 0U);
    AsnPnpFile copy(read);
    EXPECT_TRUE(copy.fileContent);
}

TEST(PnpFileTest, ADefaultResponseIsTwoZerosAndAnEmptyList) {
    EXPECT_EQ(encodedHex(AsnClientGetPnpRsp()), "30080201000201003000");
}

TEST(PnpFileTest, AppendGivesADefaultFileAndMovesTheCursor) {
    AsnClientGetPnpRsp response;
    AsnPnpFile* file = response.pnpFileList.Append();
    EXPECT_EQ(file->fileName.view(), "");
    EXPECT_EQ(file->fileLen, 0);
    EXPECT_FALSE(file->fileContent);
    EXPECT_EQ(response.pnpFileList.curr->element, file);
    EXPECT_EQ(response.pnpFileList.last->element, file);
}

TEST(PnpFileTest, RawOctetsAndLargeContentsAreReadBack) {
    AsnClientGetPnpRsp response;
    AsnPnpFile* file = response.pnpFileList.Append();
    file->fileContent = new AsnOcts(std::string(100000, '\0') + "\xFF");
    AsnClientGetPnpRsp read;
    ASSERT_TRUE(frame::decode(frame::encode(response).view(), read).ok);
    EXPECT_EQ(*read.pnpFileList.first->element->fileContent, *file->fileContent);
    const std::unique_ptr<AsnClientGetPnpRsp> clone(read.Clone());
    AsnClientGetPnpRsp assigned;
    assigned = *clone;
    EXPECT_EQ(frame::encode(assigned).view(), frame::encode(response).view());
}
