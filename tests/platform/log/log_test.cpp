// The log: where lines go, what they look like, and that nothing stops them.
#include "platform/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "support/folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr LocationInfo here{"api", "doIt", 42};
const std::string start =
    "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}[+-][0-9]{2}:[0-9]{2} 3001:7 [0-9]+ ";

class Log : public testing::Test {
protected:
    ~Log() override { frame::closeLog(); }

    void open(frame::LogLevel level = frame::LogLevel::debug, bool trace = true) {
        frame::openLog({folder.file("log"), level, trace}, 3001, 7);
    }
    std::vector<std::string> lines() const {
        std::istringstream content(support::contentOf(folder.file("log")));
        std::vector<std::string> result;
        for (std::string line; std::getline(content, line);) result.push_back(line);
        return result;
    }
    void logOneOfEach() const {
        FrameUtil::Trace("trace");
        LogProcess::Debug("debug", here);
        LogProcess::Info("info", here);
        LogProcess::Error(0xB00001A, "error", here);
    }

    support::Folder folder;
};

TEST_F(Log, LineTellsTimeAddressThreadLevelCodePlaceAndText) {
    open();
    logOneOfEach();
    LogProcess::Error(0xFFFFFFFF, std::string("of a string"), here);
    EXPECT_THAT(lines(),
                ElementsAre(MatchesRegex(start + "TRACE trace"), MatchesRegex(start + "DEBUG api:42 doIt debug"),
                            MatchesRegex(start + "INFO api:42 doIt info"),
                            MatchesRegex(start + "ERROR 0x0B00001A api:42 doIt error"),
                            MatchesRegex(start + "ERROR 0xFFFFFFFF api:42 doIt of a string")));
}

TEST_F(Log, TraceIsFormattedAsPrintfDoes) {
    open();
    FrameUtil::Trace("[f] %s = %d%%, %lx", "name", -5, 0xABCUL);
    EXPECT_THAT(lines(), ElementsAre(HasSubstr("TRACE [f] name = -5%, abc")));
}

TEST_F(Log, TraceAtInformationLevelIsARecordOfThatKindWithoutAPlace) {
    open(frame::LogLevel::info, false);
    const frame::LogCapture capture;
    FrameUtil::TraceInfo("[f] %s = %d", "name", 5);
    ASSERT_THAT(capture.records(), SizeIs(1));
    EXPECT_EQ(capture.records()[0].kind, frame::LogRecord::Kind::info);
    EXPECT_EQ(capture.records()[0].text, "[f] name = 5");
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex(start + "INFO \\[f\\] name = 5")));
    frame::openLog({folder.file("log"), frame::LogLevel::error, true}, 3001, 7);
    FrameUtil::TraceInfo("below the level");
    EXPECT_THAT(lines(), SizeIs(1));
}

TEST_F(Log, TraceAtErrorLevelIsARecordOfThatKindWithItsCodeAndWithoutAPlace) {
    open(frame::LogLevel::error, false);
    const frame::LogCapture capture;
    FrameUtil::TraceError(-1, "[f] %s = %d%%", "name", 5);
    FrameUtil::TraceError(3, "%s", "%d\n");
    ASSERT_THAT(capture.records(), SizeIs(2));
    EXPECT_EQ(capture.records()[0].kind, frame::LogRecord::Kind::error);
    EXPECT_EQ(capture.records()[0].code, 0xFFFFFFFFU);
    EXPECT_EQ(capture.records()[0].text, "[f] name = 5%");
    EXPECT_EQ(capture.records()[1].code, 3U);
    EXPECT_EQ(capture.records()[1].text, "%d\n");
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex(start + "ERROR 0xFFFFFFFF \\[f\\] name = 5%"),
                                     MatchesRegex(start + "ERROR 0x00000003 %d\\\\n")));
    frame::openLog({folder.file("log"), frame::LogLevel::off, true}, 3001, 7);
    FrameUtil::TraceError(1, "below the level");
    EXPECT_THAT(lines(), SizeIs(2));
}

TEST_F(Log, GuardTracesEntryAndExit) {
    open(frame::LogLevel::off);
    {
        const OrigFuncTraceGuard outer("api", 395, "NotifyNECreated", "", "");
        const OrigFuncTraceGuard inner("api", 7, "doIt", "one", "two %s");
        FrameUtil::Trace("inside");
    }
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex(start + "TRACE enter NotifyNECreated \\(api:395\\)"),
                                     MatchesRegex(start + "TRACE enter doIt \\(api:7\\) one two %s"),
                                     HasSubstr("TRACE inside"), MatchesRegex(start + "TRACE leave doIt"),
                                     MatchesRegex(start + "TRACE leave NotifyNECreated")));
}

TEST_F(Log, NullTextsOfAGuardAreEmpty) {
    open();
    { const OrigFuncTraceGuard guard(nullptr, 0, nullptr, nullptr, nullptr); }
    EXPECT_THAT(lines(),
                ElementsAre(MatchesRegex(start + "TRACE enter  \\(:0\\)"), MatchesRegex(start + "TRACE leave ")));
}

TEST_F(Log, LevelHoldsBackWhatIsBelowIt) {
    for (const auto& [level, expected] : {std::pair{frame::LogLevel::debug, 3U}, std::pair{frame::LogLevel::info, 2U},
                                          std::pair{frame::LogLevel::error, 1U}, std::pair{frame::LogLevel::off, 0U}}) {
        open(level, false);
        logOneOfEach();
        EXPECT_THAT(lines(), SizeIs(expected));
        EXPECT_EQ(LogProcess::infoEnabled(), level <= frame::LogLevel::info);
        std::filesystem::remove(folder.file("log"));
    }
}

TEST_F(Log, TraceHasItsOwnSwitch) {
    open(frame::LogLevel::off, true);
    logOneOfEach();
    EXPECT_THAT(lines(), ElementsAre(HasSubstr("TRACE trace")));
}

TEST_F(Log, OneCallIsOneLineWhateverTheTextHolds) {
    open();
    FrameUtil::Trace("a\n%s", "b\r\nc\x1B[2J");
    LogProcess::Info(std::string("null \0 inside\n", 14), {"file\n", "func\n", 1});
    EXPECT_THAT(lines(), ElementsAre(HasSubstr("TRACE a\\nb\\r\\nc\\x1B[2J"),
                                     HasSubstr("INFO file\\n:1 func\\n null \\x00 inside\\n")));
}

TEST_F(Log, LongTextsAreWrittenWhole) {
    open();
    for (const std::size_t size : {511U, 512U, 513U, 65536U, 1048576U}) {
        const std::string text(size, 'x');
        FrameUtil::Trace("%s", text.c_str());
        LogProcess::Info(text, here);
        ASSERT_TRUE(lines().back().ends_with(" " + text));
        ASSERT_TRUE(lines()[lines().size() - 2].ends_with(" " + text));
    }
}

TEST_F(Log, NullTextsAreEmpty) {
    open();
    LogProcess::Error(1, static_cast<const char*>(nullptr), {nullptr, nullptr, 0});
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex(start + "ERROR 0x00000001 :0  ")));
}

TEST_F(Log, FileIsAppendedTo) {
    open();
    FrameUtil::Trace("first");
    frame::closeLog();
    open();
    FrameUtil::Trace("second");
    EXPECT_THAT(lines(), ElementsAre(HasSubstr("first"), HasSubstr("second")));
}

TEST_F(Log, StandardErrorIsTheDefaultAtLevelInfo) {
    testing::internal::CaptureStderr();
    logOneOfEach();
    const std::string before = testing::internal::GetCapturedStderr();
    EXPECT_THAT(before, HasSubstr(" 0:0 "));
    EXPECT_THAT(before, HasSubstr("TRACE trace\n"));
    EXPECT_THAT(before, HasSubstr("INFO api:42 doIt info\n"));
    EXPECT_THAT(before, testing::Not(HasSubstr("DEBUG")));

    open(frame::LogLevel::off, false);
    frame::closeLog();
    testing::internal::CaptureStderr();
    logOneOfEach();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" 0:0 "));
}

TEST_F(Log, FileThatCannotBeOpenedLeavesTheLogAsItWas) {
    open();
    const std::string impossible = folder.file("log") + "/below-a-file";
    try {
        frame::openLog({impossible, frame::LogLevel::off, false}, 1, 1);
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(impossible));
    }
    FrameUtil::Trace("still here");
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex(start + "TRACE still here")));
}

TEST_F(Log, FullDiskStopsNobody) {
    testing::internal::CaptureStderr();
    frame::openLog({"/dev/full", frame::LogLevel::debug, true}, 1, 1);
    logOneOfEach();
    frame::closeLog();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("/dev/full"));
}

TEST_F(Log, CaptureKeepsWhatItsThreadLogsAtEveryLevel) {
    open(frame::LogLevel::off, false);
    frame::LogCapture capture;
    EXPECT_TRUE(LogProcess::infoEnabled());
    FrameUtil::Trace("a\nb");
    LogProcess::Error(7, "text", here);
    std::thread([] { FrameUtil::Trace("of another thread"); }).join();
    ASSERT_THAT(capture.records(), SizeIs(2));
    EXPECT_EQ(capture.records()[0].kind, frame::LogRecord::Kind::trace);
    EXPECT_EQ(capture.records()[0].text, "a\nb");
    EXPECT_EQ(capture.records()[1].kind, frame::LogRecord::Kind::error);
    EXPECT_EQ(capture.records()[1].code, 7U);
    EXPECT_EQ(capture.records()[1].function, "doIt");
    EXPECT_THAT(lines(), SizeIs(0));
}

TEST_F(Log, WatcherOfACaptureIsCalledForEachRecordAsItIsLogged) {
    open(frame::LogLevel::off, false);
    std::vector<std::string> seen;
    const frame::LogCapture capture([&](const frame::LogRecord& record) { seen.push_back(record.text); });
    LogProcess::Debug("first", here);
    EXPECT_THAT(seen, ElementsAre("first"));
    std::thread([] { FrameUtil::Trace("of another thread"); }).join();
    FrameUtil::Trace("second");
    EXPECT_THAT(seen, ElementsAre("first", "second"));
    EXPECT_THAT(capture.records(), SizeIs(2));
}

TEST_F(Log, InnermostCaptureKeepsTheRecord) {
    open();
    frame::LogCapture outer;
    {
        frame::LogCapture inner;
        FrameUtil::Trace("inside");
        EXPECT_THAT(inner.records(), SizeIs(1));
    }
    FrameUtil::Trace("outside");
    ASSERT_THAT(outer.records(), SizeIs(1));
    EXPECT_EQ(outer.records()[0].text, "outside");
    EXPECT_THAT(lines(), SizeIs(2));
}

TEST_F(Log, CapturesMayEndInAnyOrder) {
    open();
    auto outer = std::make_unique<frame::LogCapture>();
    frame::LogCapture inner;
    outer.reset();
    FrameUtil::Trace("kept");
    EXPECT_THAT(inner.records(), SizeIs(1));
}

TEST_F(Log, OpeningAndClosingDisturbsNoThreadThatLogs) {
    constexpr int threads = 4;
    constexpr int linesEach = 500;
    testing::internal::CaptureStderr();
    std::atomic<int> finished{0};
    std::vector<std::thread> loggers;
    loggers.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        loggers.emplace_back([&] {
            for (int n = 0; n < linesEach; ++n) LogProcess::Info("line", here);
            ++finished;
        });
    }
    while (finished < threads) {
        open();
        frame::closeLog();
    }
    for (std::thread& logger : loggers) logger.join();
    open();
    std::istringstream onStderr(testing::internal::GetCapturedStderr());
    std::size_t written = lines().size();
    for (std::string line; std::getline(onStderr, line);) written += line.ends_with(" line") ? 1 : 0;
    EXPECT_EQ(written, std::size_t{threads} * linesEach);
}

TEST(LogAtExit, ThreadsMayLogWhileTheProgramExits) {
    EXPECT_EXIT(
        {
            std::atomic<int> written{0};
            std::thread([&] {
                for (;;) {
                    LogProcess::Info("line", here);
                    ++written;
                }
            }).detach();
            while (written < 10) std::this_thread::yield();
            std::exit(0);
        },
        testing::ExitedWithCode(0), " line");
}

}  // namespace
