// The table of the configuration file about the distributed bus engine.
#pragma once

#include "config/section.h"
#include "platform/nats.h"

namespace frame {

NatsOptions natsFrom(const Section& section);

}  // namespace frame
