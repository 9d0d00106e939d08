// necctl bus at a leaf, whose streams are the cluster's.
#include "e2e/nats_leaf_site.h"
#include "e2e/necctl_bus.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class NecctlBusAtLeaf : public NecctlBus, protected nats_client::LeafAndHub {};

}  // namespace

TEST_F(NecctlBusAtLeaf, CheckFindsNothingWrongWithWhatIsShipped) {
    const support::Outcome setup = bus(as(leaf, "administrator", "type = 3999\nhandle = 1\n"), {"setup"});
    ASSERT_EQ(setup.exitStatus, 0) << setup.err;
    for (const auto& [user, process] : {std::pair("operator", operatorProcess), std::pair("ne_manager", managerProcess),
                                        std::pair("pnp_client", std::string("type = 3003\nhandle = 2\n"))}) {
        const support::Outcome outcome = check(as(leaf, user, process));
        EXPECT_EQ(outcome.exitStatus, 0) << user << '\n' << outcome.out << outcome.err;
        EXPECT_THAT(outcome.out, Not(HasSubstr("wrong"))) << user;
        EXPECT_THAT(outcome.out, HasSubstr("cannot tell  " + leaf.server().url() + " JetStream: off, as at a leaf"));
        EXPECT_THAT(outcome.out, HasSubstr("ok           administrate streams: 5 subjects not permitted\n"));
    }
    EXPECT_THAT(check(as(leaf, "operator", operatorProcess)).out,
                HasSubstr("ok           stream nec-rm: there, with the right settings\n"));
}
