// The FTP configuration in a database that holds the schema.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "config/ftp_store.h"
#include "db/schema.h"
#include "platform/db.h"
#include "support/database.h"
#include "support/logged.h"

namespace ftp_test {

inline constexpr std::chrono::minutes longEnough{1};

inline TESUcommon::FTPPara somePara() {
    return {"user", "s3cret", "/ftp", 21, 22};
}
inline FTPAccountInfo someAccount(const std::string& name = "account") {
    return {name, "user", "s3cret", 2222, "/home", "relative"};
}

inline auto valuesOf(const TESUcommon::FTPPara& para) {
    return std::tie(para.userName, para.password, para.rootDirectory, para.ftpPort, para.sftpPort);
}
inline auto valuesOf(const FTPAccountInfo& account) {
    return std::tie(account.accountName, account.userName, account.password, account.port, account.homeDirectory,
                    account.relativeDirectory);
}

inline void execute(const std::string& statement) {
    dao::CSqlSession session;
    session.connection() << statement;
}

inline void migrate() {
    dao::CSqlSession session;
    frame::schema().migrate(session.connection());
}

// What was read, and what was logged meanwhile.
struct ReadPara {
    int code;
    TESUcommon::FTPPara para;
    std::vector<std::string> log;
};
inline ReadPara readPara() {
    const frame::LogCapture log;
    ReadPara read{-1, {"old user", "old password", "old root", 1, 2}, {}};
    read.code = TESUcommon::FTPConfigure::instance()->getFtpPara(read.para);
    read.log = logged::lines(log);
    return read;
}

// `log`: what errors must say.
inline void expectParaUnreadable(TESUcommon::FTPCode code, const std::string& text) {
    const ReadPara read = readPara();
    EXPECT_EQ(read.code, code);
    EXPECT_EQ(valuesOf(read.para), valuesOf(TESUcommon::FTPPara{"old user", "old password", "old root", 1, 2}));
    EXPECT_THAT(read.log, testing::ElementsAre(testing::AllOf(
                              testing::StartsWith("error " + std::to_string(code) + " getFtpPara the FTP "),
                              testing::HasSubstr(text))));
}

inline void expectAccountsUnreadable(TESUcommon::FTPCode code, const std::string& text) {
    const frame::LogCapture log;
    std::list<FTPAccountInfo> accounts{someAccount()};
    EXPECT_EQ(FTPAccountIF::GetAllFTPAccountInfo(accounts, false), code);
    EXPECT_TRUE(accounts.empty());
    EXPECT_THAT(logged::lines(log),
                testing::ElementsAre(testing::AllOf(
                    testing::StartsWith("error " + std::to_string(code) + " GetAllFTPAccountInfo the FTP "),
                    testing::HasSubstr(text))));
}

inline void expectUnreadable(TESUcommon::FTPCode code, const std::string& text) {
    expectParaUnreadable(code, text);
    expectAccountsUnreadable(code, text);
}

// What `write` throws must have this code and this text, and show no password.
template <class Write>
void expectNotWritten(TESUcommon::FTPCode code, const std::string& text, Write write) {
    try {
        write();
        ADD_FAILURE() << "written";
    } catch (const frame::FtpError& error) {
        EXPECT_EQ(error.code(), code);
        EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr(text), testing::Not(testing::HasSubstr("s3cret"))));
    }
}

inline void expectUnwritable(TESUcommon::FTPCode code, const std::string& text) {
    expectNotWritten(code, text, [] { frame::setFtpParameters(somePara()); });
    expectNotWritten(code, text, [] { frame::addFtpAccount(someAccount()); });
    expectNotWritten(code, text, [] { frame::removeFtpAccounts("account"); });
}

inline std::list<FTPAccountInfo> accounts(bool withoutPasswords = false) {
    std::list<FTPAccountInfo> all{someAccount("old")};
    EXPECT_EQ(FTPAccountIF::GetAllFTPAccountInfo(all, withoutPasswords), 0);
    return all;
}
inline std::vector<std::string> accountNames() {
    std::vector<std::string> names;
    for (const FTPAccountInfo& account : accounts()) names.push_back(account.accountName);
    return names;
}

}  // namespace ftp_test
