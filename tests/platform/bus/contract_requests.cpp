// The contract of bus engines for requests and their answers.
#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "contract.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::Payload;
using frame::RequestCode;
using frame::RequestMessage;
using frame::Subscription;
using support::Gate;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusRequestContract);

namespace {

constexpr unsigned long id = 0xB0000F;
constexpr unsigned long otherId = 0xB00010;
constexpr CProcID anyOfType{hereAddress.procType, 0};
constexpr CProcID nobody{4000, 1};
constexpr int patience = 30;

RequestMessage message(std::string_view record = "question", unsigned long requestId = id) {
    return {requestId, hereAddress, Payload(record)};
}

frame::RequestSink saying(std::string_view answer) {
    return [answer = Payload(answer)](const RequestMessage&) { return answer; };
}

std::string text(RequestCode code) {
    return std::to_string(static_cast<int>(code));
}

std::optional<Payload> nothing(const RequestMessage&) {
    return std::nullopt;
}

}  // namespace

std::string BusRequestContract::ask(const CProcID& to, const RequestMessage& request, int timeoutSeconds) {
    Payload answer("untouched");
    const RequestCode code = here_->request(to, request, timeoutSeconds, answer);
    if (code == RequestCode::ok) return std::string(answer.view());
    EXPECT_EQ(answer.view(), "untouched");
    return text(code);
}

TEST_P(BusRequestContract, AnswerComesBack) {
    const Subscription serving = there_->serveRequests(id, saying("answer"));
    EXPECT_EQ(ask(thereAddress, message(), patience), "answer");
}

TEST_P(BusRequestContract, RequestCarriesItsIdentifierItsSenderAndItsRecord) {
    support::Mailbox<RequestMessage> received;
    const Subscription serving = there_->serveRequests(id, [&](const RequestMessage& request) {
        received.put(request);
        return Payload("");
    });
    EXPECT_EQ(ask(thereAddress, message(std::string_view("a\0b", 3)), patience), "");
    const auto request = received.take();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->id, id);
    EXPECT_EQ(request->sender, hereAddress);
    EXPECT_EQ(request->record.view(), std::string_view("a\0b", 3));
}

TEST_P(BusRequestContract, RequestToAnyProcessOfATypeReachesOneThatTakesIt) {
    const Subscription serving = there_->serveRequests(id, saying("answer"));
    EXPECT_EQ(ask(anyOfType, message(), patience), "answer");
}

TEST_P(BusRequestContract, RequestToOneProcessReachesNoOther) {
    const Subscription here = here_->serveRequests(id, saying("here"));
    const Subscription there = there_->serveRequests(id, saying("there"));
    EXPECT_EQ(ask(hereAddress, message(), patience), "here");
    EXPECT_EQ(ask(thereAddress, message(), patience), "there");
}

TEST_P(BusRequestContract, RequestThatNobodyTakesIsRefusedAtOnce) {
    const Subscription other = there_->serveRequests(otherId, saying("other"));
    EXPECT_EQ(ask(nobody, message(), patience), text(RequestCode::noProcess));
    EXPECT_EQ(ask(thereAddress, message(), patience), text(RequestCode::noProcess));
    EXPECT_EQ(ask(anyOfType, message(), patience), text(RequestCode::noProcess));
}

TEST_P(BusRequestContract, RequestWithoutAnswerTimesOut) {
    const Subscription serving = there_->serveRequests(id, nothing);
    EXPECT_EQ(ask(thereAddress, message(), 1), text(RequestCode::timedOut));
    EXPECT_EQ(ask(thereAddress, message(), -1), text(RequestCode::timedOut));
}

TEST_P(BusRequestContract, SinkThatThrowsGivesNoAnswerAndGoesOn) {
    std::atomic<int> asked{0};
    const Subscription serving = there_->serveRequests(id, [&](const RequestMessage&) {
        if (++asked == 1) throw std::runtime_error("no memory");
        return Payload("answer");
    });
    EXPECT_EQ(ask(thereAddress, message(), 1), text(RequestCode::timedOut));
    EXPECT_EQ(ask(thereAddress, message(), patience), "answer");
}

TEST_P(BusRequestContract, LateAnswerIsNotTakenForThatToTheNextRequest) {
    Gate late;
    std::atomic<int> asked{0};
    const Subscription serving = there_->serveRequests(id, [&](const RequestMessage&) {
        if (++asked > 1) return Payload("second");
        EXPECT_TRUE(late.pass());
        return Payload("first");
    });
    EXPECT_EQ(ask(thereAddress, message(), 1), text(RequestCode::timedOut));
    late.open();
    EXPECT_EQ(ask(thereAddress, message(), patience), "second");
}

TEST_P(BusRequestContract, LargeRequestAndAnswerPassWhole) {
    const std::string large(1U << 19, 'x');
    const Subscription serving =
        there_->serveRequests(id, [](const RequestMessage& request) { return request.record; });
    EXPECT_TRUE(ask(thereAddress, message(large), patience) == large);
}

TEST_P(BusRequestContract, TooLargeRequestIsRefused) {
    const Subscription serving = there_->serveRequests(id, saying("answer"));
    EXPECT_EQ(ask(thereAddress, message(std::string(frame::mostRequestOctets + 1, 'x')), patience),
              text(RequestCode::tooLarge));
}

TEST_P(BusRequestContract, TooLargeAnswerIsNotSent) {
    const Subscription serving = there_->serveRequests(id, saying(std::string(frame::mostRequestOctets + 1, 'x')));
    EXPECT_EQ(ask(thereAddress, message(), 1), text(RequestCode::timedOut));
}

TEST_P(BusRequestContract, SecondSinkForARequestIsRefusedByName) {
    const Subscription serving = there_->serveRequests(id, saying("answer"));
    try {
        const Subscription second = there_->serveRequests(id, saying("second"));
        FAIL() << "was taken";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "process 3001:2 answers request 0xB0000F already");
    }
    EXPECT_EQ(ask(thereAddress, message(), patience), "answer");
}

TEST_P(BusRequestContract, EndedSinkAnswersNoMoreAndAnotherMayTakeItsPlace) {
    Subscription serving = there_->serveRequests(id, saying("first"));
    serving = {};
    EXPECT_EQ(ask(thereAddress, message(), patience), text(RequestCode::noProcess));
    serving = there_->serveRequests(id, saying("second"));
    EXPECT_EQ(ask(thereAddress, message(), patience), "second");
}

TEST_P(BusRequestContract, SinkMayAskOtherProcesses) {
    const Subscription below = here_->serveRequests(otherId, saying("below"));
    const Subscription serving = there_->serveRequests(id, [&](const RequestMessage&) -> std::optional<Payload> {
        Payload answer;
        EXPECT_EQ(there_->request(hereAddress, message("", otherId), patience, answer), RequestCode::ok);
        return answer;
    });
    EXPECT_EQ(ask(thereAddress, message(), patience), "below");
}

TEST_P(BusRequestContract, ManyThreadsGetTheirOwnAnswers) {
    const Subscription serving =
        there_->serveRequests(id, [](const RequestMessage& request) { return request.record; });
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (char thread = 'a'; thread < 'e'; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 200; ++i) {
                const std::string question = thread + std::to_string(i);
                ASSERT_EQ(ask(thereAddress, message(question), patience), question);
            }
        });
    for (std::thread& thread : threads) thread.join();
}

TEST_P(BusRequestContract, StoppedProcessIsDownForWaitingAndLaterRequests) {
    Gate asked;
    Gate leave;
    const Subscription serving = there_->serveRequests(id, [&](const RequestMessage&) {
        asked.open();
        EXPECT_TRUE(leave.pass());
        return Payload("late");
    });
    std::thread waiting([this] { EXPECT_EQ(ask(thereAddress, message(), patience), text(RequestCode::down)); });
    EXPECT_TRUE(asked.pass());
    here_->stopRequests();
    waiting.join();
    EXPECT_EQ(ask(thereAddress, message(), patience), text(RequestCode::down));
    leave.open();
}

TEST_P(BusRequestContract, DestroyedEngineAnswersNoMore) {
    Subscription serving = there_->serveRequests(id, saying("answer"));
    there_.reset();
    EXPECT_EQ(ask(thereAddress, message(), patience), text(RequestCode::noProcess));
    serving = {};
}
