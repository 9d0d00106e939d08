// The record of a service: a new one, and its end.
#include "nec/ftpagent.h"

namespace NEC {

FTPSvcInfo::FTPSvcInfo() : iReserved(-1), iPort(-1), iState(-1) {}

FTPSvcInfo::~FTPSvcInfo() {
    wipePassword();
}

}  // namespace NEC
