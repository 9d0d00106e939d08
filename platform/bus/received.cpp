#include "bus/received.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "platform/asn1.h"
#include "platform/log.h"

namespace frame {

std::string idText(unsigned long id) {
    std::array<char, 18> text{'0', 'x'};
    char* const digits = text.data() + 2;
    char* const end = std::to_chars(digits, text.data() + text.size(), id, 16).ptr;
    std::transform(digits, end, digits, [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); });
    return {text.data(), end};
}

bool decodeReceived(std::string_view what, unsigned long id, const CProcID& sender, const Payload& record,
                    AsnType& into) {
    const DecodeResult result = decode(record.view(), into);
    if (result.ok) return true;
    std::string text(what);
    text.append(" ").append(idText(id)).append(" from ").append(toText(sender)).append(": record is not a ");
    text.append(into.typeName()).append(", wrong at octet ").append(std::to_string(result.offset)).append(" of ");
    text.append(std::to_string(record.size())).append(": ").append(result.text);
    LogProcess::Error(static_cast<std::uint32_t>(result.code), text, {__FILE__, __func__, __LINE__});
    return false;
}

}  // namespace frame
