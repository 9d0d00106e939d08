#include "bus/thrown.h"

#include <exception>

#include "platform/asn1.h"

namespace frame {

std::string thrownText() {
    try {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    } catch (const CSM_Exception* error) {
        std::string text = error->text();
        delete error;
        return text;
    } catch (...) {
        return "something that is no std::exception";
    }
}

}  // namespace frame
