// What is no ordinary file, or does not stay one: each gets its code or its placeholder, and nothing waits for ever.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "client.h"
#include "support/nobody.h"
#include "support/placeholder.h"

namespace {

constexpr std::uint32_t sizeInvalid = 0x42000042;
constexpr std::uint32_t fileTooLarge = 0x4200004B;

class OddFiles : public WithClient {
protected:
    // A file of that size which takes no room on the disk.
    std::string sparse(const std::string& name, off_t octets) const {
        const std::string path = folder_.write(name, "");
        if (truncate(path.c_str(), octets) != 0) throw std::runtime_error("cannot make " + path);
        return path;
    }
    // Whether clients get the placeholder in the place of `path`.
    testing::AssertionResult isReplaced(const std::string& path, const std::string& name) {
        if (publish({path}) != 0) return testing::AssertionFailure() << "is not sent";
        const auto files = got();
        if (files == GotFiles{{name + ".error", 0, support::placeholder}}) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "another file came";
    }
};

// A socket file that somebody listens at.
class Listening {
public:
    explicit Listening(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
        std::memcpy(address.sun_path, path.c_str(), path.size());
        const auto* generic = reinterpret_cast<const sockaddr*>(&address);
        if (bind(socket_, generic, sizeof address) != 0 || listen(socket_, 1) != 0)
            throw std::runtime_error("cannot listen at " + path);
    }
    ~Listening() { close(socket_); }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

private:
    int socket_ = socket(AF_UNIX, SOCK_STREAM, 0);
};

}  // namespace

TEST_F(OddFiles, WhatIsNoRegularFileHasNoValidSize) {
    const std::string fifo = folder_.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, folder_.file(""), std::string("/dev/zero"), std::string("/dev/null")}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(publish({path}), sizeInvalid);
    }
    EXPECT_TRUE(nothingCame());
}

TEST_F(OddFiles, SocketCannotBeOpened) {
    const std::string path = folder_.file("pnp.socket");
    const Listening listening(path);
    EXPECT_TRUE(isReplaced(path, "pnp.socket"));
}

TEST_F(OddFiles, UnreadableFileCannotBeOpened) {
    const std::string path = folder_.write("pnp.xml", "secret");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    ASSERT_EQ(chmod(folder_.file("").c_str(), 0755), 0);  // so that it is the file that keeps nobody out
    const support::Nobody nobody;
    EXPECT_TRUE(isReplaced(path, "pnp.xml"));
}

TEST_F(OddFiles, PathWithANulDoesNotNameTheFileBeforeIt) {
    const std::string path = folder_.write("pnp.xml", "another");
    const std::string nul = path + std::string("\0.txt", 5);
    EXPECT_TRUE(isReplaced(nul, nul.substr(nul.find("pnp"))));
}

TEST_F(OddFiles, PathThatIsTooLongCannotBeOpened) {
    const std::string path = "/pnp/" + std::string(5000, 'x');
    EXPECT_TRUE(isReplaced(path, path.substr(1)));
}

TEST_F(OddFiles, PathOfAnyOctetsIsKept) {
    const std::string path = folder_.write("pnp \xFF\xC3\n\"'%s.xml", "a");
    EXPECT_EQ(publish({path}), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp \xFF\xC3\n\"'%s.xml", 1, "a"}}));
}

TEST_F(OddFiles, LinkIsFollowed) {
    ASSERT_EQ(symlink(folder_.write("a.xml", "a").c_str(), folder_.file("pnp.xml").c_str()), 0);
    EXPECT_EQ(publish({folder_.file("pnp.xml")}), 0U);
    EXPECT_EQ(got(), (GotFiles{{"pnp.xml", 1, "a"}}));
}

TEST_F(OddFiles, SizeIsASigned32BitNumber) {
    EXPECT_EQ(publish({sparse("below", (off_t{1} << 31) - 1)}), fileTooLarge);
    EXPECT_EQ(publish({sparse("negative", off_t{1} << 31)}), sizeInvalid);
    EXPECT_EQ(publish({sparse("zero", off_t{1} << 32)}), sizeInvalid);
    EXPECT_TRUE(nothingCame());
}

TEST_F(OddFiles, WhatIsReadTellsThatAFileIsTooLargeWhenItsSizeDoesNot) {
    EXPECT_EQ(publish({sparse("wrapped", (off_t{1} << 32) + 5)}), fileTooLarge);
    EXPECT_TRUE(nothingCame());
}

TEST_F(OddFiles, FileThatHoldsLessThanItStatesIsSentAsItWasRead) {
    const std::string path = "/sys/devices/system/cpu/online";
    ASSERT_EQ(std::filesystem::file_size(path), 4096U);
    const std::string content = support::contentOf(path);
    ASSERT_LT(content.size(), 4096U);
    EXPECT_EQ(publish({path}), 0U);
    EXPECT_EQ(got(), (GotFiles{{path, static_cast<int>(content.size()), content}}));
}

TEST_F(OddFiles, FileThatCannotBeReadHasNoValidSize) {
    const std::string path = "/sys/class/net/lo/speed";
    ASSERT_EQ(std::filesystem::file_size(path), 4096U);
    EXPECT_EQ(publish({path}), sizeInvalid);
    EXPECT_TRUE(nothingCame());
}

TEST_F(OddFiles, FileThatGrowsAndShrinksIsSentAsItWasReadOrNotAtAll) {
    const std::string path = folder_.write("pnp.xml", "x");
    const std::jthread changing([&path](const std::stop_token& stop) {
        for (off_t octets = 1; !stop.stop_requested(); octets = octets * 3 % 1'400'000)
            if (truncate(path.c_str(), octets) != 0) return;
    });
    for (int i = 0; i < 500; ++i) {
        const std::uint32_t code = publish({path});
        if (code == sizeInvalid || code == fileTooLarge) continue;
        ASSERT_EQ(code, 0U);
        const auto files = got();
        ASSERT_TRUE(files && files->size() == 1);
        EXPECT_EQ(files->front().content.size(), static_cast<std::size_t>(files->front().length));
        EXPECT_LE(files->front().length, 1'048'576);
    }
}
