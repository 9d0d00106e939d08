// Server processes between which network elements are handed over, each NE by a message that survives both.
//
//     ne_server hand-over CONFIGURATION FIRST LAST TYPE:HANDLE  hands the NEs FIRST to LAST over to that process
//     ne_server take-over CONFIGURATION                         takes over what comes
//
// Either writes a line for each NE, and goes on until it gets SIGINT or SIGTERM.
#include <csignal>
#include <iostream>
#include <regex>
#include <string>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/process.h"
#include "platform/reliable.h"

namespace {

constexpr unsigned long neTransfer = 0xB0762A;

// Blocked before any thread is started, so that only untilSignalled() gets them.
sigset_t endSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void untilSignalled(const sigset_t& signals) {
    int signal = 0;
    sigwait(&signals, &signal);
}

CProcID addressOf(const std::string& text) {
    static const std::regex form("([0-9]{1,5}):([0-9]{1,5})");
    std::smatch parts;
    if (std::regex_match(text, parts, form) && std::stoul(parts[1]) <= 65535 && std::stoul(parts[2]) <= 65535)
        return {static_cast<std::uint16_t>(std::stoul(parts[1])), static_cast<std::uint16_t>(std::stoul(parts[2]))};
    throw std::invalid_argument(text + ": expected TYPE:HANDLE, numbers up to 65535");
}

void handOver(unsigned long first, unsigned long last, const CProcID& to) {
    for (unsigned long ne = first; ne <= last; ++ne) {
        NEC::NotifyNETransfer(ne, to);  // returns once the message is on disk
        std::cout << "handed over " << ne << std::endl;
    }
}

bool takeOver(const frame::ReliableEvent& event) {
    asn_frame::AsnDevIDListOfNEMgr record;
    if (!event.decode(record)) return true;  // it will not get better: done with it
    for (const auto* node = record.devIDList.first; node != nullptr; node = node->next)
        std::cout << "took over " << *node->element << " from " << frame::toText(event.sender) << std::endl;
    return true;
}

}  // namespace

int main(int argc, char** argv) try {
    const std::string command = argc > 1 ? argv[1] : "";
    const sigset_t signals = endSignals();
    if (command == "hand-over" && argc == 6) {
        const CProcID to = addressOf(argv[5]);
        const frame::Process process(argv[2]);
        handOver(std::stoul(argv[3]), std::stoul(argv[4]), to);
        untilSignalled(signals);
        return 0;
    }
    if (command == "take-over" && argc == 3) {
        const frame::Process process(argv[2]);
        const auto subscription = NSTE_util::ReliableEventProxy::Instance()->Subscribe(neTransfer, takeOver);
        untilSignalled(signals);
        return 0;
    }
    std::cerr << "usage: ne_server hand-over CONFIGURATION FIRST LAST TYPE:HANDLE | take-over CONFIGURATION\n";
    return 2;
} catch (const std::exception& error) {
    std::cerr << "ne_server: " << error.what() << '\n';
    return 1;
}
