// The folder that plug-and-play files are written to: which names it takes, and what becomes of the old contents.
#include "pnp_folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <system_error>

#include "descriptor.h"
#include "peers/pnp_sandbox.h"
#include "support/nobody.h"

using peers::Descriptor;
using peers::PnpFolder;
using pnp::pnpFile;
using pnp::PnpSandbox;
using support::contentOf;

namespace {

// This program with a umask of its own.
class Umask {
public:
    explicit Umask(mode_t mask) : before_(umask(mask)) {}
    ~Umask() { umask(before_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    const mode_t before_;
};

// This program cannot make files of more than so many octets.
class FileLimit {
public:
    explicit FileLimit(rlim_t octets) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{octets, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }
    FileLimit(const FileLimit&) = delete;
    FileLimit& operator=(const FileLimit&) = delete;

private:
    sighandler_t handler_;
    rlimit before_{};
};

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & ACCESSPERMS;
}

}  // namespace

class PnpFolderTest : public testing::Test {
protected:
    ~PnpFolderTest() override { EXPECT_TRUE(sandbox_.isIntact()); }

    std::string write(std::string_view name, std::string_view contents) {
        return folder_.write(pnpFile(name, contents)).value_or("written");
    }
    std::string read(const std::string& name) const { return contentOf(sandbox_.inside(name)); }

    const PnpSandbox sandbox_;
    PnpFolder folder_{sandbox_.inside()};
};

TEST_F(PnpFolderTest, FoldersOnTheWayAreMade) {
    EXPECT_EQ(write("pnp/x/a.xml", "<a/>"), "written");
    EXPECT_EQ(read("pnp/x/a.xml"), "<a/>");
}

TEST_F(PnpFolderTest, NamesAreTakenAsTheyAre) {
    for (const char* name :
         {"a b", " ", "it's \"x\"", "\xC3\xA4\xE2\x82\xAC/\xF0\x9F\x98\x80", "\xFF\xFE", "\x9B/\xC2", "..a", "a..",
          "...", "-rf", "~", "$(x)", "*", "a\\..\\b", "\\", "C:", ".pnp", "x.pnp-1", "pnp/a/pnp/b"}) {
        EXPECT_EQ(write(name, name), "written");
        EXPECT_EQ(read(name), name);
    }
}

TEST_F(PnpFolderTest, NamesOfTheGreatestLengthAreTaken) {
    const std::string part(255, 'a');
    EXPECT_EQ(write(part, "new"), "written");
    EXPECT_EQ(read(part), "new");
    std::string name = "b";
    while (name.size() + 256 <= PnpFolder::mostNameOctets - 2) name += '/' + part;
    name += '/' + std::string(PnpFolder::mostNameOctets - 1 - name.size(), 'c');
    ASSERT_EQ(name.size(), PnpFolder::mostNameOctets);
    EXPECT_EQ(write(name, "new"), "written");
    // No path of this length can be opened at once.
    const Descriptor half(open(sandbox_.inside(name.substr(0, 2049)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(half);
    EXPECT_EQ(faccessat(half.number(), name.substr(2050).c_str(), F_OK, 0), 0);
}

TEST_F(PnpFolderTest, PresentButEmptyContentsMakeAnEmptyFile) {
    EXPECT_EQ(write("empty", ""), "written");
    EXPECT_EQ(read("empty"), "");
}

TEST_F(PnpFolderTest, PlaceholderOfAFileThatTheSenderCouldNotReadIsWritten) {
    AsnPnpFile file = pnpFile("pnp/x/a.xml.error", "<CppOpenFailed></CppOpenFailed>\n");
    file.fileLen = 0;
    EXPECT_EQ(folder_.write(file), std::nullopt);
    EXPECT_EQ(read("pnp/x/a.xml.error"), "<CppOpenFailed></CppOpenFailed>\n");
}

TEST_F(PnpFolderTest, OfTheSameNameTwiceTheLaterStays) {
    EXPECT_EQ(write("file", "a longer one"), "written");
    EXPECT_EQ(write("file", "later"), "written");
    EXPECT_EQ(read("file"), "later");
}

TEST_F(PnpFolderTest, FileIsNotReplacedByAFolderNorAFolderByAFile) {
    EXPECT_EQ(write("a", "file"), "written");
    EXPECT_EQ(write("a/b", "new"), "\"a\" is in the way: it is no folder");
    EXPECT_EQ(write("b/a", "file"), "written");
    EXPECT_EQ(write("b", "new"), "\"b\" is in the way: it is no regular file");
    EXPECT_EQ(pnp::listed(sandbox_.inside("a").parent_path(), sandbox_.inside("b")), "a: file\n");
    EXPECT_EQ(read("b/a"), "file");
}

TEST_F(PnpFolderTest, HardLinkToAFileOutsideIsReplacedAndTheFileKept) {
    std::filesystem::create_hard_link(sandbox_.outside("file"), sandbox_.inside("file"));
    EXPECT_EQ(write("file", "new"), "written");
    EXPECT_EQ(read("file"), "new");
    EXPECT_EQ(contentOf(sandbox_.outside("file")), "sentinel");
}

TEST_F(PnpFolderTest, FolderThatWasSwappedForALinkIsNotFollowed) {
    EXPECT_EQ(write("sub/file", "old"), "written");
    std::filesystem::rename(sandbox_.inside("sub"), sandbox_.inside("moved"));
    std::filesystem::create_symlink("../outside", sandbox_.inside("sub"));
    EXPECT_EQ(write("sub/file", "new"), "\"sub\" is in the way: it is no folder");
    EXPECT_EQ(read("moved/file"), "old");
}

TEST_F(PnpFolderTest, FolderItselfStaysTheOneItWasWhenALinkTakesItsPlace) {
    const auto moved = sandbox_.inside().parent_path() / "moved";
    std::filesystem::rename(sandbox_.inside(), moved);
    std::filesystem::create_symlink("outside", sandbox_.inside());
    EXPECT_EQ(write("file", "new"), "written");
    EXPECT_EQ(contentOf(moved / "file"), "new");
    std::filesystem::remove(sandbox_.inside());
    std::filesystem::rename(moved, sandbox_.inside());
}

TEST_F(PnpFolderTest, RightsAreWhatTheUmaskLeaves) {
    {
        const Umask usual(022);
        EXPECT_EQ(write("usual/file", "new"), "written");
    }
    {
        const Umask strict(077);
        EXPECT_EQ(write("strict/file", "new"), "written");
    }
    EXPECT_EQ(modeOf(sandbox_.inside("usual")), 0755U);
    EXPECT_EQ(modeOf(sandbox_.inside("usual/file")), 0644U);
    EXPECT_EQ(modeOf(sandbox_.inside("strict")), 0700U);
    EXPECT_EQ(modeOf(sandbox_.inside("strict/file")), 0600U);
}

TEST_F(PnpFolderTest, WithoutRoomTheOldContentsStayAndNoOtherFileIsLeft) {
    EXPECT_EQ(write("file", "old"), "written");
    {
        const FileLimit limit(1000);
        EXPECT_EQ(write("file", std::string(3000, 'x')), "cannot be written: File too large");
        EXPECT_EQ(pnp::listed(sandbox_.inside()), "file: old\n");
        EXPECT_EQ(write("file", std::string(1000, 'x')), "written");
    }
    EXPECT_EQ(read("file"), std::string(1000, 'x'));
}

TEST_F(PnpFolderTest, WithoutPermissionTheOldContentsStay) {
    EXPECT_EQ(write("sub/file", "old"), "written");
    ASSERT_EQ(chmod(sandbox_.inside("sub").c_str(), 0555), 0);
    ASSERT_EQ(chmod(sandbox_.inside().c_str(), 0555), 0);
    {
        const support::Nobody nobody;
        EXPECT_EQ(write("sub/file", "new"), "no temporary file can be made: Permission denied");
        EXPECT_EQ(write("new/file", "new"), "folder \"new\": Permission denied");
    }
    ASSERT_EQ(chmod(sandbox_.inside().c_str(), 0755), 0);
    ASSERT_EQ(chmod(sandbox_.inside("sub").c_str(), 0755), 0);
    EXPECT_EQ(read("sub/file"), "old");
    EXPECT_EQ(pnp::listed(sandbox_.inside()), "sub\nsub/file: old\n");
}

TEST_F(PnpFolderTest, WhatAKilledProcessLeftIsRemovedByTheNextFileInItsFolder) {
    EXPECT_EQ(write("sub/a", "new"), "written");
    for (const char* name : {".pnp-0", "sub/.pnp-0"}) std::ofstream(sandbox_.inside(name)) << "half of a file";
    EXPECT_EQ(write("sub/b", "new"), "written");
    EXPECT_FALSE(std::filesystem::exists(sandbox_.inside("sub/.pnp-0")));
    EXPECT_TRUE(std::filesystem::exists(sandbox_.inside(".pnp-0")));
}

TEST_F(PnpFolderTest, TemporaryFileThatAnotherIsWritingIsLeftToIt) {
    const std::string theirs = sandbox_.inside(".pnp-0").string();
    const Descriptor other(open(theirs.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(other.number(), LOCK_EX), 0);
    ASSERT_EQ(::write(other.number(), "half", 4), 4);
    EXPECT_EQ(write("file", "new"), "written");
    EXPECT_EQ(read("file"), "new");
    EXPECT_EQ(contentOf(theirs), "half");
    EXPECT_FALSE(std::filesystem::exists(sandbox_.inside(".pnp-1")));
}

TEST_F(PnpFolderTest, OtherThingsUnderTheNamesOfTemporaryFilesAreNeverInTheWay) {
    std::filesystem::create_symlink("../outside/file", sandbox_.inside(".pnp-0"));
    std::filesystem::create_symlink("../outside", sandbox_.inside(".pnp-1"));
    std::filesystem::create_directory(sandbox_.inside(".pnp-2"));
    ASSERT_EQ(mkfifo(sandbox_.inside(".pnp-3").c_str(), 0600), 0);
    std::filesystem::create_hard_link(sandbox_.outside("file"), sandbox_.inside(".pnp-4"));
    EXPECT_EQ(write("file", "new"), "written");
    EXPECT_EQ(read("file"), "new");
}

TEST_F(PnpFolderTest, TooManyThingsUnderThoseNamesRefuseTheFile) {
    for (int i = 0; i < 100; ++i) std::filesystem::create_directory(sandbox_.inside(".pnp-" + std::to_string(i)));
    EXPECT_EQ(write("file", "new"), "no temporary file can be made: File exists");
    EXPECT_FALSE(std::filesystem::exists(sandbox_.inside("file")));
}

TEST(PnpFolderPlaceTest, FolderThatIsThereIsUsedWithWhatItHolds) {
    const PnpSandbox sandbox;
    EXPECT_EQ(PnpFolder(sandbox.inside()).write(pnpFile("a", "first")), std::nullopt);
    EXPECT_EQ(PnpFolder(sandbox.inside()).write(pnpFile("b", "second")), std::nullopt);
    EXPECT_EQ(contentOf(sandbox.inside("a")), "first");
    EXPECT_EQ(contentOf(sandbox.inside("b")), "second");
}

TEST(PnpFolderPlaceTest, PlaceThatCannotBeAFolderIsRefusedByName) {
    const PnpSandbox sandbox;
    for (const auto& [path, reason] : {std::pair(sandbox.outside("file"), "Not a directory"),
                                       std::pair(sandbox.inside("missing"), "No such file or directory")}) {
        try {
            const PnpFolder folder(path);
            ADD_FAILURE() << path << " is used";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), path.string() + ": cannot be used as a folder: " + reason);
        }
    }
    EXPECT_TRUE(sandbox.isIntact());
}
