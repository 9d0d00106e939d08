// Where candidates come from.
#include "ftpagent/sources.h"

#include "fixture.h"

namespace {

using NEC::FTPSvcInfo;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr bool oneWithout = true;
constexpr bool withAddresses = false;

class FtpSources : public WithFtpConfiguration {
protected:
    static std::string textOf(const FTPSvcInfo& service) {
        EXPECT_EQ(service.strPassword, password);
        EXPECT_EQ(service.iReserved, 0);
        EXPECT_EQ(service.iState, 0);
        return service.strUserName + '@' + service.strIP + ':' + std::to_string(service.iPort) + service.strFtpRoot;
    }
    static std::vector<std::string> textsOf(const std::list<FTPSvcInfo>& services) {
        std::vector<std::string> texts;
        for (const FTPSvcInfo& service : services) texts.push_back(textOf(service));
        return texts;
    }
    std::vector<std::string> fromParameters(std::uint32_t kind, bool noAddress = withAddresses) {
        services_.clear();
        EXPECT_EQ(NEC::GetFTPInfoFromDB(services_, kind, noAddress), 0);
        return textsOf(services_);
    }
    std::vector<std::string> fromAccounts(bool noAddress = withAddresses, std::uint32_t kind = NEC::customSftpService) {
        services_.clear();
        NEC::GetCUSTOMSFTPInfoFromDB(services_, kind, noAddress);
        return textsOf(services_);
    }

    std::list<FTPSvcInfo> services_;
};

TEST_F(FtpSources, EachSouthAddressIsACandidate) {
    startWithParameters("10.1.1.1;10.1.1.2");
    const frame::LogCapture log;
    EXPECT_THAT(fromParameters(NEC::sftpService),
                ElementsAre("nec@10.1.1.1:2222/ftp/root", "nec@10.1.1.2:2222/ftp/root"));
    EXPECT_THAT(logged::lines(log), ElementsAre("info GetFTPInfoFromDB getLocalSouthIP10.1.1.1;10.1.1.2",
                                                "info GetFTPInfoFromDB get ftp ip10.1.1.2"));
}

TEST_F(FtpSources, EmptyPartsOfTheSouthAddressAreSkippedAndNotLogged) {
    startWithParameters("10.1.1.1;;10.1.1.2;");
    const frame::LogCapture log;
    EXPECT_THAT(fromParameters(NEC::sftpService),
                ElementsAre("nec@10.1.1.1:2222/ftp/root", "nec@10.1.1.2:2222/ftp/root"));
    EXPECT_THAT(logged::lines(log), ElementsAre("info GetFTPInfoFromDB getLocalSouthIP10.1.1.1;;10.1.1.2;"));
}

TEST_F(FtpSources, SouthAddressesWithoutAnyAddressGiveNoCandidate) {
    for (const char* south : {"", ";", ";;"}) {
        startWithParameters(south);
        EXPECT_THAT(fromParameters(NEC::ftpService), IsEmpty()) << south;
        EXPECT_THAT(fromAccounts(), IsEmpty()) << south;
    }
}

TEST_F(FtpSources, OddSouthAddressesAreTakenAsTheyAre) {
    startWithParameters("a;;b;");
    EXPECT_THAT(fromParameters(NEC::ftpService), ElementsAre("nec@a:2121/ftp/root", "nec@b:2121/ftp/root"));
    startWithParameters(" %s ");
    EXPECT_THAT(fromParameters(NEC::ftpService), ElementsAre("nec@ %s :2121/ftp/root"));
}

TEST_F(FtpSources, FtpTakesTheFtpPortAndAllOthersTheSftpPort) {
    startWithParameters("10.1.1.1");
    EXPECT_THAT(fromParameters(NEC::ftpService), ElementsAre(HasSubstr(":2121/")));
    EXPECT_THAT(fromParameters(NEC::sftpService), ElementsAre(HasSubstr(":2222/")));
    EXPECT_THAT(fromParameters(NEC::customSftpService), ElementsAre(HasSubstr(":2222/")));
    EXPECT_THAT(fromParameters(0), ElementsAre(HasSubstr(":2222/")));
}

TEST_F(FtpSources, WithoutAddressThereIsOneCandidateAndNothingIsLookedUp) {
    startWithParameters("10.1.1.1;10.1.1.2");
    const frame::LogCapture log;
    EXPECT_THAT(fromParameters(NEC::ftpService, oneWithout), ElementsAre("nec@:2121/ftp/root"));
    addAccount("Local SFTP Account", "/data", "pnp");
    EXPECT_THAT(fromAccounts(oneWithout), ElementsAre("local@:2022/data/pnp"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FtpSources, CandidatesAreAppended) {
    startWithParameters("10.1.1.1");
    services_.emplace_back();
    EXPECT_EQ(NEC::GetFTPInfoFromDB(services_, NEC::ftpService, withAddresses), 0);
    NEC::GetCUSTOMSFTPInfoFromDB(services_, NEC::customSftpService, withAddresses);
    EXPECT_EQ(services_.size(), 3U);
    EXPECT_EQ(services_.front().iPort, -1);
}

TEST_F(FtpSources, WithoutADatabaseThereIsNoConfiguration) {
    const frame::LogCapture log;
    EXPECT_EQ(NEC::GetFTPInfoFromDB(services_, NEC::ftpService, withAddresses), -2);
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(services_, IsEmpty());
}

TEST_F(FtpSources, ParametersThatCannotBeReadAreReportedWithTheirCode) {
    start("10.1.1.1");
    const frame::LogCapture log;
    EXPECT_EQ(NEC::GetFTPInfoFromDB(services_, NEC::ftpService, withAddresses), -1);
    EXPECT_EQ(logged::lines(log).back(),
              "error 3  [GetFTPInfoFromDB]FTPConfigure::instance()->getFtpPara, errcode = 3");
    EXPECT_THAT(services_, IsEmpty());
}

TEST_F(FtpSources, LocalSftpAccountHasItsOwnPortWhateverTheKind) {
    startWithParameters("10.1.1.1;10.1.1.2");
    addAccount("Local SFTP Account", "/data", "pnp");
    const frame::LogCapture log;
    for (const std::uint32_t kind : {NEC::ftpService, NEC::sftpService, NEC::customSftpService})
        EXPECT_THAT(fromAccounts(withAddresses, kind),
                    ElementsAre("local@10.1.1.1:2022/data/pnp", "local@10.1.1.2:2022/data/pnp"));
    const std::string line = "info GetCUSTOMSFTPInfoFromDB getLocalSouthIP: 10.1.1.1;10.1.1.2";
    EXPECT_THAT(logged::lines(log), ElementsAre(line, line, line));
}

TEST_F(FtpSources, LastOfSeveralLocalSftpAccountsIsTaken) {
    startWithParameters("10.1.1.1");
    addAccount("Local SFTP Account", "/first", "a", "first", 1);
    addAccount("another", "/other", "b", "other", 2);
    addAccount("Local SFTP Account", "/last", "c", "last", 3);
    addAccount("local sftp account", "/lower", "d", "lower", 4);
    EXPECT_THAT(fromAccounts(), ElementsAre("last@10.1.1.1:3/last/c"));
}

TEST_F(FtpSources, HomeAndRelativeDirectoryAreJoinedWithOneSlash) {
    const std::vector<std::vector<std::string>> cases{{"/data/", "pnp", "/data/pnp"},
                                                      {"/data", "pnp", "/data/pnp"},
                                                      {"", "pnp", "/pnp"},
                                                      {"", "", "/"},
                                                      {"/", "pnp", "/pnp"},
                                                      {"/data", "", "/data/"},
                                                      {"/", "", "/"},
                                                      {"/a b'", "/c\"%s", "/a b'//c\"%s"}};
    for (const auto& directories : cases) {
        startWithParameters("10.1.1.1");
        addAccount("Local SFTP Account", directories[0], directories[1]);
        EXPECT_THAT(fromAccounts(), ElementsAre("local@10.1.1.1:2022" + directories[2]));
    }
}

TEST_F(FtpSources, WithoutTheLocalSftpAccountTheParametersAreTaken) {
    startWithParameters("10.1.1.1");
    const frame::LogCapture log;
    EXPECT_THAT(fromAccounts(), ElementsAre("nec@10.1.1.1:2222/ftp/root"));
    addAccount("Local SFTP account", "/data", "pnp");
    EXPECT_THAT(fromAccounts(), ElementsAre("nec@10.1.1.1:2222/ftp/root"));
    EXPECT_THAT(fromAccounts(oneWithout, NEC::ftpService), ElementsAre("nec@:2121/ftp/root"));
    EXPECT_THAT(logged::lines(log), Each(testing::StartsWith("info GetFTPInfoFromDB ")));
}

TEST_F(FtpSources, PasswordIsNotLogged) {
    startWithParameters("10.1.1.1");
    addAccount("Local SFTP Account", "/data", "pnp");
    const frame::LogCapture log;
    fromParameters(NEC::ftpService);
    fromAccounts();
    EXPECT_THAT(logged::lines(log), Not(Contains(HasSubstr("s3cret"))));
}

}  // namespace
