#include "trap_dispatcher.h"

#include <cstdint>

#include "platform/log.h"
#include "trapserver/dispatcher.h"
#include "trapserver/string_coder.h"

namespace peers {
namespace {

constexpr std::uint32_t refused = 0xFFFFFFFF;
const std::string done = "0";
const std::string failed = "1";

// The text of a command, without the zero that ends it.
std::string textOf(const CmdMSG& message) {
    const std::string_view payload = message.payloadView();
    return std::string(payload.substr(0, payload.find('\0')));
}

class DispatcherTask : public TesuGnlTask {
public:
    DispatcherTask(TesuTaskMgr* manager, AssignmentStore& store)
        : TesuGnlTask(manager, "TrapDispatcher"), store_(store) {}

    void HandleNoAsn1Msg(TECmdMsg* message) override {
        std::string answer = failed;
        try {
            answer = handled(*message);
        } catch (const std::exception& error) {
            LogProcess::Error(refused, std::string("trap dispatcher: ") + error.what(), {__FILE__, __func__, __LINE__});
        }
        TesuCmdAnswer(*message, {answer.c_str(), answer.size() + 1});
    }

private:
    std::string handled(const CmdMSG& message) {
        switch (message.command) {
            case NEC::neAssignedCommand:
                store_.assign(assignmentsIn(message));
                return done;
            case NEC::neDeletedCommand:
                store_.remove(addressesIn(message));
                return done;
            case TrapDispatcher::listCommand:
                return listed();
            default:
                return failed;
        }
    }

    static std::vector<std::string> addressesIn(const CmdMSG& message) {
        NEC::CCommaDecoder decoder(textOf(message));
        std::vector<std::string> addresses(static_cast<std::size_t>(decoder.count()));
        for (std::string& address : addresses) decoder >> address;
        return addresses;
    }

    std::string listed() {
        NEC::CCommaEncoder encoder;
        for (const auto& [ne, server] : store_.all())
            if (!ne.empty()) encoder << ne << server;
        return encoder.str();
    }

    AssignmentStore& store_;
};

}  // namespace

AssignmentStore::Assignments assignmentsIn(const CmdMSG& message) {
    AssignmentStore::Assignments assignments;
    NEC::CCommaDecoder decoder(textOf(message));
    for (int left = decoder.count(); left > 0; left -= 2) {
        auto& [ne, server] = assignments.emplace_back();
        decoder >> ne >> server;
    }
    return assignments;
}

TrapDispatcher::TrapDispatcher(frame::BusEngine& bus, const std::string& file)
    : store_(file), managers_(bus, 0, {manager}, frame::TaskManagers::Reach::ofAStandIn) {
    TesuTaskMgr* own = managers_.find(manager);
    auto* task = new DispatcherTask(own, store_);
    own->TMInitInsertTask(task);
    own->TMSetCmdTask(task);
}

}  // namespace peers
