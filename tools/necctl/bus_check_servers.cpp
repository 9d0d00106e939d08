#include <cstdio>

#include "bus/nats/options.h"
#include "bus/nats/pieces.h"
#include "bus/nats/store_answers.h"
#include "bus_check.h"
#include "bus_server.h"

namespace necctl {
namespace {

using frame::nats::at;
using frame::nats::usesTls;

constexpr int oldestMajor = 2;
constexpr int oldestMinor = 9;
constexpr std::int64_t secondsOfADay = std::int64_t{24} * 3600;

bool isTrue(const Json::Value& value) {
    return value.isBool() && value.asBool();
}

void checkLife(const std::string& about, const std::optional<std::int64_t>& seconds, const CheckOptions& options,
               Findings& findings) {
    if (!seconds) return findings.cannotTell(about, "it cannot be read");
    const std::int64_t days = *seconds / secondsOfADay;
    findings.judge(*seconds > options.certificateDays * secondsOfADay, about,
                   *seconds < 0 ? "expired" : std::to_string(days) + " days",
                   "more than " + std::to_string(options.certificateDays) + " days");
}

// The engine uses TLS with all servers as soon as one of them is "tls://": seen by itself, each must say so.
std::string asConnected(const std::string& server, bool tls) {
    const std::string plain = "nats://";
    return tls && server.starts_with(plain) ? "tls://" + server.substr(plain.size()) : server;
}

// One server, all findings about which begin with its name.
class ServerCheck {
public:
    ServerCheck(const frame::Config& config, const std::string& server, const CheckOptions& options, Findings& findings)
        : address_{config.process.type, config.process.handle},
          nats_(config.nats),
          server_(server),
          options_(options),
          findings_(findings) {
        nats_.servers = {asConnected(server, usesTls(config.nats))};
    }

    // Whether it answers.
    bool all() {
        const Broker broker = lookAtBroker(server_, nats_);
        if (!broker.error.empty()) {
            findings_.wrong(server_, broker.error, "a NATS server");
            return false;
        }
        checkVersion(at(broker.info, "version"));
        tellJetStream(isTrue(at(broker.info, "jetstream")));
        checkPayload(at(broker.info, "max_payload"));
        checkTls(broker);
        findings_.judge(!broker.silent, server_ + " answer", broker.silent ? "none to PING" : "there", "one to PING");
        if (!broker.silent) checkUser();
        return !broker.silent;
    }

private:
    void checkVersion(const Json::Value& value) {
        const std::string version = value.isString() ? value.asString() : "";
        int major = 0;
        int minor = 0;
        std::sscanf(version.c_str(), "%d.%d", &major, &minor);
        findings_.judge(major > oldestMajor || (major == oldestMajor && minor >= oldestMinor), server_ + " version",
                        version, std::to_string(oldestMajor) + '.' + std::to_string(oldestMinor) + " or later");
    }
    void tellJetStream(bool has) {
        const std::string about = server_ + " JetStream";
        if (has) return findings_.ok(about, "on");
        findings_.cannotTell(about,
                             "off, as at a leaf, which asks the cluster for streams; what is found of those tells");
    }
    void checkPayload(const Json::Value& value) {
        constexpr auto least = static_cast<std::int64_t>(frame::nats::mostPieceOctets + frame::nats::headerOctets);
        const std::int64_t octets = value.isInt64() ? value.asInt64() : 0;
        findings_.judge(octets >= least, server_ + " max_payload", std::to_string(octets),
                        std::to_string(least) + " or more");
    }
    void checkTls(const Broker& broker) {
        const std::string about = server_ + " TLS";
        const bool has = isTrue(at(broker.info, "tls_required"));
        if (has != usesTls(nats_))
            return findings_.wrong(about, has ? "required" : "none",
                                   has ? "none, as the configuration names neither bus.ca_file nor a server tls://"
                                       : "required, as the configuration says");
        if (!has) return findings_.ok(about, "none, as the configuration says");
        if (!broker.certificate) return findings_.wrong(about, broker.tlsError, "a connection with TLS");
        findings_.judge(broker.certificate->error.empty(), server_ + " certificate",
                        broker.certificate->error.empty() ? "verified" : broker.certificate->error,
                        "one of this host, signed by an authority of bus.ca_file");
        checkLife(server_ + " certificate's life", broker.certificate->secondsToLive, options_, findings_);
    }
    void checkUser() {
        const std::string about = server_ + " user";
        try {
            const BusClient client(address_, nats_);
            findings_.ok(about, "let in" + (nats_.user.empty() ? std::string() : ", as " + nats_.user));
        } catch (const Failure& failure) {
            findings_.wrong(about, failure.what(), "let in");
            return findings_.cannotTell(server_ + " anonymous client", "not tried, as this user is not let in");
        }
        checkAnonymous();
    }
    // What the server says of that beforehand is not to be believed.
    void checkAnonymous() {
        const std::string about = server_ + " anonymous client";
        frame::NatsOptions anonymous = nats_;
        anonymous.user = anonymous.passwordFile = anonymous.nkey = anonymous.nkeyFile = anonymous.credentialsFile = "";
        try {
            const BusClient client(address_, anonymous);
        } catch (const TurnedAway&) {
            return findings_.ok(about, "turned away");
        } catch (const Failure& failure) {
            return findings_.cannotTell(about, failure.what());
        }
        findings_.wrong(about, "let in", "turned away");
    }

    const CProcID address_;
    frame::NatsOptions nats_;
    const std::string server_;
    const CheckOptions& options_;
    Findings& findings_;
};

}  // namespace

std::vector<std::string> checkServers(const frame::Config& config, const CheckOptions& options, Findings& findings) {
    if (!config.nats.certificateFile.empty())
        checkLife("bus.certificate_file's life", secondsToLive(config.nats.certificateFile), options, findings);
    std::vector<std::string> answering;
    for (const std::string& server : config.nats.servers)
        if (ServerCheck(config, server, options, findings).all())
            answering.push_back(asConnected(server, usesTls(config.nats)));
    return answering;
}

}  // namespace necctl
