// Who is meant by a destination.
#pragma once

#include "platform/bus.h"

namespace frame {

// Whether `to`, where handle 0 means any process of the type, takes in the process at `address`.
bool reaches(const CProcID& to, const CProcID& address);

}  // namespace frame
