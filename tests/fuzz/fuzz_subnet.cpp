// The subnet test on any three texts, separated by line ends: target network, address, mask. It gives what the plain
// test gives, exceptions included. Each text is also read as an address, beside inet_addr.
#include <cstdint>
#include <sstream>

#include "api/localip/plain.h"
#include "localip/address.h"
#include "localip/subnet.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    std::string target;
    std::string ip;
    std::string mask;
    std::getline(std::getline(std::getline(lines, target), ip), mask);
    require(plain::outcome(NEC::IsSameSub, target, ip, mask) == plain::outcome(plain::isSameSub, target, ip, mask),
            "the subnet test differs from the plain one");
    for (const std::string& text : {target, ip, mask}) {
        require(NEC::hostOrderAddress(text) == plain::hostOrderAddress(text), "the address differs from inet_addr's");
    }
    return 0;
}
