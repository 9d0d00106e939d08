// One object that is replaced whole, so that nobody sees the addresses of one process with the URL of another.
#include "platform/sysconfig.h"

#include <mutex>

namespace {

// Never destroyed: threads may ask while the program exits.
struct State {
    std::mutex mutex;
    frame::SysConfigOptions options;
};

State& state() {
    static State& state = *new State;
    return state;
}

std::string current(std::string frame::SysConfigOptions::*member) {
    const std::lock_guard lock(state().mutex);
    return state().options.*member;
}

}  // namespace

std::string TESUcommonWrap::SysConfigure::getLocalSouthIP() const {
    return current(&frame::SysConfigOptions::south);
}

std::string ns_tesusdk_wrap::GetIRBaseURL() {
    return current(&frame::SysConfigOptions::managementCentre);
}

void frame::setSysConfig(const SysConfigOptions& options) {
    const std::lock_guard lock(state().mutex);
    state().options = options;
}
