// What every engine has in common.
#include "platform/bus.h"

namespace frame {

std::string toText(const CProcID& address) {
    return std::to_string(address.procType) + ':' + std::to_string(address.procHandle);
}

BusEngine::~BusEngine() = default;

}  // namespace frame
