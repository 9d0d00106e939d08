// The receiver of command messages: any octets from the bus. It takes exactly the messages that a plain reading of the
// octets takes, tells of all others what is wrong, and a copy of what it takes has the same octets.
#include <bitset>
#include <cstdint>
#include <string_view>

#include "require.h"
#include "task/message.h"

namespace {

constexpr std::uint16_t desk = 4;
constexpr unsigned manager = 200;

unsigned long numberAt(std::string_view octets, std::size_t offset, std::size_t width) {
    unsigned long number = 0;
    while (width-- > 0) number = number << 8U | static_cast<unsigned char>(octets[offset + width]);
    return number;
}

bool isWell(std::string_view octets) {
    if (octets.size() < 50) return false;
    const auto toDesk = numberAt(octets, 10, 2);
    const auto kind = numberAt(octets, 24, 1);
    return numberAt(octets, 44, 4) + 48 == octets.size() && (toDesk == 0 || toDesk == desk) &&
           (kind == 6 || kind == 7) && numberAt(octets, 49, 1) == manager;
}

void readCopy(std::string_view octets) {
    const frame::MessagePtr copy = frame::copyOfMessage(octets);
    require(copy != nullptr, "there is no copy");
    require(frame::octetsOf(*copy) == octets, "the copy differs");
    require(copy->payloadView() == octets.substr(50), "the payload differs");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view octets(reinterpret_cast<const char*>(data), size);
    frame::Recipient recipient{desk, {}};
    recipient.managers.set(manager);
    const auto [header, fault] = frame::checkMessage(octets, recipient);
    require(fault.empty() == isWell(octets), "the verdict differs from the plain one");
    if (size > 22) require((header.command & 0xFFFFFF) == numberAt(octets, 20, 3), "the command is read wrong");
    if (fault.empty()) readCopy(octets);
    return 0;
}
