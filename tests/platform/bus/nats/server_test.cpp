// The server that the other tests use.
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/nats_server.h"

using support::NatsServer;

TEST(NatsServerTest, ServerKeepsItsPortWhenItIsStartedAgain) {
    NatsServer server;
    const int port = server.port();
    EXPECT_GT(port, 0);
    server.kill();
    server.start();
    EXPECT_EQ(server.port(), port);
    server.stop();
    server.start();
    EXPECT_EQ(server.port(), port);
}

TEST(NatsServerTest, WrongConfigurationIsAnErrorThatSaysWhere) {
    try {
        const NatsServer server("no_such_thing: 1");
        FAIL() << "was started";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("no_such_thing"), std::string::npos) << error.what();
    }
}

TEST(NatsServerTest, StoreIsThereOnRequest) {
    const NatsServer server("", true);
    EXPECT_NE(server.log().find("JetStream"), std::string::npos) << server.log();
}
