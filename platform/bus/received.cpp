#include "bus/received.h"

#include <cstdio>

#include "platform/asn1.h"
#include "platform/log.h"

namespace frame {

std::string idText(unsigned long id) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%lX", id);
    return text;
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
