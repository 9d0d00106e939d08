// The operations that servers read the FTP configuration with.
#include "platform/ftp.h"

#include "config/ftp_store.h"
#include "platform/db.h"
#include "platform/log.h"

namespace {

int reported(const frame::FtpError& error, const char* function) {
    LogProcess::Error(static_cast<std::uint32_t>(error.code()),
                      std::string("the FTP configuration cannot be read: ") + error.what(),
                      {__FILE__, function, __LINE__});
    return error.code();
}

}  // namespace

TESUcommon::FTPConfigure* TESUcommon::FTPConfigure::instance() {
    static FTPConfigure single;
    return frame::databaseConfigured() ? &single : nullptr;
}

int TESUcommon::FTPConfigure::getFtpPara(FTPPara& para) try {
    frame::readFtpParameters(para);
    return ftpRead;
} catch (const frame::FtpError& error) {
    return reported(error, "getFtpPara");
}

int FTPAccountIF::GetAllFTPAccountInfo(std::list<FTPAccountInfo>& accounts, bool withoutPasswords) try {
    accounts.clear();
    if (!frame::databaseConfigured()) return TESUcommon::ftpNoDatabase;  // there is nothing to report
    frame::readFtpAccounts(accounts, withoutPasswords);
    return TESUcommon::ftpRead;
} catch (const frame::FtpError& error) {
    return reported(error, "GetAllFTPAccountInfo");
}
