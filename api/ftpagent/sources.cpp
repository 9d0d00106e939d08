#include "ftpagent/sources.h"

#include <string_view>

#include "platform/ftp.h"
#include "platform/log.h"
#include "platform/secure.h"
#include "platform/sysconfig.h"
#include "support/location.h"

namespace NEC {

namespace {

constexpr const char* customAccount = "Local SFTP Account";

// Wipes a password when the work with it ends, however it ends.
class Wiped {
public:
    explicit Wiped(std::string& password) : password_(password) {}
    ~Wiped() { FrameUtil::ClearPasswd(password_); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

private:
    std::string& password_;
};

class Accounts {
public:
    Accounts() { FTPAccountIF::GetAllFTPAccountInfo(all_, false); }
    ~Accounts() {
        for (FTPAccountInfo& account : all_) FrameUtil::ClearPasswd(account.password);
    }
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    // The last one of that name; null when there is none.
    const FTPAccountInfo* lastOf(std::string_view name) const {
        const FTPAccountInfo* found = nullptr;
        for (const FTPAccountInfo& account : all_)
            if (account.accountName == name) found = &account;
        return found;
    }

private:
    std::list<FTPAccountInfo> all_;
};

FTPSvcInfo usableService() {
    FTPSvcInfo service;
    service.iReserved = 0;
    service.iState = 0;
    return service;
}

void append(std::list<FTPSvcInfo>& services, FTPSvcInfo& service, std::string_view address) {
    service.strIP = address;
    services.push_back(service);
}

// Appends a candidate for each address that a ";" ends, and returns what stands behind the last one.
std::string_view appendEnded(std::list<FTPSvcInfo>& services, FTPSvcInfo& service, std::string_view addresses) {
    for (std::size_t end = addresses.find(';'); end != std::string_view::npos; end = addresses.find(';')) {
        if (end != 0) append(services, service, addresses.substr(0, end));
        addresses.remove_prefix(end + 1);
    }
    return addresses;
}

std::string pathOf(const std::string& home, const std::string& relative) {
    const bool separated = !home.empty() && home.back() == '/';
    return home + (separated ? "" : "/") + relative;
}

}  // namespace

int GetFTPInfoFromDB(std::list<FTPSvcInfo>& services, std::uint32_t kind, bool noAddress) {
    FTPSvcInfo service = usableService();
    TESUcommon::FTPConfigure* configure = TESUcommon::FTPConfigure::instance();
    if (configure == nullptr) return -2;
    TESUcommon::FTPPara para;
    const Wiped paraWiped(para.password);
    const Wiped serviceWiped(service.strPassword);
    if (const int code = configure->getFtpPara(para); code != 0) {
        FrameUtil::TraceError(code, "[GetFTPInfoFromDB]FTPConfigure::instance()->getFtpPara, errcode = %d", code);
        return -1;
    }
    service.strUserName = para.userName;
    service.strPassword = para.password;
    service.strFtpRoot = para.rootDirectory;
    service.iPort = kind == ftpService ? para.ftpPort : para.sftpPort;
    if (noAddress) {
        append(services, service, "");
        return 0;
    }
    const std::string addresses = TESUcommonWrap::SysConfigure().getLocalSouthIP();
    LogProcess::Info("getLocalSouthIP" + addresses, here("GetFTPInfoFromDB"));
    const std::string_view last = appendEnded(services, service, addresses);
    if (!last.empty()) {
        LogProcess::Info("get ftp ip" + std::string(last), here("GetFTPInfoFromDB"));
        append(services, service, last);
    }
    return 0;
}

void GetCUSTOMSFTPInfoFromDB(std::list<FTPSvcInfo>& services, std::uint32_t kind, bool noAddress) {
    FTPSvcInfo service = usableService();
    const Accounts accounts;
    const Wiped serviceWiped(service.strPassword);
    const FTPAccountInfo* account = accounts.lastOf(customAccount);
    if (account == nullptr) {
        GetFTPInfoFromDB(services, kind, noAddress);
        return;
    }
    service.strUserName = account->userName;
    service.strPassword = account->password;
    service.strFtpRoot = pathOf(account->homeDirectory, account->relativeDirectory);
    service.iPort = account->port;
    if (noAddress) {
        append(services, service, "");
        return;
    }
    const std::string addresses = TESUcommonWrap::SysConfigure().getLocalSouthIP();
    LogProcess::Info("getLocalSouthIP: " + addresses, here("GetCUSTOMSFTPInfoFromDB"));
    const std::string_view last = appendEnded(services, service, addresses);
    if (!last.empty()) append(services, service, last);
}

}  // namespace NEC
