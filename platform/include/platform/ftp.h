// The FTP configuration: parameters of the whole system, and accounts that users maintain. It lives in the process's
// database. All operations may be called from any thread; they block while the database is read, with the bounds that
// db.h tells, and throw std::bad_alloc only. Why something cannot be read is logged as an error, but not that the
// process has no database.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "platform/export.h"

namespace TESUcommon {

// The parameters of the whole system. The password is an opaque value, as the operator gave it.
struct FTPPara {
    std::string userName;
    std::string password;  // whoever has it wipes it, see secure.h
    std::string rootDirectory;
    std::int32_t ftpPort = -1;   // 1 to 65535
    std::int32_t sftpPort = -1;  // 1 to 65535
};

// Results of reading the configuration.
enum FTPCode : int {
    ftpRead = 0,
    ftpNoDatabase = 1,   // none is configured, or it cannot be used: repair it, or try again
    ftpOtherSchema = 2,  // the database has no schema, or one of another version: see necctl db
    ftpNotSet = 3,       // no parameters have been set: see necctl ftp params
};

class FRAME_API FTPConfigure {
public:
    // Null while the program has no process with a database. A pointer taken earlier stays valid.
    static FTPConfigure* instance();

    // Fills `para` and returns 0; or returns an FTPCode, with `para` as it was.
    int getFtpPara(FTPPara& para);

private:
    FTPConfigure() = default;
};

}  // namespace TESUcommon

// One account that users maintain. Names need not differ.
struct FTPAccountInfo {
    std::string accountName;
    std::string userName;
    std::string password;  // as that of the parameters
    std::int32_t port = -1;
    std::string homeDirectory;
    std::string relativeDirectory;  // below the home directory
};

class FRAME_API FTPAccountIF {
public:
    // Replaces what is in `accounts` by all accounts, in the order in which they were added. `withoutPasswords`: leaves
    // the passwords empty, for those who only show accounts. Returns 0; or a TESUcommon::FTPCode, with an empty list.
    static int GetAllFTPAccountInfo(std::list<FTPAccountInfo>& accounts, bool withoutPasswords);
};
