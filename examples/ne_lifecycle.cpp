// A server process announces what happens to its network elements; a listener in the same process prints what arrives.
//
//     ne_lifecycle [CONFIGURATION]
#include <chrono>
#include <future>
#include <iostream>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/event.h"
#include "platform/process.h"

int main(int argc, char** argv) try {
    const frame::Process process(argc > 1 ? argv[1] : "nec.toml");

    // The listener: called on the event manager's thread, one event at a time, in order.
    int missing = 4;
    std::promise<void> allArrived;
    const auto print = [&](const frame::Event& event) {
        asn_frame::AsnDevIDListOfNEMgr record;
        if (!event.decode(record)) return;
        std::cout << "event 0x" << std::hex << event.id << std::dec << " from " << frame::toText(event.sender) << '\n';
        record.Print(std::cout, 0, true);
        std::cout << '\n';
        if (--missing == 0) allArrived.set_value();
    };
    TEEventMgrEx* events = TEEventMgrEx::Instance();
    const auto created = events->Subscribe(0x217006, print);
    const auto transferred = events->Subscribe(0x217007, print);
    const auto deleted = events->Subscribe(0x217008, print);

    // What a server does.
    NEC::NotifyNECreated(101);
    NEC::NotifyNECreated(102, CProcID{3001, 8});
    NEC::NotifyNETransfer({101, 102, 103}, CProcID{3002, 1});
    NEC::NotifyNEDelete(101);

    if (allArrived.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready) return 0;
    std::cerr << "ne_lifecycle: not all events arrived\n";
    return 1;
} catch (const std::exception& error) {
    std::cerr << "ne_lifecycle: " << error.what() << '\n';
    return 1;
}
