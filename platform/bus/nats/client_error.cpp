#include "bus/nats/client_error.h"

#include <nats/nats.h>

namespace frame::nats {

std::string clientErrorOr(const std::string& fallback) {
    const char* text = nats_GetLastError(nullptr);
    if (text == nullptr || *text == '\0') return fallback;
    const std::string whole(text);
    const std::size_t place = whole.front() == '(' ? whole.find("): ") : std::string::npos;
    return place == std::string::npos ? whole : whole.substr(place + 3);
}

}  // namespace frame::nats
