// necctl record: decode and encode.
#include "e2e/necctl_fixture.h"
#include "nec/records.h"
#include "platform/payload.h"
#include "support/octets.h"
#include "support/random_records.h"
#include "support/record_types.h"

namespace {

using testing::HasSubstr;

class NecctlRecord : public Necctl {};

const std::string processHex = "30 07 02 02 0B B9 02 01 07\n";
const std::string processText = "AsnFrameProcID {\n  procType 3001\n  procHandle 7\n}\n";
const std::string processJson = "{\n  \"procType\": 3001,\n  \"procHandle\": 7\n}\n";

TEST_F(NecctlRecord, HexadecimalTextIsDecoded) {
    EXPECT_EQ(answer({"record", "decode", "--type", "AsnFrameProcID", "-"}, processHex), processText);
    EXPECT_EQ(answer({"record", "decode", "--type", "AsnFrameProcID", "-"}, "300702020bb9020107"), processText);
}

TEST_F(NecctlRecord, BinaryIsDecoded) {
    const std::string file = folder.write("record", support::octets("300702020BB9020107"));
    EXPECT_EQ(answer({"record", "decode", "--type", "AsnFrameProcID", file}), processText);
}

TEST_F(NecctlRecord, TypeThatFitsIsFoundAndTold) {
    const support::Outcome outcome = necctl({"record", "decode", "-"}, processHex);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, processText);
    EXPECT_EQ(outcome.err, "necctl: fits AsnFrameProcID, AsnDevIDList\n");
    EXPECT_EQ(answer({"record", "decode", "-", "--quiet"}, processHex), processText);
}

TEST_F(NecctlRecord, JsonIsWrittenInTheOrderOfTheFields) {
    EXPECT_EQ(answer({"--json", "record", "decode", "--type", "AsnFrameProcID", "-"}, processHex), processJson);
    EXPECT_EQ(answer({"record", "decode", "--json", "--type", "AsnFrameProcID", "-"}, processHex), processJson);
}

TEST_F(NecctlRecord, JsonTellsListsTextsOctetsAndWhatIsAbsent) {
    AsnClientGetPnpRsp response;
    AsnPnpFile* file = response.pnpFileList.Append();
    file->fileName = "say \"hi\"\\";
    file->fileLen = -2;
    file->fileContent = new AsnOcts(std::string_view("\0\xFF", 2));
    response.pnpFileList.Append();
    EXPECT_EQ(
        answer({"record", "decode", "--json", "--type", "AsnClientGetPnpRsp", "-"}, support::encodedHex(response)),
        R"({
  "iResult": 0,
  "packageSum": 0,
  "pnpFileList": [
    {
      "fileName": "say \"hi\"\\",
      "fileLen": -2,
      "fileContent": {"hex": "00FF"}
    },
    {
      "fileName": "",
      "fileLen": 0
    }
  ]
}
)");
    EXPECT_EQ(answer({"record", "decode", "--json", "-", "--quiet"},
                     support::encodedHex(asn_frame::AsnFrameGetNodeIPResponse())),
              "{\n  \"result\": 0,\n  \"nodeIPList\": []\n}\n");
}

TEST_F(NecctlRecord, ListsOnTheirOwnAreDecodedAndEncoded) {
    const std::string numbers = "30 06 02 01 05 02 01 FF";
    EXPECT_EQ(answer({"record", "decode", "--type", "AsnDevIDList", "-"}, numbers), "AsnDevIDList \n- 5\n- -1\n");
    EXPECT_EQ(answer({"record", "decode", "--json", "--type", "AsnDevIDList", "-"}, numbers), "[\n  5,\n  -1\n]\n");
    EXPECT_EQ(answer({"record", "encode", "--hex", "--type", "AsnOctsList"}, R"(["10.0.0.1", {"hex": "00"}])"),
              "300D040831302E302E302E31040100\n");
    EXPECT_EQ(answer({"record", "encode", "--hex", "--type", "AsnFrameNodeIPList"}, R"([{"nmsIP": "a"}])"),
              "30053003040161\n");
    EXPECT_EQ(necctl({"record", "decode", "--json", "-"}, "30 80 04 01 61 04 01 62 00 00").err,
              "necctl: fits AsnOctsList\n");
    EXPECT_EQ(necctl({"record", "decode", "-"}, "30 00").err,
              "necctl: fits AsnDevIDList, AsnOctsList, AsnFrameNodeIPList, AsnPnpFileList\n");
}

TEST_F(NecctlRecord, WrongListsAreToldWithOffsetAndReason) {
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnDevIDList", "-"}, "31 00"), HasSubstr("at offset 0: "));
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnDevIDList", "-"}, "30 06 02 01 05 04 01 61"),
                HasSubstr("AsnDevIDList: at offset 5: Unexpected Tag"));
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnOctsList", "-"}, "30 7F 04 00"),
                HasSubstr("AsnOctsList: at offset 2: a length beyond the end"));
}

TEST_F(NecctlRecord, EncodeWritesBinaryOrHexadecimalText) {
    EXPECT_EQ(answer({"record", "encode", "--type", "AsnFrameProcID"}, processJson),
              support::octets("300702020BB9020107"));
    EXPECT_EQ(answer({"record", "encode", "--type", "AsnFrameProcID", "-"}, processJson),
              support::octets("300702020BB9020107"));
    const std::string file = folder.write("json", processJson);
    EXPECT_EQ(answer({"record", "encode", "--hex", "--type", "AsnFrameProcID", file}), "300702020BB9020107\n");
}

template <class T>
class NecctlRoundTrip : public Necctl {};
TYPED_TEST_SUITE(NecctlRoundTrip, support::RecordTypes, support::RecordNames);

TYPED_TEST(NecctlRoundTrip, EncodeIsTheInverseOfDecode) {
    support::RandomRecords random(1);
    for (int i = 0; i < 16; ++i) {
        TypeParam record;
        random.fill(record);
        const std::string octets(frame::encode(record).view());
        const char* type = support::recordName<TypeParam>;
        const std::string json = this->answer({"record", "decode", "--json", "--type", type, "-"}, octets);
        ASSERT_EQ(this->answer({"record", "encode", "--type", type}, json), octets);
    }
}

TYPED_TEST(NecctlRoundTrip, EveryPrefixIsRefusedWithItsOffset) {
    TypeParam record;
    support::RandomRecords(2).fill(record);
    std::string octets(frame::encode(record).view());
    octets.resize(std::min<std::size_t>(octets.size(), 40) - 1);
    for (; !octets.empty(); octets.pop_back()) {
        ASSERT_THAT(this->failure(1, {"record", "decode", "--type", support::recordName<TypeParam>, "-"}, octets),
                    HasSubstr("at offset "));
    }
}

template <class T>
class NecctlFinds : public Necctl {};
using Records = testing::Types<asn_frame::AsnFrameProcID, asn_frame::AsnDevIDListOfNEMgr, asn_frame::AsnFrameNodeIP,
                               asn_frame::AsnFrameGetNodeIPResponse, AsnPnpFile, AsnClientGetPnpRsp>;
TYPED_TEST_SUITE(NecctlFinds, Records, support::RecordNames);

// Some records could be lists as well; then the record is what is shown.
TYPED_TEST(NecctlFinds, TheTypeOfARecordAsTheFirstThatFits) {
    support::RandomRecords random(3);
    for (int i = 0; i < 8; ++i) {
        TypeParam record;
        random.fill(record);
        const support::Outcome decoded = this->necctl({"record", "decode", "-"}, support::encodedHex(record));
        ASSERT_EQ(decoded.exitStatus, 0) << decoded.err;
        ASSERT_THAT(decoded.err, testing::StartsWith(std::string("necctl: fits ") + record.typeName()));
        ASSERT_THAT(decoded.out, testing::StartsWith(std::string(record.typeName()) + " {"));
    }
}

TEST_F(NecctlRecord, WrongOctetsAreToldWithOffsetAndReason) {
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnFrameProcID", "-"}, "02 01 07"),
                HasSubstr("AsnFrameProcID: at offset 0: "));
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnFrameProcID", "-"}, "30 06 02 01 01 04 01 01"),
                HasSubstr("AsnFrameProcID: at offset 5: "));
    EXPECT_THAT(failure(1, {"record", "decode", "--type", "AsnFrameProcID", "-"}, processHex + "00"),
                HasSubstr("AsnFrameProcID: at offset 9: "));
    EXPECT_THAT(failure(1, {"record", "decode", "-"}, "30 06 02 01 01 04 01 01"),
                HasSubstr("no record type fits; the closest is AsnFrameProcID: at offset 5: "));
}

TEST_F(NecctlRecord, InputThatLiesIsRefused) {
    std::string nested;
    for (int i = 0; i < 100'000; ++i) nested += "\x30\x80";
    for (const std::string& input :
         {std::string(), std::string("\x30\x84\xFF\xFF\xFF\xFF", 6), nested, std::string(1U << 20U, '\0')}) {
        EXPECT_THAT(failure(1, {"record", "decode", "-"}, input), HasSubstr("at offset "));
    }
}

TEST_F(NecctlRecord, TextThatIsNoHexadecimalIsToldWithOffset) {
    EXPECT_THAT(failure(1, {"record", "decode", "-"}, "30 0G"), HasSubstr("at offset 4: no hexadecimal digit"));
    EXPECT_THAT(failure(1, {"record", "decode", "-"}, "30 0"),
                HasSubstr("at offset 4: an odd number of hexadecimal digits"));
}

TEST_F(NecctlRecord, InputOfMoreThan64MebioctetsIsRefused) {
    EXPECT_THAT(failure(3, {"record", "decode", "/dev/zero"}), HasSubstr("/dev/zero: larger than 64 MiB"));
}

TEST_F(NecctlRecord, FileThatCannotBeReadIsNamed) {
    EXPECT_THAT(failure(3, {"record", "decode", folder.file("none")}),
                HasSubstr(folder.file("none") + ": No such file"));
    EXPECT_THAT(failure(3, {"record", "decode", folder.file("")}), HasSubstr("directory"));
    EXPECT_THAT(failure(3, {"record", "encode", "--type", "AsnPnpFile", folder.file("none")}),
                HasSubstr("No such file"));
}

struct Mistake {
    const char* type;
    const char* json;
    const char* error;
};

TEST_F(NecctlRecord, WrongJsonIsToldWithItsPlace) {
    const Mistake mistakes[] = {
        {"AsnFrameProcID", "", "no JSON: "},
        {"AsnFrameProcID", "{", "no JSON: Line 1, Column 2 "},
        {"AsnFrameProcID", "{} {}", "no JSON: "},
        {"AsnFrameProcID", "[]", "the record: an array; expected an object"},
        {"AsnFrameProcID", "{\"procType\": 1}", "procHandle: missing; expected a value"},
        {"AsnFrameProcID", "{\"procType\": 1, \"procHandle\": 2, \"x\": 3}",
         "the record: unknown member \"x\"; expected one of: procType, procHandle"},
        {"AsnFrameProcID", "{\"procType\": 1, \"procType\": 1, \"procHandle\": 2}", "no JSON: "},
        {"AsnFrameProcID", "{\"procType\": 2147483648, \"procHandle\": 2}",
         "procType: 2147483648; expected a whole number from -2147483648 to 2147483647"},
        {"AsnFrameProcID", "{\"procType\": 1.5, \"procHandle\": 2}", "procType: 1.5; expected a whole number"},
        {"AsnFrameProcID", "{\"procType\": \"1\", \"procHandle\": 2}", "procType: a string; expected a whole number"},
        {"AsnFrameNodeIP", "{\"nmsIP\": \"\", \"natIP\": null}",
         "natIP: null; expected a string, or {\"hex\": \"...\"}"},
        {"AsnFrameNodeIP", "{\"nmsIP\": {\"hex\": \"0\"}}", "nmsIP: at offset 1: an odd number of hexadecimal digits"},
        {"AsnFrameNodeIP", "{\"nmsIP\": {\"hex\": \"00\", \"x\": 1}}", "nmsIP: an object; expected a string"},
        {"AsnFrameGetNodeIPResponse", "{\"result\": 0, \"nodeIPList\": {}}",
         "nodeIPList: an object; expected an array"},
        {"AsnFrameGetNodeIPResponse", "{\"result\": 0, \"nodeIPList\": [{\"nmsIP\": \"\"}, 7]}",
         "nodeIPList[1]: a number; expected an object"},
        {"AsnDevIDListOfNEMgr", "{\"srcProcID\": {\"procType\": true}, \"devIDList\": [], \"ownerType\": 0}",
         "srcProcID.procType: true or false; expected a whole number"},
    };
    for (const Mistake& mistake : mistakes) {
        EXPECT_THAT(failure(1, {"record", "encode", "--type", mistake.type}, mistake.json), HasSubstr(mistake.error));
    }
}

TEST_F(NecctlRecord, DeepJsonIsRefused) {
    for (const char* opening : {"[", "{\"a\":"}) {
        std::string json;
        for (int i = 0; i < 100'000; ++i) json += opening;
        EXPECT_THAT(failure(1, {"record", "encode", "--type", "AsnPnpFile"}, json),
                    HasSubstr("nested more than 32 deep"));
    }
}

TEST_F(NecctlRecord, TextThatIsNotAsciiIsEncodedAsItsOctets) {
    EXPECT_EQ(answer({"record", "encode", "--hex", "--type", "AsnFrameNodeIP"}, "{\"nmsIP\": \"\u00E9\"}"),
              "30040402C3A9\n");
}

}  // namespace
