// The choice among candidates in states that the sources never give.
#include "ftpagent/selection.h"

#include "fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Selection : public WithFtpConfiguration {
protected:
    void candidate(const std::string& address, int state) {
        NEC::FTPSvcInfo service;
        service.strUserName = "user of " + address;
        service.strIP = address;
        service.iReserved = 5;
        service.iPort = 6;
        service.iState = state;
        candidates_.push_back(service);
    }
    void registeredAt(const std::string& nmsIP) { nodes_.Append()->nmsIP = nmsIP; }
    int choose() {
        const frame::LogCapture log;
        const int code = NEC::selectService(svc_, &ne_, candidates_, {"10.1.1.1", "10.1.1.2"}, nodes_);
        lines_ = logged::lines(log);
        return code;
    }

    const std::string ne_ = "10.2.3.4";
    std::list<NEC::FTPSvcInfo> candidates_;
    asn_frame::AsnFrameNodeIPList nodes_;
    NEC::FTPSvcInfo svc_;
    std::vector<std::string> lines_;
};

TEST_F(Selection, UsableServiceIsPreferred) {
    candidate("10.1.1.1", 1);
    candidate("10.1.1.2", 0);
    registeredAt("10.1.1.1");
    registeredAt("10.1.1.2");
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "10.1.1.2");
    EXPECT_EQ(svc_.strUserName, "user of 10.1.1.2");
    EXPECT_EQ(svc_.iReserved, 5);
    EXPECT_EQ(svc_.iPort, 6);
    EXPECT_EQ(svc_.iState, 0);
    EXPECT_EQ(lines_.at(0), "trace [GetFtpInfoFromFtpWatcher] State of ftp server(10.1.1.1) is 1, continue.");
    EXPECT_EQ(lines_.at(1), "info GetFtpInfoFromFtpWatcher 10.1.1.2");
}

TEST_F(Selection, UnusableServiceIsTakenWhenNoUsableOneIsReached) {
    candidate("10.1.1.1", 1);
    candidate("10.1.1.2", 0);
    registeredAt("10.1.1.1");
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "10.1.1.1");
    EXPECT_EQ(svc_.iState, 1);
}

TEST_F(Selection, SecondPassLooksForVirtualAddressesUnderItsOwnName) {
    candidate("10.1.1.1", -1);
    EXPECT_EQ(choose(), 0);
    EXPECT_THAT(lines_, Contains("trace [GetFtpInfoFromFtpWatcher2] no support or no found LVS.,errCode = -1, 0"));
    balanced(vip("172.16.0.9", "10.2.0.0", "255.255.0.0") + "," + vip("172.16.0.8", "10.3.0.0", "255.255.0.0"));
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "172.16.0.9");
    EXPECT_THAT(lines_,
                Contains("trace [IsSameSub2] is same sub, vip = 172.16.0.9, mask = 255.255.0.0, target = 10.2.0.0"));
    EXPECT_THAT(lines_,
                Contains("trace [IsSameSub2] diff sub, vip = 172.16.0.8, mask = 255.255.0.0, target = 10.3.0.0"));
}

TEST_F(Selection, DescriptionWithoutVirtualAddressesIsNoSupport) {
    candidate("10.1.1.1", 0);
    balanced("");
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "10.1.1.1");
    EXPECT_THAT(lines_, Contains("trace [GetFtpInfoFromFtpWatcher1] no support or no found LVS, errCode = 0, 0"));
}

TEST_F(Selection, ServicesElsewhereAreTriedInTheirOrder) {
    candidate("10.9.9.1", 0);
    candidate("0.0.0.0", 0);
    candidate("10.9.9.2", 0);
    candidate("10.9.9.3", 0);
    registeredAt("10.9.9.3");
    registeredAt("10.9.9.2");
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "10.9.9.2");
}

TEST_F(Selection, ServicesElsewhereAreNotTriedWhenThisHostHasOne) {
    candidate("10.9.9.1", 0);
    candidate("10.1.1.2", 0);
    registeredAt("10.9.9.1");
    svc_.strIP = "before";
    EXPECT_EQ(choose(), -1);
    EXPECT_EQ(svc_.strIP, "before");
    EXPECT_THAT(lines_, Not(Contains(HasSubstr("CDirectoryMgr"))));
}

TEST_F(Selection, NoCandidateLeavesTheRecord) {
    candidate("0.0.0.0", 0);
    svc_.strIP = "before";
    EXPECT_EQ(choose(), 0);
    EXPECT_EQ(svc_.strIP, "before");
    EXPECT_THAT(lines_, ElementsAre("trace [GetFtpInfoFromFtpWatcher] IP: 0.0.0.0 "));
}

}  // namespace
