// One object that is replaced whole, so that nobody sees the addresses of one process with the URL of another.
#include "platform/sysconfig.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>

#include "platform/log.h"

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

template <class Value>
Value current(Value frame::SysConfigOptions::*member) {
    const std::lock_guard lock(state().mutex);
    return state().options.*member;
}

using Interfaces = std::unique_ptr<ifaddrs, decltype(&freeifaddrs)>;

Interfaces interfaces() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0)
        LogProcess::Error(static_cast<std::uint32_t>(errno),
                          std::string("cannot list the addresses of this host: ") + std::strerror(errno),
                          {__FILE__, "GetAllIP", __LINE__});
    return {first, &freeifaddrs};
}

bool isReached(const ifaddrs& interface) {
    return interface.ifa_addr != nullptr && interface.ifa_addr->sa_family == AF_INET &&
           (interface.ifa_flags & IFF_UP) != 0 && (interface.ifa_flags & IFF_LOOPBACK) == 0;
}

std::string addressOf(const ifaddrs& interface) {
    std::array<char, INET_ADDRSTRLEN> text{};
    const auto* address = reinterpret_cast<const sockaddr_in*>(interface.ifa_addr);
    return inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size());
}

}  // namespace

std::string TESUcommonWrap::SysConfigure::getLocalSouthIP() const {
    return current(&frame::SysConfigOptions::south);
}

std::string ns_tesusdk_wrap::GetIRBaseURL() {
    return current(&frame::SysConfigOptions::managementCentre);
}

int FrameUtil::GetAllIPEx(std::list<std::string>& addresses) {
    const std::vector<std::string> configured = current(&frame::SysConfigOptions::hosts);
    addresses.assign(configured.begin(), configured.end());
    return static_cast<int>(addresses.size());
}

int FrameUtil::GetAllIP(std::list<std::string>& addresses) {
    addresses.clear();
    const Interfaces all = interfaces();
    for (const ifaddrs* interface = all.get(); interface != nullptr; interface = interface->ifa_next) {
        if (!isReached(*interface)) continue;
        std::string address = addressOf(*interface);
        if (std::find(addresses.begin(), addresses.end(), address) == addresses.end())
            addresses.push_back(std::move(address));
    }
    return static_cast<int>(addresses.size());
}

void frame::setSysConfig(const SysConfigOptions& options) {
    const std::lock_guard lock(state().mutex);
    state().options = options;
}
