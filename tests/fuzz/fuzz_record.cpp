// One target for each record type, FUZZ_RECORD: what is decoded, whole or until an error, can be printed, written and
// read again, and is the same then.
#include <cstdint>
#include <sstream>

#include "require.h"
#include "support/record_codec.h"

namespace {

std::string printed(const AsnType& record) {
    std::ostringstream text;
    record.Print(text, 0, true);
    return text.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ_RECORD record;
    const auto result = support::decode({reinterpret_cast<const char*>(data), size}, record);
    require(result.offset <= size, "the error's offset lies outside the octets");
    const std::string octets = support::encoded(record);
    FUZZ_RECORD again;
    require(support::decode(octets, again).ok, "what was written cannot be read");
    require(support::encoded(again) == octets, "what was read is written differently");
    require(printed(again) == printed(record), "what was read is printed differently");
    return 0;
}
