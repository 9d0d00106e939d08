// The contract of all engines, over a server.
#include "../contract.h"

#include "platform/nats.h"
#include "support/nats_admin.h"
#include "support/nats_server.h"

namespace {

// With the stream that an administrator makes beforehand: the engine would wait until it is sure that there is none.
class NatsUnderTest : public BusUnderTest {
public:
    NatsUnderTest() { support::NatsAdmin(server_.url()).makeStream(); }
    std::unique_ptr<frame::BusEngine> connect(CProcID address) override {
        frame::NatsOptions options;
        options.servers = {server_.url()};
        return frame::connectNats(address, options);
    }

private:
    support::NatsServer server_{"", true};
};

const BusKind nats{"nats", [] { return std::make_unique<NatsUnderTest>(); }, true};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Nats, BusBroadcastContract, testing::Values(nats), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Nats, BusCommandContract, testing::Values(nats), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Nats, BusEventContract, testing::Values(nats), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Nats, BusRequestContract, testing::Values(nats), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Nats, BusKeepingContract, testing::Values(nats), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Nats, BusReliableContract, testing::Values(nats), nameOfBus);
