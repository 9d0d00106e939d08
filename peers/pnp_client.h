// A stand-in of a client: writes the plug-and-play files that are broadcast.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "pnp_folder.h"

namespace peers {

// A file that was not written.
struct PnpRefusal {
    std::string name;
    std::string reason;
};

// What became of the files of one broadcast, in their order. Names are as they came: any octets.
struct PnpPackage {
    CProcID sender;
    std::vector<std::string> written;
    std::vector<PnpRefusal> refused;
};

class PnpClient {
public:
    static constexpr CProcID address{3003, 1};
    static constexpr std::uint16_t target = 3003;
    static constexpr std::uint32_t command = 4193191;

    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    using Done = std::function<void(const PnpPackage&)>;

    // Takes broadcasts on `bus`, which must outlive it, while it lives; a package that is being written when it ends is
    // written first. `folder`: see PnpFolder. Every package is logged, and of the files that it refuses the first 100.
    // `done`, if given, is called on the subscription's thread after each package, and must not end the client; not for
    // those that cannot be decoded or that say of themselves that they failed: they are logged and dropped. After
    // `most` packages, further ones are ignored: neither written nor logged nor told.
    PnpClient(frame::BusEngine& bus, const std::string& folder, Done done = {}, std::size_t most = unlimited);

private:
    void take(const frame::BroadcastMessage& message);

    PnpFolder folder_;
    Done done_;
    std::size_t left_;                  // packages; on the subscription's thread alone
    frame::Subscription subscription_;  // the last: ended first
};

}  // namespace peers
