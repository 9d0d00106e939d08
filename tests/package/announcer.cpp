// A server's plug-in: brings libnec into a program that knows nothing of it, and takes it along again.
#include <future>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/event.h"
#include "platform/process.h"

// Announces NE `neId` in a process of its own; returns the NE that its subscriber was told of, or 0.
extern "C" __attribute__((visibility("default"))) unsigned long announce(unsigned long neId) {
    constexpr unsigned long created = 0x217006;
    frame::Config config;
    config.process.type = 3001;
    config.process.handle = 7;
    std::promise<unsigned long> heard;
    auto told = heard.get_future();
    const frame::Process process(config);
    const frame::Subscription subscription =
        TEEventMgrEx::Instance()->Subscribe(created, [&heard](const frame::Event& event) {
            asn_frame::AsnDevIDListOfNEMgr record;
            const bool known = event.decode(record) && record.devIDList.count == 1;
            heard.set_value(known ? static_cast<unsigned long>(*record.devIDList.first->element) : 0);
        });
    NEC::NotifyNECreated(neId);
    return told.wait_for(std::chrono::seconds(30)) == std::future_status::ready ? told.get() : 0;
}
