// What the NATS client gives, and who gives it back.
#pragma once

#include <nats/nats.h>

#include <memory>

namespace frame::nats {

// Destroys it, perhaps later.
void giveBack(natsMsg* message);

struct Giver {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
    void operator()(natsMsg* message) const { giveBack(message); }
    void operator()(natsSubscription* subscription) const { natsSubscription_Destroy(subscription); }
};

using Options = std::unique_ptr<natsOptions, Giver>;
using Message = std::unique_ptr<natsMsg, Giver>;
using SubscriptionHandle = std::unique_ptr<natsSubscription, Giver>;
// Several threads may publish on it; the last one destroys it.
using Connection = std::shared_ptr<natsConnection>;

}  // namespace frame::nats
