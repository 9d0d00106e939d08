// Where candidates come from: the system-wide FTP parameters, and the user-maintained SFTP account.
#pragma once

#include <cstdint>
#include <list>

#include "nec/ftpagent.h"

namespace NEC {

enum : std::uint32_t { ftpService = 1, sftpService = 2, customSftpService = 3 };

// Appends a candidate for each south address to `services`, or with `noAddress` one without an address. Returns 0; -1
// when the parameters cannot be read, -2 when there is no FTP configuration: then nothing is appended.
int GetFTPInfoFromDB(std::list<FTPSvcInfo>& services, std::uint32_t kind, bool noAddress);
// The same for the account "Local SFTP Account"; without one, GetFTPInfoFromDB.
void GetCUSTOMSFTPInfoFromDB(std::list<FTPSvcInfo>& services, std::uint32_t kind, bool noAddress);

}  // namespace NEC
