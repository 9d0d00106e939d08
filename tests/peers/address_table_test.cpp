// The address table: what is taken, and what is said of every mistake.
#include "address_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/folder.h"

namespace {

using peers::AddressTable;
using testing::HasSubstr;
using testing::StartsWith;

std::string rows(const AddressTable& table) {
    std::string text;
    for (const NEC::NatInfo& row : table)
        text += row.beginIP + "," + row.endIP + "," + row.nmsIP + "," + row.natIP + ";";
    return text;
}

std::string taken(std::string_view text) {
    return rows(peers::parseAddressTable(text, "table"));
}

std::string errorOf(std::string_view text) {
    try {
        return "taken: " + taken(text);
    } catch (const peers::TableError& error) {
        return error.what();
    }
}

}  // namespace

TEST(AddressTableTest, RowsAreTakenInTheirOrder) {
    EXPECT_EQ(taken("10.0.0.1 10.0.0.10 192.168.1.5 1.2.3.4\n10.0.0.5\t10.0.0.5  192.168.1.6\t-\n"),
              "10.0.0.1,10.0.0.10,192.168.1.5,1.2.3.4;10.0.0.5,10.0.0.5,192.168.1.6,;");
}

TEST(AddressTableTest, CommentsBlankLinesAndCarriageReturnsAreSkipped) {
    EXPECT_EQ(taken("# all NEs\r\n\r\n  \t\n 10.0.0.1 10.0.0.2 192.168.1.5 1.2.3.4# one\r\n#end"),
              "10.0.0.1,10.0.0.2,192.168.1.5,1.2.3.4;");
}

TEST(AddressTableTest, EmptyTextHasNoRows) {
    EXPECT_EQ(taken(""), "");
}

TEST(AddressTableTest, MissingNatAddressAndDashesAreEmpty) {
    EXPECT_EQ(taken("10.0.0.1 10.0.0.2 -"), "10.0.0.1,10.0.0.2,,;");
    EXPECT_EQ(taken("10.0.0.1 10.0.0.2 - 1.2.3.4"), "10.0.0.1,10.0.0.2,,1.2.3.4;");
}

TEST(AddressTableTest, MistakesAreToldWithLineAndWhatWasExpected) {
    const std::string form = ", an IPv4 address in dotted-quad form";
    EXPECT_EQ(errorOf("\n10.0.0.256 10.0.0.2 -"), "table:2: \"10.0.0.256\"; expected the first NE address" + form);
    EXPECT_EQ(errorOf("10.0.0.1 10.0.0 -"), "table:1: \"10.0.0\"; expected the last NE address" + form);
    EXPECT_EQ(errorOf("- 10.0.0.2 -"), "table:1: \"-\"; expected the first NE address" + form);
    EXPECT_EQ(errorOf("10.0.0.1 10.0.0.2 x"), "table:1: \"x\"; expected the NMS address" + form + " or -");
    EXPECT_EQ(errorOf("10.0.0.1 10.0.0.2 - ::1"), "table:1: \"::1\"; expected the NAT address" + form + " or -");
    EXPECT_EQ(errorOf("10.0.0.1 10.0.0.2"), "table:1: end of line; expected the NMS address" + form + " or -");
    EXPECT_EQ(errorOf("10.0.0.1"), "table:1: end of line; expected the last NE address" + form);
    EXPECT_EQ(errorOf("10.0.0.1 10.0.0.2 - - more"), "table:1: \"more\"; expected the end of the line");
    EXPECT_EQ(errorOf("10.0.0.2 10.0.0.1 -"),
              "table:1: 10.0.0.1 behind 10.0.0.2; expected a last NE address that is not below the first");
    EXPECT_EQ(errorOf(std::string_view("10.0.0.1\0 10.0.0.1 -", 21)),
              "table:1: \"10.0.0.1\\x00\"; expected the first NE address" + form);
}

TEST(AddressTableTest, LongFieldIsShownCutShort) {
    EXPECT_THAT(errorOf(std::string(1000, 'x')), StartsWith("table:1: \"" + std::string(60, 'x') + "...\"; expected"));
}

TEST(AddressTableTest, MissingFileIsNoTable) {
    const support::Folder folder;
    EXPECT_EQ(peers::readAddressTable(folder.file("none")), std::nullopt);
}

TEST(AddressTableTest, FileThatCannotBeReadIsToldByName) {
    const support::Folder folder;
    EXPECT_THROW(peers::readAddressTable(folder.file(".")), peers::TableError);
    try {
        peers::readAddressTable(folder.write("table", "x"));
        FAIL() << "taken";
    } catch (const peers::TableError& error) {
        EXPECT_THAT(error.what(), StartsWith(folder.file("table") + ":1: "));
    }
}

TEST(AddressTableTest, TooLargeFileIsRefused) {
    const support::Folder folder;
    const std::string file = folder.write("table", "");
    std::filesystem::resize_file(file, (16U << 20) + 1);
    try {
        peers::readAddressTable(file);
        FAIL() << "taken";
    } catch (const peers::TableError& error) {
        EXPECT_THAT(error.what(), HasSubstr("larger than 16 MiB"));
    }
}
