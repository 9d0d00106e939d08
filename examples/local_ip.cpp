// A server process tells NEs at which address they reach this host. Needs a management centre, such as nec-peers, at
// the URL that the configuration names.
//
//     local_ip CONFIGURATION NE-ADDRESS...
#include <iostream>

#include "nec/localip.h"
#include "platform/process.h"

int main(int argc, char** argv) try {
    if (argc < 3) {
        std::cerr << "usage: local_ip CONFIGURATION NE-ADDRESS...\n";
        return 2;
    }
    const frame::Process process(argv[1]);
    for (int i = 2; i < argc; ++i) {
        std::string address;
        if (const long code = NEC::GetLocalIpByRemoteIp(argv[i], address)) {
            std::cerr << "local_ip: " << argv[i] << ": code 0x" << std::hex << code << '\n';
            return 1;
        }
        std::cout << "the NE at " << argv[i] << " reaches this host at " << address << '\n';
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "local_ip: " << error.what() << '\n';
    return 1;
}
