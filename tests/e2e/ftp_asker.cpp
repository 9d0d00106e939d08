// A server process that asks for all kinds of services, with all that is logged, and then waits for its end.
//
//     ftp_asker CONFIGURATION
#include <unistd.h>

#include <iostream>

#include "nec/ftpagent.h"
#include "platform/process.h"

namespace {

bool ask(int (*operation)(NEC::FTPSvcInfo&, const char*, bool)) {
    NEC::FTPSvcInfo svc;  // used again, as servers do
    return operation(svc, "10.2.3.4", false) == 0 && operation(svc, "10.2.3.4", true) == 0 && !svc.strPassword.empty();
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) return 2;
    const frame::Process process(argv[1]);
    const bool asked = ask(&NEC::FTPAgent::GetFTPSvcByNEIP) && ask(&NEC::FTPAgent::GetSFTPSvcByNEIP) &&
                       ask(&NEC::FTPAgent::GetCustomSFTPSvcByNEIP);
    std::cout << (asked ? "asked" : "failed") << std::endl;
    pause();
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
