// Records without a process: building one, encoding it, decoding the octets, and what is said of wrong ones.
#include "nec/records.h"

#include <iostream>
#include <string_view>

#include "platform/payload.h"

namespace {

void printOctets(std::string_view octets) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        std::cout << digits[value >> 4] << digits[value & 15];
    }
    std::cout << '\n';
}

// Prints the response in `octets`, or what is wrong with it; returns whether it is sound.
bool printResponse(std::string_view octets) {
    asn_frame::AsnFrameGetNodeIPResponse response;
    const frame::DecodeResult result = frame::decode(octets, response);
    if (result.ok) {
        response.Print(std::cout, 0, true);
        std::cout << '\n';
    } else {
        std::cout << "wrong at octet " << result.offset << " (code " << result.code << "): " << result.text << '\n';
    }
    return result.ok;
}

}  // namespace

int main() {
    asn_frame::AsnFrameGetNodeIPResponse response;
    asn_frame::AsnFrameNodeIP* node = response.nodeIPList.Append();
    node->nmsIP = "10.1.1.5";
    node->natIP = new AsnOcts("192.168.0.5");  // the record owns it
    response.nodeIPList.Append()->nmsIP = "10.1.1.6";

    const frame::Payload octets = frame::encode(response);
    printOctets(octets.view());
    const bool whole = printResponse(octets.view());
    const bool truncated = printResponse(octets.view().substr(0, octets.size() - 1));
    return whole && !truncated ? 0 : 1;
}
