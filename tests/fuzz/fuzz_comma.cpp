// Comma-joined text read field by field, beside the plain form. The first octet says, bit by bit, which fields are read
// as numbers.
#include <cstdint>
#include <string>

#include "api/trapserver/plain_coder.h"
#include "require.h"
#include "trapserver/string_coder.h"

namespace {

void readField(NEC::CCommaDecoder& decoder, std::string& plainText, bool asNumber) {
    if (asNumber) {
        int number = 0;
        decoder >> number;
        require(number == plain::takeNumber(plainText), "a number differs from the plain one");
    } else {
        std::string field;
        decoder >> field;
        require(field == plain::takeText(plainText), "a field differs from the plain one");
    }
    require(decoder.count() == plain::count(plainText), "the count differs from the plain one");
    require(decoder.str() == plainText, "what is left differs from the plain form");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    NEC::CCommaDecoder decoder(text);
    for (unsigned field = 0; !text.empty(); ++field) readField(decoder, text, (data[0] >> field % 8 & 1U) != 0);
    readField(decoder, text, false);
    return 0;
}
