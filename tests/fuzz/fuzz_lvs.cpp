// Application descriptions: what is read of one is whole, and what is none is refused or throws what it may throw.
#include <json/json.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "localip/lvs.h"
#include "platform/log.h"
#include "require.h"

namespace {

// A file in memory, named by the environment for as long as the program runs.
int describedHere() {
    static const int file = [] {
        const int made = memfd_create("app_version", 0);
        require(made >= 0, "cannot make a file");
        setenv("APP_CONF_FILE", ("/proc/self/fd/" + std::to_string(made)).c_str(), 1);
        setenv("PROCESS_NAME", "nms", 1);
        frame::LogOptions silent;
        silent.level = frame::LogLevel::off;
        silent.trace = false;
        frame::openLog(silent, 1, 1);
        return made;
    }();
    return file;
}

void checkNetworks(const NEC::LvsMap& vips) {
    for (const auto& [vip, networks] : vips) {
        require(!vip.empty() || networks.empty(), "an empty virtual address has networks");
        for (const auto& [target, mask] : networks)
            require(!target.empty() && !mask.empty(), "a network is incomplete");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int file = describedHere();
    require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size), "cannot write");
    const frame::LogCapture log;  // so that texts are made
    bool supported = true;
    NEC::LvsMap vips{{"left over", {}}};
    try {
        const long code = NEC::QueryLvsInfo(supported, vips);
        require(code == 0 || code == -1, "the code is neither 0 nor -1");
        require(code == 0 || !supported, "a failure is supported");
        require(supported || vips.empty(), "what is not supported has virtual addresses");
        checkNetworks(vips);
    } catch (const Json::Exception&) {
        require(vips.count("left over") == 0 || supported, "what was there before is there still");
    }
    return 0;
}
