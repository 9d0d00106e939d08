// The three operations, with a real database, a management centre on a real bus and real descriptions.
#include <thread>

#include "fixture.h"
#include "nec/ftpagent.h"
#include "platform/sysconfig.h"
#include "support/gate.h"

namespace {

using NEC::FTPAgent;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* ne = "10.2.3.4";
constexpr bool all = true;
constexpr bool one = false;

const std::string silentCentre = "trace [GetNmsIPByNEIPFromMC] send message to MC failure, iRet = 1";

class FtpAgent : public WithFtpConfiguration {
protected:
    FtpAgent() {
        svc_.strUserName = "before";
        svc_.strPassword = "before";
        svc_.iState = 77;
    }

    // The answer to one question, as text: "CODE USER@ADDRESS:PORT ROOT".
    std::string ask(bool multiAddress = one, const char* neIP = ne,
                    int (*operation)(NEC::FTPSvcInfo&, const char*, bool) = &FTPAgent::GetSFTPSvcByNEIP) {
        const frame::LogCapture log;
        const int code = operation(svc_, neIP, multiAddress);
        lines_ = logged::lines(log);
        EXPECT_THAT(lines_, Not(Contains(HasSubstr("s3cret"))));
        return std::to_string(code) + ' ' + svc_.strUserName + '@' + svc_.strIP + ':' + std::to_string(svc_.iPort) +
               ' ' + svc_.strFtpRoot;
    }
    void expectUntouched() const {
        EXPECT_EQ(svc_.strUserName, "before");
        EXPECT_EQ(svc_.strPassword, "before");
        EXPECT_EQ(svc_.strIP, "");
        EXPECT_EQ(svc_.iPort, -1);
        EXPECT_EQ(svc_.iState, 77);
    }
    bool checkedADirectory() const { return testing::Value(lines_, Contains(HasSubstr("[CDirectoryMgr::"))); }

    NEC::FTPSvcInfo svc_;
    std::vector<std::string> lines_;
};

TEST_F(FtpAgent, ServiceOnThisHostIsChosenAndItsDirectoryChecked) {
    startWithParameters("10.9.9.9;10.1.1.1", {"10.1.1.1", "10.1.1.2"});
    centreKnows({});
    EXPECT_EQ(ask(), "0 nec@10.1.1.1:2222 /ftp/root");
    EXPECT_EQ(svc_.strPassword, password);
    EXPECT_EQ(svc_.iState, 0);
    EXPECT_EQ(svc_.iReserved, 0);
    ASSERT_EQ(lines_.size(), 9U);
    lines_.erase(lines_.begin() + 4);  // that there is no description of the load balancer
    EXPECT_THAT(lines_,
                ElementsAre("info GetFTPInfoFromDB getLocalSouthIP10.9.9.9;10.1.1.1",
                            "info GetFTPInfoFromDB get ftp ip10.1.1.1", "trace [GetFtpInfoFromFtpWatcher] GetAllIP: 2",
                            "info GetFtpInfoFromFtpWatcher 10.1.1.1",
                            "trace [GetFtpInfoFromFtpWatcher1] no support or no found LVS, errCode = -1, 0",
                            "trace [CDirectoryMgr::CDAction] strCmd = cd /ftp/root",
                            "trace [CDirectoryMgr::CDAction] cd /ftp/root failed, status = 512",
                            "trace [CDirectoryMgr::CDDir] cd directory failure, ret = -1, path = /ftp/root"));
}

TEST_F(FtpAgent, EachOperationHasItsKind) {
    startWithParameters("10.1.1.1", {"10.1.1.1", "10.1.1.2"});
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetFTPSvcByNEIP), "0 nec@10.1.1.1:2121 /ftp/root");
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetSFTPSvcByNEIP), "0 nec@10.1.1.1:2222 /ftp/root");
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetCustomSFTPSvcByNEIP), "0 nec@10.1.1.1:2222 /ftp/root");
    addAccount("Local SFTP Account", "/data/", "pnp");
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetSFTPSvcByNEIP), "0 nec@10.1.1.1:2222 /ftp/root");
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetCustomSFTPSvcByNEIP), "0 local@10.1.1.1:2022 /data/pnp");
}

TEST_F(FtpAgent, WithoutConfigurationThereIsNoService) {
    EXPECT_EQ(ask(), "-1 before@:-1 ");
    expectUntouched();
    EXPECT_THAT(lines_, ElementsAre("trace [GetFtpInfoFromFtpWatcher] the size of lstFtpInfo is 0"));
    start("10.1.1.1");
    EXPECT_EQ(ask(one, ne, &FTPAgent::GetCustomSFTPSvcByNEIP), "-1 before@:-1 ");
    expectUntouched();
    startWithParameters(";;");
    EXPECT_EQ(ask(), "-1 before@:-1 ");
    EXPECT_EQ(lines_.back(), "trace [GetFtpInfoFromFtpWatcher] the size of lstFtpInfo is 0");
}

TEST_F(FtpAgent, AllNmsAddressesAreJoinedAndNothingIsChosen) {
    startWithParameters("10.1.1.1;10.1.1.2");
    centreKnows({{"10.0.0.1", ""}, {"", ""}, {"10.0.0.2", "1.2.3.4"}});
    EXPECT_EQ(ask(all), "0 nec@10.0.0.1,10.0.0.2:2222 /ftp/root");
    EXPECT_EQ(svc_.strPassword, password);
    EXPECT_EQ(svc_.iState, 0);
    EXPECT_THAT(lines_, ElementsAre("trace [GetFtpInfoFromFtpWatcher] GetAllIP: 1"));
}

TEST_F(FtpAgent, WithoutNmsAddressesTheJoinedTextIsEmpty) {
    startWithParameters("10.1.1.1");
    svc_.strIP = "before";
    centreKnows({});
    EXPECT_EQ(ask(all), "0 nec@:2222 /ftp/root");
    centreKnows({{"", "1.2.3.4"}});
    EXPECT_EQ(ask(all), "0 nec@:2222 /ftp/root");
    EXPECT_FALSE(checkedADirectory());
}

TEST_F(FtpAgent, OneHostAddressAndOneServiceGoTogether) {
    startWithParameters("0.0.0.0", {"10.1.1.7"});
    centreKnows({});
    EXPECT_EQ(ask(), "0 nec@10.1.1.7:2222 /ftp/root");
    EXPECT_EQ(lines_.back(), "trace [GetFtpInfoFromFtpWatcher0] no support or no found LVS, errCode = -1, 0");
    EXPECT_FALSE(checkedADirectory());
    balanced(vip("172.16.0.9", "10.2.0.0", "255.255.0.0"));
    EXPECT_EQ(ask(), "0 nec@172.16.0.9:2222 /ftp/root");
    EXPECT_EQ(lines_.back(), "trace [IsSameSub0] is same sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0");
    EXPECT_EQ(ask(one, "10.3.3.4"), "0 nec@10.1.1.7:2222 /ftp/root");
    EXPECT_EQ(lines_.back(), "trace [IsSameSub0] diff sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0");
}

TEST_F(FtpAgent, UnroutableServiceOfARegisteredNeLeavesTheRecordAsItWas) {
    startWithParameters("0.0.0.0");
    centreKnows({{"0.0.0.0", ""}});
    EXPECT_EQ(ask(), "0 before@:-1 ");
    expectUntouched();
    EXPECT_EQ(lines_.back(), "trace [GetFtpInfoFromFtpWatcher] IP: 0.0.0.0 ");
}

TEST_F(FtpAgent, UnroutableServicesAreLeftOut) {
    startWithParameters("0.0.0.0;10.1.1.2;0.0.0.0", {"10.1.1.1", "0.0.0.0"});
    EXPECT_EQ(ask(), "0 nec@10.1.1.2:2222 /ftp/root");
    EXPECT_EQ(std::count(lines_.begin(), lines_.end(), "trace [GetFtpInfoFromFtpWatcher] IP: 0.0.0.0 "), 2);
}

TEST_F(FtpAgent, ServiceOfAnotherHostIsTakenWhenThisHostHasNone) {
    startWithParameters("10.9.9.1;10.9.9.2", {"10.1.1.1"});
    EXPECT_EQ(ask(), "0 nec@10.9.9.1:2222 /ftp/root");
    EXPECT_THAT(lines_, Contains(silentCentre));
    centreKnows({{"10.9.9.2", ""}});
    EXPECT_EQ(ask(), "0 nec@10.9.9.2:2222 /ftp/root");
    EXPECT_THAT(lines_, Not(Contains(HasSubstr("[GetFtpInfoFromFtpWatcher1]"))));
}

TEST_F(FtpAgent, RegisteredNeGetsTheNatAddress) {
    startWithParameters("10.1.1.1;10.1.1.2", {"10.1.1.1", "10.1.1.2"});
    centreKnows({{"10.1.1.2", "203.0.113.7"}});
    balanced(vip("172.16.0.9", "10.2.0.0", "255.255.0.0"));
    EXPECT_EQ(ask(), "0 nec@203.0.113.7:2222 /ftp/root");
    EXPECT_THAT(lines_, Not(Contains(HasSubstr("IsSameSub"))));
    EXPECT_TRUE(checkedADirectory());
}

TEST_F(FtpAgent, NeThatReachesNoServiceGetsTheCode) {
    startWithParameters("10.1.1.1;10.1.1.2");
    centreKnows({{"10.5.5.5", ""}});
    EXPECT_EQ(ask(), "-1 before@:-1 ");
    expectUntouched();
    EXPECT_FALSE(checkedADirectory());
}

TEST_F(FtpAgent, LastOfSeveralVirtualAddressesIsTaken) {
    startWithParameters("10.1.1.1;10.1.1.2", {"10.1.1.2", "10.1.1.3"});
    balanced(vip("172.16.0.9", "10.2.0.0", "255.255.0.0") + "," + vip("172.16.0.1", "10.0.0.0", "255.0.0.0") + "," +
             vip("172.16.0.99", "10.3.0.0", "255.255.0.0"));
    EXPECT_EQ(ask(), "0 nec@172.16.0.9:2222 /ftp/root");
    EXPECT_THAT(
        lines_,
        AllOf(Contains("trace [IsSameSub1] is same sub, vip = 172.16.0.1, mask = 255.0.0.0, target = 10.0.0.0"),
              Contains("trace [IsSameSub1] is same sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0"),
              Contains("trace [IsSameSub1] diff sub, vip = 172.16.0.99, mask = 255.255.0.0, target = 10.3.0.0")));
}

TEST_F(FtpAgent, NetworksOfAVirtualAddressAreComparedInTheirOrder) {
    const std::vector<std::string> compared{"is same sub, vip = 172.16.0.1, mask = 255.0.0.0, target = 10.0.0.0",
                                            "diff sub, vip = 172.16.0.1, mask = 255.255.0.0, target = 10.9.0.0",
                                            "is same sub, vip = 172.16.0.1, mask = 255.255.255.0, target = 10.2.3.0",
                                            "diff sub, vip = 172.16.0.5, mask = 255.255.0.0, target = 10.8.0.0",
                                            "is same sub, vip = 172.16.0.5, mask = 255.255.0.0, target = 10.2.0.0",
                                            "diff sub, vip = 172.16.0.5, mask = 255.255.0.0, target = 10.1.0.0",
                                            "diff sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.7.0.0",
                                            "diff sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.3.0.0"};
    balanced(
        vip("172.16.0.9", {{"10.7.0.0", "255.255.0.0"}, {"10.3.0.0", "255.255.0.0"}}) + "," +
        vip("172.16.0.5", {{"10.8.0.0", "255.255.0.0"}, {"10.2.0.0", "255.255.0.0"}, {"10.1.0.0", "255.255.0.0"}}) +
        "," +
        vip("172.16.0.1", {{"10.0.0.0", "255.0.0.0"}, {"10.9.0.0", "255.255.0.0"}, {"10.2.3.0", "255.255.255.0"}}));
    const std::vector<std::string> south{"10.1.1.1", "10.1.1.1;10.1.1.2"};
    for (std::size_t tag = 0; tag < south.size(); ++tag) {
        startWithParameters(south[tag]);
        EXPECT_EQ(ask(), "0 nec@172.16.0.5:2222 /ftp/root");
        std::vector<std::string> expected(compared);
        for (std::string& line : expected) line.insert(0, "trace [IsSameSub" + std::to_string(tag) + "] ");
        std::erase_if(lines_, [](const std::string& line) { return !line.starts_with("trace [IsSameSub"); });
        EXPECT_EQ(lines_, expected);
    }
}

TEST_F(FtpAgent, AddressOfTheNeThatIsNullIsNowhere) {
    startWithParameters("10.1.1.1;10.1.1.2", {"10.1.1.1", "10.1.1.2"});
    centreKnows({{"10.1.1.2", ""}});
    balanced(vip("172.16.0.9", "0.0.0.0", "0.0.0.0"));
    EXPECT_EQ(ask(one, nullptr), "0 nec@10.1.1.1:2222 /ftp/root");
    EXPECT_THAT(lines_, Contains("trace [GetNmsIPByNEIPFromMC] neIP is NULL"));
    EXPECT_THAT(lines_, Contains("trace [IsSameSub1] diff sub, vip = 172.16.0.9, mask = 0.0.0.0, target = 0.0.0.0"));
    EXPECT_EQ(ask(all, nullptr), "0 nec@:2222 /ftp/root");
}

TEST_F(FtpAgent, AddressOfTheNeThatIsNoneIsToldWhereItIsCompared) {
    startWithParameters("10.1.1.1;10.1.1.2");
    balanced(vip("172.16.0.9", "10.2.0.0", "255.255.0.0"));
    EXPECT_THROW(ask(one, "x.y"), std::invalid_argument);
    EXPECT_THROW(ask(one, "99999999999.1.1.1"), std::out_of_range);
}

TEST_F(FtpAgent, RubbishOfTheCentreCountsAsSilence) {
    startWithParameters("10.1.1.1");
    for (const char* rubbish : {"", "rubbish", "\x30\x80", "\x30\x84\x7f\xff\xff\xff"}) {
        centreSays(frame::Payload(std::string_view(rubbish)));
        EXPECT_EQ(ask(), "0 nec@10.1.1.1:2222 /ftp/root");
        EXPECT_EQ(ask(all), "0 nec@:2222 /ftp/root");
    }
}

TEST_F(FtpAgent, LateAnswerOfTheCentreIsWaitedForAndUsed) {
    startWithParameters("10.1.1.1;10.1.1.2");
    support::Gate asked;
    support::Gate late;
    centreDoes([&](const frame::RequestMessage&) {
        asked.open();
        EXPECT_TRUE(late.pass());
        return answerWith({{"10.1.1.1", "203.0.113.7"}});
    });
    std::thread asking([this] { EXPECT_EQ(ask(), "0 nec@203.0.113.7:2222 /ftp/root"); });
    EXPECT_TRUE(asked.pass());
    late.open();
    asking.join();
    EXPECT_THAT(lines_, Not(Contains(HasSubstr("to MC failure"))));
}

TEST_F(FtpAgent, CentreThatNeverAnswersIsTakenForSilentWhenTheProcessGoes) {
    for (const bool multiAddress : {one, all}) {
        startWithParameters("10.1.1.1;10.1.1.2");
        support::Gate asked;
        support::Gate leave;
        centreDoes([&](const frame::RequestMessage&) {
            asked.open();
            EXPECT_TRUE(leave.pass());
            return answerWith({{"10.1.1.1", "203.0.113.7"}});
        });
        std::thread asking([this, multiAddress] {
            EXPECT_EQ(ask(multiAddress), multiAddress ? "0 nec@:2222 /ftp/root" : "0 nec@10.1.1.1:2222 /ftp/root");
        });
        EXPECT_TRUE(asked.pass());
        processGoes();
        asking.join();
        EXPECT_THAT(lines_, Contains("trace [GetNmsIPByNEIPFromMC] send message to MC failure, iRet = 4"));
        leave.open();
        stop();
    }
}

TEST_F(FtpAgent, WithoutConfiguredHostAddressesThoseOfTheInterfacesCount) {
    startWithParameters("10.255.254.253;10.255.254.252", {});
    std::list<std::string> addresses;
    const int count = FrameUtil::GetAllIP(addresses);
    EXPECT_EQ(ask(), "0 nec@10.255.254.253:2222 /ftp/root");
    EXPECT_THAT(lines_, Contains("trace [GetFtpInfoFromFtpWatcher] GetAllIP: " + std::to_string(count)));
}

TEST_F(FtpAgent, RootDirectoriesAreNeverReadAsAFormatOrByAShell) {
    for (const char* root : {"/a b", "/100%s%n", "/it's", "/\"quoted\"", "/a;touch b", "/a\ntouch b", "", "\\"}) {
        start("10.1.1.1", {"10.1.1.1", "10.1.1.2"});
        frame::setFtpParameters({"nec", password, root, 21, 22});
        EXPECT_EQ(ask(), std::string("0 nec@10.1.1.1:22 ") + root);
        EXPECT_THAT(lines_, Contains("trace [CDirectoryMgr::CDAction] strCmd = cd " + std::string(root)));
    }
}

TEST_F(FtpAgent, ManyThreadsAskAtOnce) {
    startWithParameters("10.1.1.1;10.1.1.2", {"10.1.1.2", "10.1.1.3"});
    centreKnows({{"10.1.1.2", "203.0.113.7"}});
    std::vector<std::thread> threads;
    threads.reserve(6);
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 5; ++n) {
                NEC::FTPSvcInfo svc;
                EXPECT_EQ(FTPAgent::GetSFTPSvcByNEIP(svc, ne, one), 0);
                EXPECT_EQ(svc.strIP, "203.0.113.7");
            }
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
