// What every engine has in common.
#include "bus/address.h"

namespace frame {

std::string toText(const CProcID& address) {
    return std::to_string(address.procType) + ':' + std::to_string(address.procHandle);
}

bool reaches(const CProcID& to, const CProcID& address) {
    return to.procType == address.procType && (to.procHandle == 0 || to.procHandle == address.procHandle);
}

BusEngine::~BusEngine() = default;

}  // namespace frame
