// What was thrown.
#pragma once

#include <string>

namespace frame {

// Says what the exception is that is being handled: to be called in `catch (...)`. A CSM_Exception thrown by pointer
// is deleted.
std::string thrownText();

}  // namespace frame
