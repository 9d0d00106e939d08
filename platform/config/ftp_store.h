// The FTP configuration in the process's database, read and written. All operations throw FtpError; those that write
// throw std::invalid_argument as well for values that are none: the text names the value and what was expected.
#pragma once

#include <cstddef>
#include <list>
#include <stdexcept>
#include <string>

#include "platform/ftp.h"

namespace frame {

// The longest text of the configuration, in octets.
inline constexpr std::size_t longestFtpText = 4096;

// Why the configuration cannot be read or written; without a password.
class FtpError : public std::runtime_error {
public:
    FtpError(TESUcommon::FTPCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
    TESUcommon::FTPCode code() const { return code_; }

private:
    const TESUcommon::FTPCode code_;
};

// Fills `para`, which stays as it was when this throws.
void readFtpParameters(TESUcommon::FTPPara& para);
void setFtpParameters(const TESUcommon::FTPPara& para);

// Appends all accounts to `accounts`, which is as it was when this throws.
void readFtpAccounts(std::list<FTPAccountInfo>& accounts, bool withoutPasswords);
// Behind those that there are. Its name may be another's too.
void addFtpAccount(const FTPAccountInfo& account);
// All that have this name; returns their number.
std::size_t removeFtpAccounts(const std::string& accountName);

}  // namespace frame
