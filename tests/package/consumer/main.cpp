// What a server process does with an installed libnec: makes its process, listens, announces an NE.
#include <chrono>
#include <future>
#include <iostream>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/event.h"
#include "platform/process.h"

int main() {
    frame::Config config;
    config.process.type = 3001;
    config.process.handle = 7;
    const frame::Process process(config);

    std::promise<int> arrived;
    const auto subscription = TEEventMgrEx::Instance()->Subscribe(0x217006, [&](const frame::Event& event) {
        asn_frame::AsnDevIDListOfNEMgr record;
        arrived.set_value(event.decode(record) && record.devIDList.count == 1 ? int{*record.devIDList.first->element}
                                                                              : -1);
    });
    NEC::NotifyNECreated(5);

    auto answer = arrived.get_future();
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready) return 1;
    std::cout << "NE " << answer.get() << " created\n";
    return 0;
}
