// necctl bus check: whether a process can rely on its brokers.
#include "bus_check.h"

#include <CLI/CLI.hpp>

#include "bus/nats/options.h"
#include "bus_commands.h"

namespace necctl {
namespace {

void checkRoundTrip(const BusClient& client, Findings& findings) {
    const auto roundTrip = client.roundTrip();
    findings.judge(
        roundTrip.has_value(), client.server() + " round trip",
        roundTrip ? millisecondsText(std::chrono::duration<double, std::milli>(*roundTrip).count()) : "no answer",
        "an answer");
}

// What needs a connection, to whichever server takes this process.
void checkWithin(const frame::Config& config, Findings& findings) {
    try {
        if (config.nats.servers.empty()) throw Failure(unusable, "no server answers");
        const BusClient client(addressOf(config), config.nats);
        checkRoundTrip(client, findings);
        checkRole(client, config, findings);
        checkStore(client, config, findings);
        checkClock(client, config.nats.system, findings);
    } catch (const Failure& failure) {
        findings.wrong("role, streams, clock", failure.what(), "a connection that lasts");
    }
}

void check(const CheckOptions& checks, const Options& options) {
    frame::Config config = busConfig(options);
    Findings findings;
    if (config.busEngine == "local")
        findings.ok("bus.engine", "local: there is no broker");
    else {
        config.nats.servers = checkServers(config, checks, findings);
        checkWithin(config, findings);
    }
    findings.write(options.json);
    if (const std::size_t wrong = findings.wrongOnes(); wrong != 0)
        throw Failure(wrongData, std::to_string(wrong) + " wrong");
}

}  // namespace

void addBusCheck(CLI::App& group, const Options& options) {
    const auto checks = std::make_shared<CheckOptions>();
    CLI::App* checking = group.add_subcommand("check", "Say what is wrong with the brokers for this process");
    checking
        ->add_option("--certificate-days", checks->certificateDays,
                     "How many days certificates must be valid from now on")
        ->check(CLI::Range(0, 100000))
        ->capture_default_str()
        ->type_name("N");
    checking->callback([checks, &options] { check(*checks, options); });
}

}  // namespace necctl
