// A server process tells NEs which SFTP service to use. Needs a database with the FTP configuration (see necctl db and
// necctl ftp). The management centre is a process of its own elsewhere; here a place beside the server plays it, and
// has one NE registered.
//
//     ftp_service CONFIGURATION NE-ADDRESS...
#include <iostream>
#include <stdexcept>

#include "nec/ftpagent.h"
#include "nec/records.h"
#include "platform/process.h"

int main(int argc, char** argv) try {
    if (argc < 3) {
        std::cerr << "usage: ftp_service CONFIGURATION NE-ADDRESS...\n";
        return 2;
    }
    frame::Process process(argv[1]);

    // The management centre: the NE 10.1.1.5 sees the address 192.168.1.5 as 1.2.3.4.
    frame::LocalBus* bus = process.localBus();
    if (bus == nullptr) throw std::runtime_error("the centre stands on the embedded bus; expected engine \"local\"");
    const auto centre = bus->connect({3001, 1});
    const auto serving = centre->serveRequests(0xB0000F, [](const frame::RequestMessage& request) {
        asn_frame::AsnFrameGetNodeIPResponse response;
        if (request.record.view().find("10.1.1.5") != std::string_view::npos) {
            asn_frame::AsnFrameNodeIP* node = response.nodeIPList.Append();
            node->nmsIP = "192.168.1.5";
            node->natIP = new AsnOcts("1.2.3.4");
        }
        return frame::encode(response);
    });

    for (int i = 2; i < argc; ++i) {
        NEC::FTPSvcInfo svc;
        if (const int code = NEC::FTPAgent::GetSFTPSvcByNEIP(svc, argv[i], false)) {
            std::cerr << "ftp_service: " << argv[i] << ": code " << code << '\n';
            return 1;
        }
        std::cout << "the NE at " << argv[i] << " uses " << svc.strUserName << " at " << svc.strIP << " port "
                  << svc.iPort << ", directory " << svc.strFtpRoot << '\n';
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "ftp_service: " << error.what() << '\n';
    return 1;
}
