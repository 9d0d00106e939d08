// necctl reliable show, of processes on each engine.
#include "e2e/engines.h"
#include "e2e/necctl_fixture.h"
#include "nec/records.h"
#include "platform/process.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

constexpr unsigned long aMessage = 0xB0762A;

class NecctlReliable : public Necctl, public testing::WithParamInterface<const char*> {
protected:
    // Leaves `messages` in the outbox.
    void send(int messages) const {
        const frame::Process process(config);
        for (int i = 0; i < messages; ++i) {
            ASSERT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(aMessage, asn_frame::AsnFrameProcID()), 0);
        }
    }
    std::string oldestIdentifier() const {
        return frame::readOutbox(folder.file("outbox.db"), 1).oldestIdentifier.value_or("none");
    }

    std::string config = folder.write("nec.toml",
                                      "[process]\ntype = 3001\nhandle = 7\n[log]\nlevel = \"off\"\ntrace = "
                                      "false\n[reliable]\nfile = \"outbox.db\"\n" +
                                          e2e::busOn(GetParam()));
    std::vector<std::string> show{"reliable", "show", "--config", config};
};

INSTANTIATE_TEST_SUITE_P(On, NecctlReliable, e2e::engines, e2e::nameOfEngine);

TEST_P(NecctlReliable, EmptyOutboxHasNoOldest) {
    send(0);
    EXPECT_EQ(answer(show), "file    " + folder.file("outbox.db") + "\ndepth   0\noldest  none\n");
}

TEST_P(NecctlReliable, WaitingMessagesAreListed) {
    send(3);
    const std::string text = answer(show);
    EXPECT_THAT(text, HasSubstr("\ndepth   3\n"));
    EXPECT_THAT(text, ContainsRegex("oldest  [-0-9]+T[:0-9]+[.][0-9]{3}Z  " + oldestIdentifier()));
    EXPECT_THAT(text, HasSubstr(oldestIdentifier() + "  message 0xB0762A, 8 octets\n"));
}

TEST_P(NecctlReliable, JsonHoldsTheSame) {
    send(2);
    show.push_back("--json");
    const std::string json = answer(show);
    EXPECT_THAT(json, HasSubstr("\"depth\" : 2"));
    EXPECT_THAT(json, HasSubstr("\"identifier\" : \"" + oldestIdentifier() + "\""));
    EXPECT_THAT(json, HasSubstr("\"message\" : 11564586"));
    EXPECT_THAT(json, HasSubstr("\"octets\" : 8"));
}

TEST_P(NecctlReliable, MoreThanAskedForIsSaid) {
    send(3);
    show.insert(show.end(), {"--most", "1"});
    const support::Outcome outcome = necctl(show);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\ndepth   3\n"));
    EXPECT_EQ(outcome.err, "necctl: 2 more waiting; see --most\n");
}

TEST_P(NecctlReliable, OutboxIsReadWhileItsProcessWorks) {
    const frame::Process process(config);
    ASSERT_EQ(NSTE_util::ReliableEventProxy::Instance()->Send(aMessage, asn_frame::AsnFrameProcID()), 0);
    EXPECT_THAT(answer(show), HasSubstr("\ndepth   1\n"));
}

TEST_P(NecctlReliable, WhatCannotBeReadIsNamed) {
    EXPECT_THAT(failure(3, show), HasSubstr(folder.file("outbox.db")));
    folder.write("outbox.db", std::string(8192, 'x'));
    EXPECT_THAT(failure(3, show), HasSubstr(folder.file("outbox.db")));
    EXPECT_THAT(failure(3, {"reliable", "show", "--config", folder.file("none.toml")}), HasSubstr("none.toml"));
}

TEST_P(NecctlReliable, ProcessWithoutAReliableChannelIsSaid) {
    folder.write("nec.toml", "[process]\ntype = 3001\nhandle = 7\n");
    EXPECT_THAT(failure(3, show), HasSubstr("nec.toml: reliable.file: missing"));
}

}  // namespace
