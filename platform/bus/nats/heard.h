// A message on its way to others, as it comes in: read as far as it can be.
#pragma once

#include <optional>

#include "bus/nats/handles.h"
#include "bus/nats/headers.h"
#include "bus/nats/pieces.h"
#include "bus/nats/subjects.h"
#include "platform/nats.h"

namespace frame::nats {

struct Heard {
    Overheard message;
    // Where its record stands in pieces.
    std::optional<Announcement> announced;
    std::optional<Whole> whole;
};

// What `message`, which came to a subject of this kind, says. Nothing when it is a piece of a message that is not whole
// yet, or the question who receives command messages.
std::optional<Heard> hear(Overheard::Kind kind, natsMsg* message, const Subjects& subjects, Pieces& pieces);

}  // namespace frame::nats
