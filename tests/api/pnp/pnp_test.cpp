// Publishing plug-and-play files, with real files and a real client on the embedded bus.
#include "nec/pnp.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "client.h"
#include "support/logged.h"
#include "support/placeholder.h"

namespace {

using NEC::ResourceID;
using testing::ElementsAre;
using testing::StartsWith;

constexpr std::uint32_t sizeInvalid = 0x42000042;
constexpr std::uint32_t fileTooLarge = 0x4200004B;

using support::placeholder;
const std::string failedCall =
    "BoardcastPnpData Call Function return Error:GetPNPFileContent(*pnpFile, strFtpRoot, ipacketsize)";

class PnpTest : public WithClient {
protected:
    // A file below the folder, with the folders above it.
    std::string fileAt(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(folder_.file(name)).parent_path());
        return folder_.write(name, content);
    }
};

}  // namespace

TEST_F(PnpTest, FilesArriveInTheirOrderUnderTheirNamesInTheTree) {
    const std::string b = fileAt("data/pnp/x/b.xml", "<b/>\n");
    const std::string a = fileAt("data/pnp/x/a.xml", std::string("<a>\0</a>", 8));
    EXPECT_EQ(publish({b, a, b}), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp/x/b.xml", 5, "<b/>\n"},
                               {"pnp/x/a.xml", 8, std::string("<a>\0</a>", 8)},
                               {"pnp/x/b.xml", 5, "<b/>\n"}}));
}

TEST_F(PnpTest, PathIsCutAtItsFirstPnp) {
    const std::string twice = fileAt("pnp/a/pnp/b", "b");
    const std::string inAName = fileAt("mypnpfiles/c", "c");
    EXPECT_EQ(publish({twice, inAName}), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp/a/pnp/b", 1, "b"}, {"pnpfiles/c", 1, "c"}}));
}

TEST_F(PnpTest, PathWithoutPnpStaysWhole) {
    const std::string path = fileAt("PNP/a.xml", "a");
    ASSERT_EQ(path.find("pnp"), std::string::npos);
    EXPECT_EQ(publish({path}), 0U);
    EXPECT_EQ(got(), (GotFiles{{path, 1, "a"}}));
}

TEST_F(PnpTest, EmptyListIsAnEmptyPackage) {
    EXPECT_EQ(publish({}), 0U);
    EXPECT_EQ(got(), GotFiles());
}

TEST_F(PnpTest, LargestFileIsSentWhole) {
    std::string content(1'048'576, 'x');
    for (std::size_t at = 0; at < content.size(); at += 4099) content[at] = static_cast<char>(at % 251);
    const std::string path = fileAt("pnp/largest.xml", content);
    EXPECT_EQ(publish({path}), 0U);
    EXPECT_TRUE(got() == (GotFiles{{"pnp/largest.xml", 1'048'576, content}}));
}

TEST_F(PnpTest, LargerFileEndsTheBroadcastBeforeTheNextOneIsRead) {
    const std::string path = fileAt("pnp/larger.xml", std::string(1'048'577, 'x'));
    const std::string next = fileAt("pnp/next.xml", "next");
    const frame::LogCapture log;
    EXPECT_EQ(publish({next, path, next}), fileTooLarge);
    EXPECT_THAT(logged::lines(log),
                ElementsAre(StartsWith("trace enter BoardcastPnpData (api:"),
                            "debug GetPNPFileContent Read file:" + next, "debug GetPNPFileContent Read file:" + path,
                            "error 4200004B GetPNPFileContent Exceed the max file size: 1M! " + path,
                            "error 4200004B " + failedCall, "trace leave BoardcastPnpData"));
    EXPECT_TRUE(nothingCame());
}

TEST_F(PnpTest, EmptyFileEndsTheBroadcast) {
    const std::string path = fileAt("pnp/empty.xml", "");
    const frame::LogCapture log;
    EXPECT_EQ(publish({path}), sizeInvalid);
    EXPECT_THAT(logged::lines(log), ElementsAre(StartsWith("trace enter"), "debug GetPNPFileContent Read file:" + path,
                                                "error 42000042 GetPNPFileContent "
                                                "[GetPNPFileContent]ifilesize is invalid",
                                                "error 42000042 " + failedCall, StartsWith("trace leave")));
    EXPECT_TRUE(nothingCame());
}

TEST_F(PnpTest, MissingFilesArriveAsPlaceholders) {
    const std::string there = fileAt("pnp/there.xml", "there");
    const std::string one = folder_.file("pnp/one.xml");
    const std::string two = folder_.file("none/two.xml");
    const frame::LogCapture log;
    EXPECT_EQ(publish({one, there, two}), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp/one.xml.error", 0, placeholder},
                               {"pnp/there.xml", 5, "there"},
                               {two + ".error", 0, placeholder}}));
    EXPECT_THAT(logged::lines(log),
                ElementsAre(StartsWith("trace enter"), "debug GetPNPFileContent Read file:" + one,
                            "error 42000004 GetPNPFileContent Open file failed! " + one,
                            "debug GetPNPFileContent Read file:" + there, "debug GetPNPFileContent Read file:" + two,
                            "error 42000004 GetPNPFileContent Open file failed! " + two,
                            "info BoardcastPnpData Send boardcast message to all Clients", StartsWith("trace leave")));
}

TEST_F(PnpTest, EmptyNameIsAFileThatCannotBeOpened) {
    EXPECT_EQ(publish({""}), 0U);
    EXPECT_EQ(got(), (GotFiles{{".error", 0, placeholder}}));
}

TEST_F(PnpTest, CallersListKeepsItsContentAndItsCursorEndsUpNull) {
    const std::string path = fileAt("pnp/a.xml", "fresh");
    AsnPnpFileList files = listOf({path, path});
    files.first->element->fileLen = 7;
    files.first->element->fileContent = new AsnOcts("earlier");
    EXPECT_NE(files.curr, nullptr);
    EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
    EXPECT_EQ(files.curr, nullptr);
    EXPECT_EQ(files.count, 2U);
    EXPECT_EQ(files.first->element->fileName.str(), path);
    EXPECT_EQ(files.first->element->fileLen, 7);
    EXPECT_EQ(files.first->element->fileContent->str(), "earlier");
    EXPECT_EQ(files.last->element->fileContent.get(), nullptr);
    EXPECT_EQ(got(), (GotFiles{{"pnp/a.xml", 5, "fresh"}, {"pnp/a.xml", 5, "fresh"}}));
}

TEST_F(PnpTest, CopyStopsAtANodeWithoutAnElement) {
    const std::string path = fileAt("pnp/a.xml", "a");
    AsnPnpFileList files = listOf({path, path, path});
    delete files.first->next->element;
    files.first->next->element = nullptr;
    EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
    EXPECT_EQ(files.curr, files.first->next);
    EXPECT_EQ(got(), (GotFiles{{"pnp/a.xml", 1, "a"}}));
}

TEST_F(PnpTest, EarlierContentOfAMissingFileIsReplaced) {
    AsnPnpFileList files = listOf({folder_.file("pnp/none.xml")});
    files.first->element->fileLen = 7;
    files.first->element->fileContent = new AsnOcts("earlier");
    EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp/none.xml.error", 0, placeholder}}));
}

TEST_F(PnpTest, ThousandsOfFilesTravelInOnePackage) {
    const std::string path = fileAt("pnp/a.xml", "a");
    EXPECT_EQ(publish(std::vector<std::string>(10'000, path)), 0U);
    const auto files = got();
    ASSERT_TRUE(files);
    EXPECT_TRUE(*files == GotFiles(10'000, {"pnp/a.xml", 1, "a"}));
}

TEST_F(PnpTest, MoreThanABroadcastMayHoldIsLoggedAndNotSent) {
    const std::string path = fileAt("pnp/large.xml", std::string(1'048'576, 'x'));
    const frame::LogCapture log;
    EXPECT_EQ(publish(std::vector<std::string>(512, path)), 0U);
    EXPECT_THAT(logged::lines(log),
                testing::Contains(testing::MatchesRegex("error 5 .*broadcast 0x3FFBA7 to 3003 is not sent: "
                                                        "53[0-9]* octets; at most 536870912 may be")));
    EXPECT_TRUE(nothingCame());
}

TEST(PnpWithoutProcess, IsReadAndGoesNowhere) {
    const support::Folder folder;
    AsnPnpFileList files;
    files.Append()->fileName = folder.write("a.xml", "a");
    EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
}

TEST(ResourceIDTest, EqualsOnlyWhatIsEqualInAllFiveParts) {
    const ResourceID one{"1", "2", 3, "4", "5"};
    EXPECT_TRUE(ResourceID() == ResourceID());
    EXPECT_TRUE(one == (ResourceID{"1", "2", 3, "4", "5"}));
    EXPECT_FALSE(one == (ResourceID{"x", "2", 3, "4", "5"}));
    EXPECT_FALSE(one == (ResourceID{"1", "22", 3, "4", "5"}));
    EXPECT_FALSE(one == (ResourceID{"1", "2", -3, "4", "5"}));
    EXPECT_FALSE(one == (ResourceID{"1", "2", 3, "", "5"}));
    EXPECT_FALSE(one == (ResourceID{"1", "2", 3, "4", std::string("5\0", 2)}));
    EXPECT_FALSE(ResourceID() == (ResourceID{"", "", 1, "", ""}));
}
