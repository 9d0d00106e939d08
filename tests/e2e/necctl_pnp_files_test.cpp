// What necctl pnp makes of files before and after a broadcast, in the test's own program: as a user who may not read
// everything, and with what the library logs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <numeric>

#include "failure.h"
#include "nec/records.h"
#include "platform/bus.h"
#include "pnp_broadcast.h"
#include "pnp_files.h"
#include "support/folder.h"
#include "support/nobody.h"

namespace {

using necctl::broadcastOctets;
using testing::HasSubstr;
using Paths = std::vector<std::string>;

class NecctlPnpFiles : public testing::Test {
protected:
    std::string directory(const std::string& name, unsigned mode) const {
        const std::string path = folder_.file(name);
        std::filesystem::create_directories(path);
        std::filesystem::permissions(path, std::filesystem::perms(mode));
        return path;
    }
    // Why the command ends; empty when it does not.
    template <class Command>
    static std::string failure(necctl::ExitCode code, Command command) {
        try {
            command();
            return {};
        } catch (const necctl::Failure& error) {
            EXPECT_EQ(error.code(), code);
            return error.what();
        }
    }

    const support::Folder folder_;
    const necctl::Options quiet_ = [] {
        necctl::Options options;
        options.quiet = true;
        return options;
    }();
};

// Nothing is written to std::cout while it lives.
class Silence {
public:
    Silence() : before_(std::cout.rdbuf(nullptr)) {}
    ~Silence() { std::cout.rdbuf(before_); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    std::streambuf* before_;
};

AsnPnpFile fileOf(std::size_t octets) {
    AsnPnpFile file;
    file.fileName = "pnp100";
    file.fileLen = static_cast<std::int32_t>(octets);
    file.fileContent = new AsnOcts(std::string(octets, 'x'));
    return file;
}

}  // namespace

TEST_F(NecctlPnpFiles, DirectoryThatCannotBeReadIsNamed) {
    directory("", 0755);
    const std::string top = directory("top", 0755);
    directory("top/a", 0755);
    const std::string below = directory("top/a/b", 0);
    const std::string beside = directory("beside", 0);
    {
        const support::Nobody nobody;
        EXPECT_EQ(failure(necctl::unusable, [&] { necctl::pnpFiles({top}, quiet_); }), below + ": Permission denied");
        EXPECT_EQ(failure(necctl::unusable, [&] { necctl::pnpFiles({beside}, quiet_); }),
                  beside + ": Permission denied");
    }
    for (const std::string& path : {below, beside}) std::filesystem::permissions(path, std::filesystem::perms(0700));
}

TEST_F(NecctlPnpFiles, BroadcastThatEndsIsToldWithTheFileThatWasReadLastAndItsErrors) {
    const auto record = [](frame::LogRecord::Kind kind, std::uint32_t code, const std::string& text) {
        frame::LogRecord made;
        made.kind = kind;
        made.code = code;
        made.text = text;
        return made;
    };
    using Kind = frame::LogRecord::Kind;
    EXPECT_EQ(
        necctl::abortText(
            0x42000042, {record(Kind::debug, 0, "Read file:a"), record(Kind::error, 0x42000004, "Open file failed! a"),
                         record(Kind::debug, 0, "Read file:b"), record(Kind::error, 0x42000042, "wrong"),
                         record(Kind::error, 0x42000042, "ended")}),
        "b: nothing is sent, code 0x42000042: wrong: ended");
    EXPECT_EQ(necctl::abortText(0x42000030, {}), "nothing is sent, code 0x42000030");
}

TEST_F(NecctlPnpFiles, SizeOfABroadcastIsThatOfItsRecord) {
    std::vector<std::size_t> sizes(300);
    std::iota(sizes.begin(), sizes.end(), std::size_t{0});
    for (std::size_t size = 65'480; size < 65'540; ++size) sizes.push_back(size);
    for (const std::size_t size : {1U << 20U, 17U << 20U}) sizes.push_back(size);
    for (const std::size_t size : sizes) {
        const AsnPnpFile file = fileOf(size);
        AsnClientGetPnpRsp package;
        package.iResult = 0;
        package.packageSum = 1;
        package.pnpFileList.Append(file);
        EXPECT_EQ(broadcastOctets(frame::encode(file).size()), frame::encode(package).size());
    }
    EXPECT_EQ(broadcastOctets(0), frame::encode(AsnClientGetPnpRsp()).size());
}

TEST_F(NecctlPnpFiles, DryRunCountsTheRecordAroundTheFiles) {
    constexpr std::size_t largest = 1U << 20U;
    constexpr std::size_t files = 512;
    const std::size_t around = broadcastOctets(frame::mostBroadcastOctets) - frame::mostBroadcastOctets;
    const std::size_t ofEach = frame::encode(fileOf(largest)).size() - largest;
    Paths paths;
    for (std::size_t i = 0; i < files; ++i) {
        paths.push_back(folder_.write("pnp" + std::to_string(100 + i), ""));
        std::filesystem::resize_file(paths.back(), largest);
    }
    const std::size_t last = frame::mostBroadcastOctets - around - files * ofEach - (files - 1) * largest;
    const auto tryWithLast = [&](std::size_t octets) {
        std::filesystem::resize_file(paths.back(), octets);
        const Silence silence;
        return failure(necctl::wrongData, [&] { necctl::tryPnp(paths, quiet_); });
    };
    EXPECT_EQ(tryWithLast(last), "");
    EXPECT_THAT(tryWithLast(last + 1), HasSubstr("would not be sent: it takes 536870913 octets; expected at most"));
}
