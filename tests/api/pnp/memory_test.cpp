// Memory runs out at every single allocation of a broadcast: nothing leaks, and the next one goes out.
#include "client.h"
#include "support/heap.h"
#include "support/logged.h"

namespace {

constexpr std::uint32_t bufferIsNull = 0x42000030;

class PnpMemory : public WithClient {};

}  // namespace

TEST_F(PnpMemory, MayRunOutAtAnyAllocation) {
    const std::string path = folder_.write("pnp.xml", std::string(5000, 'x'));
    const std::vector<std::string> paths{path, path, folder_.file("pnp/none.xml")};
    AsnPnpFileList files = listOf(paths);
    std::size_t nth = 1;
    int withoutBuffer = 0;
    bool ranOut = true;
    for (; ranOut; ++nth) {
        ASSERT_LT(nth, 10'000U);
        std::uint32_t code = 0;
        ranOut = support::runsOut(nth, [&] { code = NEC::BoardcastPnpData({}, files); });
        if (code == bufferIsNull) ++withoutBuffer;
    }
    EXPECT_EQ(withoutBuffer, 1);
    EXPECT_EQ(publish(paths), 0U);
    const auto sent = got();
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->size(), 3U);
}

TEST_F(PnpMemory, FileWithoutBufferEndsTheBroadcast) {
    const std::string path = folder_.write("pnp.xml", "content");
    AsnPnpFileList files = listOf({path});
    std::vector<std::string> lines;
    for (std::size_t nth = 1; lines.empty(); ++nth) {
        ASSERT_LT(nth, 10'000U);
        const frame::LogCapture log;
        std::uint32_t code = 0;
        support::runsOut(nth, [&] { code = NEC::BoardcastPnpData({}, files); });
        if (code == bufferIsNull) lines = logged::lines(log);
    }
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[2], "error 42000030 GetPNPFileContent The infile point is null!");
    EXPECT_EQ(lines[3],
              "error 42000030 BoardcastPnpData Call Function return Error:"
              "GetPNPFileContent(*pnpFile, strFtpRoot, ipacketsize)");
}

TEST_F(PnpMemory, NothingIsLeftBehind) {
    const std::string path = folder_.write("pnp.xml", std::string(5000, 'x'));
    const std::string empty = folder_.write("empty", "");
    const auto publishing = [&] {
        EXPECT_EQ(publish({path, folder_.file("none")}), 0U);
        EXPECT_TRUE(got());
        EXPECT_NE(publish({path, empty}), 0U);
    };
    publishing();
    EXPECT_EQ(support::blocksLeftBy(publishing), 0);
}
