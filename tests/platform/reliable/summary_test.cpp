// Looking into an outbox.
#include <chrono>

#include "fixture.h"

namespace reliable_test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

std::int64_t now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string refusal(const std::string& file) {
    try {
        frame::readOutbox(file, 1);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

using OutboxSummary = ReliableTest;

TEST_F(OutboxSummary, TellsWhatWaitsWhileItsProcessWorks) {
    const auto begin = now();
    open();
    ASSERT_EQ(send("one", someId), ReliableCode::ok);
    ASSERT_EQ(send("three", otherId), ReliableCode::ok);
    const auto summary = frame::readOutbox(file(), 10);
    EXPECT_EQ(summary.depth, 2U);
    ASSERT_EQ(summary.waiting.size(), 2U);
    EXPECT_EQ(summary.oldestIdentifier, summary.waiting[0].identifier);
    EXPECT_EQ(summary.oldestUnixMilliseconds, summary.waiting[0].unixMilliseconds);
    EXPECT_THAT(summary.waiting[1].identifier, testing::MatchesRegex("3001\\.7-[0-9a-f]{32}-2"));
    EXPECT_EQ(summary.waiting[1].id, otherId);
    EXPECT_EQ(summary.waiting[1].octets, 7U);
    EXPECT_GE(summary.waiting[0].unixMilliseconds, begin);
    EXPECT_LE(summary.waiting[1].unixMilliseconds, now());
}

TEST_F(OutboxSummary, ListsNoMoreThanAskedFor) {
    open();
    for (int i = 0; i < 5; ++i) ASSERT_EQ(send("text"), ReliableCode::ok);
    close();
    EXPECT_EQ(frame::readOutbox(file(), 2).waiting.size(), 2U);
    const auto none = frame::readOutbox(file(), 0);
    EXPECT_TRUE(none.waiting.empty());
    EXPECT_EQ(none.depth, 5U);
    EXPECT_TRUE(none.oldestIdentifier.has_value());
}

TEST_F(OutboxSummary, OfAnEmptyOutboxIsEmpty) {
    open();
    close();
    const auto summary = frame::readOutbox(file(), 10);
    EXPECT_EQ(summary.depth, 0U);
    EXPECT_FALSE(summary.oldestIdentifier.has_value());
    EXPECT_FALSE(summary.oldestUnixMilliseconds.has_value());
}

TEST_F(OutboxSummary, DoesNotChangeTheFile) {
    open();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    close();
    const auto before = support::contentOf(file());
    frame::readOutbox(file(), 10);
    EXPECT_TRUE(support::contentOf(file()) == before);
    open();
    EXPECT_EQ(send("text"), ReliableCode::ok);
}

TEST_F(OutboxSummary, MissingFileIsNamedAndNotMade) {
    EXPECT_THAT(refusal(file()), AllOf(HasSubstr(file()), HasSubstr("does not exist")));
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(OutboxSummary, FileThatIsNoOutboxIsNamed) {
    folder_.write("outbox.db", "somebody's text, long enough to be looked at\n");
    EXPECT_THAT(refusal(file()), AllOf(HasSubstr(file()), HasSubstr("is no outbox")));
    folder_.write("outbox.db", "");
    EXPECT_THAT(refusal(file()), AllOf(HasSubstr(file()), HasSubstr("is no outbox")));
}

}  // namespace

}  // namespace reliable_test
