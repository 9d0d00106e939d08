// Choosing the FTP or SFTP service that a network element (NE) is to use for file transfer.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "nec/export.h"
#include "platform/secure.h"

namespace NEC {

// One file transfer service. The password is an opaque value, as the configuration holds it: never decoded, compared or
// logged. Where it goes from a record, by destruction or by assignment, each of its octets is overwritten with 0xCC.
class FTPSvcInfo {
public:
    NEC_API FTPSvcInfo();
    NEC_API ~FTPSvcInfo();
    FTPSvcInfo(const FTPSvcInfo&) = default;
    FTPSvcInfo& operator=(const FTPSvcInfo& other) {
        if (this == &other) return *this;
        wipePassword();
        strUserName = other.strUserName;
        strPassword = other.strPassword;
        strFtpRoot = other.strFtpRoot;
        strIP = other.strIP;
        iReserved = other.iReserved;
        iPort = other.iPort;
        iState = other.iState;
        return *this;
    }

    std::string strUserName;
    std::string strPassword;
    std::string strFtpRoot;  // root directory of the service, on the server's side
    std::string strIP;       // at which the NE reaches the service
    std::int32_t iReserved;  // no decision depends on it; -1 in a new record, as are the two below
    std::int32_t iPort;      // TCP
    std::int32_t iState;     // 0: usable

private:
    void wipePassword() {
        // Volatile: what nobody reads again would not be written otherwise.
        for (volatile char& octet : strPassword) octet = static_cast<char>(0xCC);
    }
};

// All three choose one service for the NE at `neIP`, an IPv4 address in dotted text. They ask the management centre at
// which of its addresses the NE is registered; a null `neIP`, which it is not asked for, stands for an NE that it knows
// nothing of, and is in no network that the load balancer serves.
//
// With `multiAddress` false, `svc.strIP` is the one address at which the NE reaches the service: an NMS or NAT address
// of the management centre's, a virtual address of the load balancer in front of this process, or the service's own
// address. A service on an address of this host is preferred. With true, nothing is chosen: `svc.strIP` is all NMS
// addresses that the centre holds for the NE, joined with ",", and empty when it holds none.
//
// Return 0, with `svc` filled; or, when all that is configured is the address "0.0.0.0", with `svc` as it was. Return
// -1 when no service is configured, or none can be had from the database (the log says why); and the code with which
// the address of the last service could not be resolved, which is -1 as well when the NE is registered at addresses
// where no service is: `svc` is then as it was.
//
// Block while the database is read (db.h tells how long), for up to 60 seconds while the management centre is asked,
// and, at each choice until a root directory has passed once, while the command "cd DIRECTORY" runs in a child process,
// however long that takes: its outcome changes nothing here. May be called from any thread, by any number at a time,
// while none changes the environment: PROCESS_NAME and APP_CONF_FILE are read, PATH is searched. The program must leave
// the signal SIGCHLD alone, as otherwise the outcome of the command is lost.
//
// Throw, when the load balancer's description is looked at: std::invalid_argument or std::out_of_range when a field of
// an address in it, or of `neIP`, is no number or too large a one; another std::exception when the description has
// members of wrong types or is nested too deep. Throw std::bad_alloc. `svc` may be changed then.
class FTPAgent {
public:
    // The system-wide parameters, with the FTP port.
    NEC_API static int GetFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress);
    // The same with the SFTP port.
    NEC_API static int GetSFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress);
    // The account named "Local SFTP Account", of several the last; when there is none, as GetSFTPSvcByNEIP.
    NEC_API static int GetCustomSFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress);
};

}  // namespace NEC

// A password in memory that wipes itself, for users of the record above. Used by one thread at a time.
class AutoPassword {
public:
    AutoPassword() = default;
    AutoPassword(const AutoPassword&) = delete;
    AutoPassword& operator=(const AutoPassword&) = delete;

    virtual ~AutoPassword() { wipe(); }
    // Ends with a zero, which `length` does not count. Null before the first `set`. Valid until the next one.
    virtual char* data() { return pData; }
    virtual std::uint32_t length() { return uLength; }
    // Both copy what they are given, which must not be data(), in place of what was there, which is wiped. Return 0; -1
    // for null: nothing changes then; -2 when there is no memory: data() is null then, and length() what was wanted.
    // The length of a text is cut to 32 bits.
    virtual int set(const char* text) {
        return text == nullptr ? -1 : set(text, static_cast<std::uint32_t>(std::strlen(text)));
    }
    virtual int set(const char* bytes, std::uint32_t len) {
        if (bytes == nullptr) return -1;
        wipe();
        uLength = len;
        const std::size_t size = std::size_t{len} + 1;
        pData = new (std::nothrow) char[size];
        if (pData == nullptr) return -2;
        memset_s(pData, size, 0, size);
        memcpy_s(pData, size, bytes, len);
        return 0;
    }

private:
    void wipe() {
        if (pData != nullptr) memset_s(pData, uLength, 0, uLength);
        delete[] pData;
        pData = nullptr;
    }

    char* pData = nullptr;
    std::uint32_t uLength = 0;
};
