// A server process: says what happens to its NEs, or prints what others say.
//
//     server_process CONFIGURATION ACTION...
//
// An action is started, created:NE, deleted:NE, transferred:NE (to 3002:1), or listen. Each is done in its turn, and
// said to be; then the process goes on until it is ended.
#include <unistd.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "platform/event.h"
#include "platform/process.h"
#include "platform/reliable.h"

namespace {

constexpr unsigned long startedEvent = 0x217005;
constexpr unsigned long transferMessage = 0xB0762A;

// One line, whole also where several threads write.
void say(const char* what, unsigned long id, const CProcID& sender, const asn_frame::AsnDevIDListOfNEMgr& record) {
    std::ostringstream line;
    line << what << " 0x" << std::hex << std::uppercase << id << std::dec << " from " << frame::toText(sender) << ':';
    for (const auto* node = record.devIDList.first; node != nullptr; node = node->next) line << ' ' << *node->element;
    std::cout << line.str() + '\n' << std::flush;
}

void sayEvent(const frame::Event& event) {
    asn_frame::AsnDevIDListOfNEMgr record;
    if (event.id == startedEvent || event.decode(record)) say("event", event.id, event.sender, record);
}

bool sayMessage(const frame::ReliableEvent& message) {
    asn_frame::AsnDevIDListOfNEMgr record;
    if (message.decode(record)) say("message", message.id, message.sender, record);
    return true;
}

class Server {
public:
    explicit Server(const char* configuration) : process_(configuration) {}

    void act(const std::string& action) {
        const std::size_t colon = action.find(':');
        const std::string what = action.substr(0, colon);
        const unsigned long ne = colon == std::string::npos ? 0 : std::stoul(action.substr(colon + 1));
        if (what == "started")
            NEC::NotifyNEMgrSvrStartup();
        else if (what == "created")
            NEC::NotifyNECreated(ne);
        else if (what == "deleted")
            NEC::NotifyNEDelete(ne);
        else if (what == "transferred")
            NEC::NotifyNETransfer(ne, {3002, 1});
        else if (what == "listen")
            listen();
        else
            throw std::invalid_argument(action + ": no action");
        std::cout << action + " done\n" << std::flush;
    }

private:
    void listen() {
        for (unsigned long event = startedEvent; event < startedEvent + 4; ++event)
            subscriptions_.push_back(TEEventMgrEx::Instance()->Subscribe(event, sayEvent));
        subscriptions_.push_back(NSTE_util::ReliableEventProxy::Instance()->Subscribe(transferMessage, sayMessage));
    }

    const frame::Process process_;
    std::vector<frame::Subscription> subscriptions_;
};

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2) return 2;
    Server server(argv[1]);
    for (int i = 2; i < argc; ++i) server.act(argv[i]);
    std::cout << "ready\n" << std::flush;
    for (;;) pause();
} catch (const std::exception& error) {
    std::cerr << "server_process: " << error.what() << '\n';
    return 1;
}
