// The six operations, against a real HTTP server and a real dispatcher on the bus.
#include "nec/trapserver.h"

#include <gmock/gmock.h>

#include <atomic>
#include <set>
#include <thread>

#include "dispatcher_fixture.h"
#include "many.h"
#include "support/doing.h"
#include "support/gate.h"
#include "support/http_server.h"
#include "support/logged.h"

namespace {

using NEC::CTrapServer;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string regist = "/dam/v1/netrapserver/action/regist";
const std::string erase = "/dam/v1/netrapserver/action/delete";

class TrapServerTest : public WithDispatcher {
protected:
    TrapServerTest() {
        server_.emplace([this](const support::HttpRequest& request) {
            requests_.put(request);
            order_.put(request.target);
            return support::HttpAnswer{status_, "{}", "application/json", {}};
        });
        base_ = server_->url("");
        start(config());
    }

    frame::Config config() const {
        frame::Config config = configWith({0});
        config.http.services = base_;
        return config;
    }
    // The next request that came: "METHOD PATH BODY".
    std::string posted() {
        const auto request = requests_.take();
        return request ? request->method + " " + request->target + " " + request->body : "nothing";
    }
    // What is logged, but for what the platform logs of its own.
    static std::vector<std::string> traced(const frame::LogCapture& log) {
        std::vector<std::string> lines;
        for (const frame::LogRecord& record : log.records())
            if (record.kind == frame::LogRecord::Kind::trace) lines.push_back(record.text);
        return lines;
    }

    std::string base_;
    std::atomic<int> status_{200};
    support::Mailbox<support::HttpRequest> requests_;
    support::Mailbox<std::string> order_;  // paths of requests, and what tests add
    std::optional<support::HttpServer> server_;
};

std::list<NEC::_NEIP2SERVERID> pairs(std::initializer_list<std::pair<const char*, short>> list) {
    std::list<NEC::_NEIP2SERVERID> pairs;
    for (const auto& [neIP, server] : list) pairs.push_back({neIP, server});
    return pairs;
}

const std::string twoBody =
    "[\n\t{\n\t\t\"neIP\" : \"10.0.0.2\",\n\t\t\"trapServerID\" : 3\n\t},"
    "\n\t{\n\t\t\"neIP\" : \"10.0.0.1\",\n\t\t\"trapServerID\" : 5\n\t}\n]";

}  // namespace

TEST_F(TrapServerTest, PairsAreRegisteredInTheirOrderAndDispatchedInThatOfTheirAddresses) {
    auto list = pairs({{"10.0.0.2", 3}, {"10.0.0.1", 5}});
    const frame::LogCapture log;
    CTrapServer::NotifyNECreated(list);
    EXPECT_EQ(posted(), "POST " + regist + " " + twoBody);
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5,10.0.0.2,3");
    EXPECT_EQ(list.size(), 2U);
    EXPECT_THAT(traced(log),
                ElementsAre(HasSubstr("NotifyNECreated (api:395)"),
                            "[TrapServerSendMsgForRegist] require parameters url " + base_ + regist,
                            "[TrapServerSendMsgForRegist] url strReqBody  " + twoBody, HasSubstr("NotifyNECreated")));
}

TEST_F(TrapServerTest, DeletedNesAreListedInTheirOrder) {
    std::list<light_basic_string> list{"10.0.0.2", "10.0.0.1"};
    const frame::LogCapture log;
    CTrapServer::NotifyNEDelete(list);
    const std::string body = "{\n\t\"neIP\" : \n\t[\n\t\t\"10.0.0.2\",\n\t\t\"10.0.0.1\"\n\t]\n}";
    EXPECT_EQ(posted(), "POST " + erase + " " + body);
    EXPECT_EQ(next(), "3ffba0 10.0.0.2,10.0.0.1");
    EXPECT_THAT(traced(log),
                ElementsAre(HasSubstr("NotifyNEDelete (api:476)"),
                            "[TrapServerSendMsgForDelete] require parameters url " + base_ + erase,
                            "[TrapServerSendMsgForDelete] url strReqBody " + body, HasSubstr("NotifyNEDelete")));
}

TEST_F(TrapServerTest, EmptyListIsNotRegistered) {
    std::list<NEC::_NEIP2SERVERID> none;
    const frame::LogCapture log;
    CTrapServer::NotifyNECreated(none);
    EXPECT_THAT(traced(log), ElementsAre(HasSubstr("NotifyNECreated"),
                                         "[CTrapServer::NotifyNECreated] lstTrapServer size is less than 1",
                                         HasSubstr("NotifyNECreated")));
    EXPECT_TRUE(requests_.empty());
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(TrapServerTest, EmptyListIsDeletedAllTheSame) {
    std::list<light_basic_string> none;
    CTrapServer::NotifyNEDelete(none);
    EXPECT_EQ(posted(), "POST " + erase + " null");
    EXPECT_EQ(next(), "3ffba0 ");
}

TEST_F(TrapServerTest, NullAndEmptyAddressesAreNotCreated) {
    for (const char* address : {static_cast<const char*>(nullptr), ""}) {
        const frame::LogCapture log;
        CTrapServer::NotifyNECreated(address, 1);
        EXPECT_THAT(traced(log), ElementsAre("[CTrapServer::NotifyNECreated] pNEIP is NULL, return."));
    }
    EXPECT_TRUE(requests_.empty());
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(TrapServerTest, NullAddressIsNeitherDeletedNorTransferred) {
    const frame::LogCapture log;
    CTrapServer::NotifyNEDelete(nullptr);
    CTrapServer::NotifyNETransfer(nullptr, 1);
    EXPECT_THAT(traced(log), ElementsAre("[CTrapServer::NotifyNEDelete] pNEIP is NULL, return.",
                                         "[CTrapServer::NotifyNETransfer] pNEIP is NULL, return."));
    EXPECT_TRUE(requests_.empty());
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(TrapServerTest, EmptyAddressIsDeletedAndTransferred) {
    CTrapServer::NotifyNEDelete("");
    EXPECT_EQ(posted(), "POST " + erase + " {\n\t\"neIP\" : \n\t[\n\t\t\"\"\n\t]\n}");
    EXPECT_EQ(next(), "3ffba0 ");
    CTrapServer::NotifyNETransfer("", 1);
    EXPECT_THAT(posted(), StartsWith("POST " + erase));
    EXPECT_EQ(next(), "3ffba0 ");
    EXPECT_THAT(posted(), StartsWith("POST " + regist));
    EXPECT_EQ(next(), "3ffb9f 1");
}

TEST_F(TrapServerTest, SinglePairIsAListOfOne) {
    CTrapServer::NotifyNECreated("10.0.0.1", -7);
    EXPECT_EQ(posted(), "POST " + regist + " [\n\t{\n\t\t\"neIP\" : \"10.0.0.1\",\n\t\t\"trapServerID\" : -7\n\t}\n]");
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,-7");
}

TEST_F(TrapServerTest, RepeatedAddressIsRegisteredTwiceAndDispatchedOnceWithItsLastNumber) {
    auto list = pairs({{"10.0.0.1", 1}, {"10.0.0.2", 2}, {"10.0.0.1", 3}});
    CTrapServer::NotifyNECreated(list);
    const std::string body = posted();
    EXPECT_THAT(body, HasSubstr("\"trapServerID\" : 1"));
    EXPECT_THAT(body, HasSubstr("\"trapServerID\" : 3"));
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,3,10.0.0.2,2");
}

TEST_F(TrapServerTest, TransferDeletesAllAndThenCreatesAll) {
    auto list = pairs({{"10.0.0.2", 3}, {"10.0.0.1", 5}});
    CTrapServer::NotifyNETransfer(list);
    EXPECT_THAT(posted(), StartsWith("POST " + erase));
    EXPECT_THAT(posted(), StartsWith("POST " + regist));
    EXPECT_EQ(next(), "3ffba0 10.0.0.2,10.0.0.1");
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5,10.0.0.2,3");
}

TEST_F(TrapServerTest, EachHalfOfATransferIsToldToTheServiceBeforeTheDispatcher) {
    dispatcher_->answering = [this](const Octets& message) {
        order_.put(told(message));
        return "answer";
    };
    CTrapServer::NotifyNETransfer("10.0.0.1", 5);
    EXPECT_EQ(order_.take(), erase);
    EXPECT_EQ(order_.take(), "3ffba0 10.0.0.1");
    EXPECT_EQ(order_.take(), regist);
    EXPECT_EQ(order_.take(), "3ffb9f 10.0.0.1,5");
}

TEST_F(TrapServerTest, InsideATaskOfTheFirstManagerServiceAndDispatcherAreTold) {
    support::Gate done;
    support::doOn(0, [&done] {
        CTrapServer::NotifyNECreated("10.0.0.1", 5);
        done.open();
    });
    EXPECT_THAT(posted(), StartsWith("POST " + regist));
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
    EXPECT_TRUE(done.pass());
}

TEST_F(TrapServerTest, ConcurrentCallsAreIndependent) {
    constexpr int threads = 4;
    constexpr int callsEach = 20;
    std::vector<std::thread> callers;
    callers.reserve(threads);
    for (int thread = 0; thread < threads; ++thread)
        callers.emplace_back([thread] {
            for (int call = 0; call < callsEach; ++call) {
                const std::string address = "10.0." + std::to_string(thread) + "." + std::to_string(call);
                CTrapServer::NotifyNECreated(address.c_str(), static_cast<short>(call));
            }
        });
    for (std::thread& caller : callers) caller.join();
    std::set<std::string> bodies;
    std::set<std::string> messages;
    for (int i = 0; i < threads * callsEach; ++i) {
        bodies.insert(posted());
        messages.insert(next());
    }
    EXPECT_EQ(bodies.size(), std::size_t{threads} * callsEach);
    EXPECT_EQ(messages.size(), std::size_t{threads} * callsEach);
    EXPECT_TRUE(messages.contains("3ffb9f 10.0.3.19,19"));
    EXPECT_TRUE(requests_.empty());
    EXPECT_TRUE(dispatcher_->received.empty());
}

TEST_F(TrapServerTest, SlowDispatcherHoldsItsCallerUntilItAnswers) {
    support::Gate answer;
    std::atomic<bool> returned{false};
    dispatcher_->answering = [&answer](const Octets&) {
        EXPECT_TRUE(answer.pass());
        return "answer";
    };
    std::thread caller([&returned] {
        CTrapServer::NotifyNECreated("10.0.0.1", 5);
        returned = true;
    });
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
    EXPECT_FALSE(returned);
    answer.open();
    caller.join();
}

TEST_F(TrapServerTest, RubbishFromTheDispatcherIsNotLookedAt) {
    const std::string rubbish[] = {"", std::string("\0\xff,", 3), std::string(1U << 20U, '\xff')};
    for (const std::string& answer : rubbish) {
        dispatcher_->answering = [&answer](const Octets&) { return answer; };
        const frame::LogCapture log;
        CTrapServer::NotifyNETransfer("10.0.0.1", 5);
        EXPECT_EQ(next(), "3ffba0 10.0.0.1");
        EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
        EXPECT_THAT(logged::lines(log), testing::Not(testing::Contains(StartsWith("error"))));
    }
}

// It costs the time-out.
TEST_F(TrapServerTest, DispatcherThatDiesInsteadOfAnsweringIsLogged) {
    dispatcher_->answering = [](const Octets&) { return std::nullopt; };
    std::vector<std::string> lines;
    std::thread caller([&lines] {
        const frame::LogCapture log;
        CTrapServer::NotifyNECreated("10.0.0.1", 5);
        lines = logged::lines(log);
    });
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
    dispatcher_.reset();
    caller.join();
    EXPECT_THAT(lines, testing::Contains(HasSubstr("no answer within 10 s")));
}

TEST_F(TrapServerTest, SingleTransferIsAListOfOne) {
    CTrapServer::NotifyNETransfer("10.0.0.1", 5);
    EXPECT_THAT(posted(), StartsWith("POST " + erase));
    EXPECT_THAT(posted(), StartsWith("POST " + regist));
    EXPECT_EQ(next(), "3ffba0 10.0.0.1");
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
}

TEST_F(TrapServerTest, BadStatusIsTracedAndTheDispatcherToldAllTheSame) {
    for (const int status : {302, 400, 404, 500}) {
        status_ = status;
        const frame::LogCapture log;
        CTrapServer::NotifyNETransfer("10.0.0.1", 5);
        EXPECT_THAT(traced(log),
                    testing::IsSupersetOf({"[TrapServerSendMsgForDelete] response status " + std::to_string(status),
                                           "[TrapServerSendMsgForRegist] response status " + std::to_string(status)}));
        EXPECT_EQ(next(), "3ffba0 10.0.0.1");
        EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
    }
}

TEST_F(TrapServerTest, FailedExchangeIsTracedAndTheDispatcherToldAllTheSame) {
    server_.reset();
    const frame::LogCapture log;
    CTrapServer::NotifyNETransfer("10.0.0.1", 5);
    EXPECT_THAT(traced(log),
                testing::IsSupersetOf({std::string("[TrapServerSendMsgForDelete] response result 1090724246"),
                                       std::string("[TrapServerSendMsgForRegist] response result 1090724246")}));
    EXPECT_EQ(next(), "3ffba0 10.0.0.1");
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
}

TEST_F(TrapServerTest, UntrustedServerIsAFailedExchange) {
    const support::Certificates certificates;
    const support::HttpServer untrusted([](const support::HttpRequest&) { return support::HttpAnswer{}; },
                                        certificates.selfSigned());
    frame::Config tls = config();
    tls.http.services = untrusted.url("");
    tls.http.caFile = certificates.authorityFile();
    start(tls);
    const frame::LogCapture log;
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    EXPECT_THAT(traced(log), testing::Contains("[TrapServerSendMsgForRegist] response result 1090724246"));
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
}

TEST_F(TrapServerTest, DatabaseThatIsDownHarmsNothing) {
    frame::Config withDatabase = config();
    withDatabase.database.url = "postgresql:host=/nowhere";
    start(withDatabase);
    CTrapServer::NotifyNECreated("10.0.0.1", 5);
    EXPECT_THAT(posted(), StartsWith("POST " + regist));
    EXPECT_EQ(next(), "3ffb9f 10.0.0.1,5");
}

TEST_F(TrapServerTest, OddAddressesPassAsTheyStand) {
    const std::string odd[] = {"a,b", "\"quoted\"", "\x01\x1b\n", "\xff\xfe", std::string(100'000, 'x')};
    for (const std::string& address : odd) {
        CTrapServer::NotifyNEDelete(address.c_str());
        EXPECT_NE(posted(), "nothing");
        EXPECT_EQ(next(), "3ffba0 " + address);
        CTrapServer::NotifyNECreated(address.c_str(), 1);
        EXPECT_NE(posted(), "nothing");
        EXPECT_EQ(next(), "3ffb9f " + address + ",1");
        CTrapServer::NotifyNETransfer(address.c_str(), 1);
        EXPECT_NE(posted(), "nothing");
        EXPECT_NE(posted(), "nothing");
        EXPECT_EQ(next(), "3ffba0 " + address);
        EXPECT_EQ(next(), "3ffb9f " + address + ",1");
    }
}

TEST_F(TrapServerTest, WithoutAProcessNothingIsSentAndNothingBreaks) {
    dispatcher_.reset();
    process_.reset();
    auto list = pairs({{"10.0.0.2", 3}});
    CTrapServer::NotifyNETransfer(list);
    EXPECT_TRUE(requests_.empty());
}

TEST_F(TrapServerTest, ManyAssignmentsPassWhole) {
    constexpr int count = 20'000;
    auto list = many::listOf(count);
    CTrapServer::NotifyNECreated(list);
    const std::string body = posted();
    EXPECT_EQ(std::count(body.begin(), body.end(), '{'), count);
    const std::string text = next();
    EXPECT_EQ(std::count(text.begin(), text.end(), ','), 2 * count - 1);
}
