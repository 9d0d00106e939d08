#include <string>

#include "asn1/error.h"
#include "platform/asn1.h"

CSM_Exception::CSM_Exception(int code, int line, const char* function, const char* file, const char* text)
    : code_(code), line_(line), function_(function), file_(file), text_(text) {}

namespace frame::asn1 {

void fail(Error code, const char* what, const char* name, int line, const char* function) {
    const std::string text = *name == '\0' ? what : std::string(what) + ' ' + name;
    throw new CSM_Exception(code, line, function, "asn1", text.c_str());
}

void failLength() {
    fail(lengthBeyondEnd, "a length beyond the end of what is there");
}

}  // namespace frame::asn1
