// A server process announces that it has started, and tells the trap services which trap server serves which NE. The
// trap dispatcher is a process of its own elsewhere; here a task beside the server plays it, and prints what it gets.
//
//     trap_server [CONFIGURATION]
#include <chrono>
#include <future>
#include <iostream>
#include <stdexcept>

#include "nec/nenotify.h"
#include "nec/trapserver.h"
#include "platform/event.h"
#include "platform/process.h"
#include "platform/task.h"

namespace {

// Prints the text of each command and answers it.
class PrintingDispatcher : public TesuGnlTask {
public:
    using TesuGnlTask::TesuGnlTask;
    void HandleNoAsn1Msg(TECmdMsg* message) override {
        std::cout << "command 0x" << std::hex << message->command << std::dec << ": " << message->payloadView().data()
                  << '\n';
        TesuCmdAnswer(*message, "0");
    }
};

}  // namespace

int main(int argc, char** argv) try {
    frame::Process process(argc > 1 ? argv[1] : "nec.toml");

    // The dispatcher: process 45445:1, task manager 200.
    frame::LocalBus* bus = process.localBus();
    if (bus == nullptr)
        throw std::runtime_error("the dispatcher stands on the embedded bus; expected engine \"local\"");
    const auto place = bus->connect({45445, 1});
    frame::TaskManagers managers(*place, 0, {200}, frame::TaskManagers::Reach::ofAStandIn);
    TesuTaskMgr* manager = managers.find(200);
    auto* dispatcher = new PrintingDispatcher(manager, "dispatcher");
    manager->TMInitInsertTask(dispatcher);
    manager->TMSetCmdTask(dispatcher);

    // What a server does when it starts.
    std::promise<void> announced;
    const auto subscription = TEEventMgrEx::Instance()->Subscribe(0x217005, [&](const frame::Event& event) {
        std::cout << "NE manager " << frame::toText(event.sender) << " has started\n";
        announced.set_value();
    });
    NEC::NotifyNEMgrSvrStartup();
    if (announced.get_future().wait_for(std::chrono::seconds(10)) != std::future_status::ready) return 1;

    // What it does when NEs come and go. (No trap-server service is configured here: that is in the log.)
    std::list<NEC::_NEIP2SERVERID> assignments{{"10.0.0.2", 3}, {"10.0.0.1", 5}};
    NEC::CTrapServer::NotifyNECreated(assignments);
    NEC::CTrapServer::NotifyNETransfer("10.0.0.1", 7);
    NEC::CTrapServer::NotifyNEDelete("10.0.0.2");
    return 0;
} catch (const std::exception& error) {
    std::cerr << "trap_server: " << error.what() << '\n';
    return 1;
}
