// Which plug-and-play files are not written, and why; and that nothing else is touched then.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <ostream>

#include "peers/pnp_sandbox.h"
#include "pnp_folder.h"

using peers::PnpFolder;
using pnp::pnpFile;
using pnp::PnpSandbox;

namespace {

struct RefusedFile {
    std::string name;
    std::string reason;
    // Puts something into the folder, or nothing.
    std::function<void(const PnpSandbox&)> prepare = [](const PnpSandbox&) {};
    std::function<AsnPnpFile(const std::string&)> make = [](const std::string& own) { return pnpFile(own, "new"); };
};

void PrintTo(const RefusedFile& file, std::ostream* stream) {
    *stream << file.reason;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (; times > 0; --times) all += text;
    return all;
}

std::function<void(const PnpSandbox&)> link(const std::string& name, const std::string& to) {
    return [name, to](const PnpSandbox& sandbox) { std::filesystem::create_symlink(to, sandbox.inside(name)); };
}

void fifo(const PnpSandbox& sandbox) {
    ASSERT_EQ(mkfifo(sandbox.inside("there").c_str(), 0600), 0);
}

void file(const PnpSandbox& sandbox) {
    ASSERT_EQ(PnpFolder(sandbox.inside()).write(pnpFile("there", "old")), std::nullopt);
}

void folder(const PnpSandbox& sandbox) {
    std::filesystem::create_directory(sandbox.inside("there"));
}

std::function<AsnPnpFile(const std::string&)> stating(int length, bool withContents = true) {
    return [length, withContents](const std::string& name) {
        AsnPnpFile file;
        file.fileName = name;
        file.fileLen = length;
        if (withContents) file.fileContent = new AsnOcts("new");
        return file;
    };
}

const char* const emptyPart = "its name has an empty part";
const char* const dots = "its name has the part \"..\"";
const char* const dot = "its name has the part \".\"";
const char* const slash = "its name begins with a slash; expected one below the folder";
const char* const control = "its name has a control character";
const char* const temporary = "its name has a part that begins with \".pnp-\", as temporary files do";
const char* const noFolder = "\"there\" is in the way: it is no folder";
const char* const noFile = "\"there\" is in the way: it is no regular file";

std::vector<RefusedFile> refusedNames() {
    return {{"", "its name is empty"},
            {"/", slash},
            {"/file", slash},
            {"//file", slash},
            {"a//b", emptyPart},
            {"a/", emptyPart},
            {".", dot},
            {"./file", dot},
            {"a/./b", dot},
            {"a/.", dot},
            {"..", dots},
            {"../beside", dots},
            {"../outside/file", dots},
            {"a/../../beside", dots},
            {"a/../b", dots},
            {"a/..", dots},
            {std::string("a\0b", 3), control},
            {std::string("a\0/../../beside", 15), control},
            {"a\nb", control},
            {"a\x1B[2J", control},
            {"a\x7F", control},
            {"a\xC2\x9B", control},
            {"a\xE2\x80\xA8", control},
            {"\xFF\t", control},
            {std::string(256, 'a'), "its name has a part of 256 octets; expected at most 255"},
            {"a/" + std::string(256, 'a') + "/b", "its name has a part of 256 octets; expected at most 255"},
            {repeated("a/", 2048) + "b", "its name has 4097 octets; expected at most 4096"},
            {".pnp-", temporary},
            {".pnp-0", temporary},
            {"a/.pnp-x/b", temporary}};
}

std::vector<RefusedFile> refusedPlaces() {
    return {{"there/file", noFolder, link("there", "../outside")},
            {"there/new", noFolder, link("there", "../outside")},
            {"there/file", noFolder, link("there", "/")},
            {"there/file", noFolder, link("there", "nowhere")},
            {"there/file", noFolder, link("there", "there")},
            {"there/file", noFolder, fifo},
            {"there/file", noFolder, file},
            {"there/a/b", noFolder, file},
            {"there", noFile, link("there", "../outside/file")},
            {"there", noFile, link("there", "../outside/new")},
            {"there", noFile, link("there", "there")},
            {"there", noFile, fifo},
            {"there", noFile, folder}};
}

std::vector<RefusedFile> refusedContents() {
    const auto nothing = [](const PnpSandbox&) {};
    return {{"file", "it has no contents", nothing, stating(0, false)},
            {"file", "it has no contents", nothing, stating(3, false)},
            {"file.error", "it has no contents", nothing, stating(0, false)},
            {"file", "it has 3 octets, and 0 are stated", nothing, stating(0)},
            {"file", "it has 3 octets, and 2 are stated", nothing, stating(2)},
            {"file", "it has 3 octets, and 4 are stated", nothing, stating(4)},
            {"file", "it has 3 octets, and -3 are stated", nothing, stating(-3)},
            {"file.error", "it has 3 octets, and 4 are stated", nothing, stating(4)},
            {"file.error/a", "it has 3 octets, and 0 are stated", nothing, stating(0)}};
}

}  // namespace

class PnpRefusalTest : public testing::TestWithParam<RefusedFile> {};

TEST_P(PnpRefusalTest, FileIsNotWrittenAndNothingElseIsTouchedOrLost) {
    const PnpSandbox sandbox;
    PnpFolder folder(sandbox.inside());
    GetParam().prepare(sandbox);
    const std::string before = pnp::listed(sandbox.inside());
    EXPECT_EQ(folder.write(GetParam().make(GetParam().name)), GetParam().reason);
    EXPECT_EQ(pnp::listed(sandbox.inside()), before);
    EXPECT_TRUE(sandbox.isIntact());
    EXPECT_EQ(folder.write(pnpFile("other/file", "new")), std::nullopt);
    EXPECT_EQ(support::contentOf(sandbox.inside("other/file")), "new");
}

INSTANTIATE_TEST_SUITE_P(Names, PnpRefusalTest, testing::ValuesIn(refusedNames()));
INSTANTIATE_TEST_SUITE_P(Places, PnpRefusalTest, testing::ValuesIn(refusedPlaces()));
INSTANTIATE_TEST_SUITE_P(Contents, PnpRefusalTest, testing::ValuesIn(refusedContents()));
