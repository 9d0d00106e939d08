// A server publishes plug-and-play files. Clients are processes of their own elsewhere; here one beside the server
// prints what it gets.
//
//     pnp_broadcast CONFIGURATION FILE...
#include <chrono>
#include <future>
#include <iostream>
#include <stdexcept>

#include "nec/pnp.h"
#include "platform/process.h"

namespace {

constexpr std::uint16_t clients = 3003;

void print(const frame::BroadcastMessage& message) {
    AsnClientGetPnpRsp package;
    if (!message.decode(package)) return;
    std::cout << "package from " << frame::toText(message.sender) << '\n';
    for (const auto* node = package.pnpFileList.first; node != nullptr; node = node->next) {
        const AsnPnpFile& file = *node->element;
        std::cout << file.fileName.str() << ", " << (file.fileContent ? file.fileContent->size() : 0) << " octets\n";
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2) {
        std::cerr << "usage: pnp_broadcast CONFIGURATION FILE...\n";
        return 2;
    }
    frame::Process process(argv[1]);

    // The client: process 3003:1.
    std::promise<void> arrived;
    frame::LocalBus* bus = process.localBus();
    if (bus == nullptr) throw std::runtime_error("the client stands on the embedded bus; expected engine \"local\"");
    const auto place = bus->connect({3003, 1});
    const auto subscription = place->subscribeBroadcast(clients, [&](const frame::BroadcastMessage& message) {
        print(message);
        arrived.set_value();
    });

    // What a server does when files have changed.
    AsnPnpFileList files;
    for (int i = 2; i < argc; ++i) files.Append()->fileName = argv[i];
    const std::uint32_t code = NEC::BoardcastPnpData({}, files);
    if (code != 0) {
        std::cerr << "pnp_broadcast: nothing is sent, code 0x" << std::hex << code << "; the log says why\n";
        return 1;
    }

    if (arrived.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready) return 0;
    std::cerr << "pnp_broadcast: the client got nothing\n";
    return 1;
} catch (const std::exception& error) {
    std::cerr << "pnp_broadcast: " << error.what() << '\n';
    return 1;
}
