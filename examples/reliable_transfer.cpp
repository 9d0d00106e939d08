// Handing network elements to another process, so that the message survives the end of this one.
//
//     reliable_transfer send CONFIGURATION     announces a transfer, then waits to be killed
//     reliable_transfer receive CONFIGURATION  takes over the outbox and prints each message that waits in it
#include <unistd.h>

#include <chrono>
#include <future>
#include <iostream>
#include <string>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/process.h"
#include "platform/reliable.h"

namespace {

constexpr unsigned long neTransfer = 0xB0762A;

int send(const std::string& configFile) {
    const frame::Process process(configFile);
    // Returns once the message is on disk. Nobody receives it in this process.
    NEC::NotifyNETransfer({101, 102, 103}, CProcID{3002, 1});
    std::cout << "handed over: NEs 101, 102, 103 to 3002:1" << std::endl;
    for (;;) pause();
}

int receive(const std::string& configFile) {
    const std::uint64_t waiting = frame::readOutbox(frame::readConfig(configFile).reliable.file, 0).depth;
    std::cout << waiting << " waiting\n";
    if (waiting == 0) return 0;

    const frame::Process process(configFile);
    std::uint64_t arrived = 0;
    std::promise<void> allArrived;
    const auto subscription =
        NSTE_util::ReliableEventProxy::Instance()->Subscribe(neTransfer, [&](const frame::ReliableEvent& event) {
            asn_frame::AsnDevIDListOfNEMgr record;
            if (!event.decode(record)) return true;  // it will not get better: done with it
            std::cout << "message " << event.identifier << " from " << frame::toText(event.sender) << '\n';
            record.Print(std::cout, 0, true);
            std::cout << '\n';
            if (++arrived == waiting) allArrived.set_value();
            return true;
        });
    if (allArrived.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready) return 0;
    std::cerr << "reliable_transfer: not all messages arrived\n";
    return 1;
}

}  // namespace

int main(int argc, char** argv) try {
    const std::string command = argc == 3 ? argv[1] : "";
    if (command == "send") return send(argv[2]);
    if (command == "receive") return receive(argv[2]);
    std::cerr << "usage: reliable_transfer send|receive CONFIGURATION\n";
    return 2;
} catch (const std::exception& error) {
    std::cerr << "reliable_transfer: " << error.what() << '\n';
    return 1;
}
